#include <stdexcept>

#include <png.h>

#include <apps/trelis/report/png_image.h>

namespace app::report {

std::string greyPng(const std::vector<unsigned char>& pixels, int width, int height) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_GRAY;
    png_alloc_size_t bytes = PNG_IMAGE_PNG_SIZE_MAX(image);
    std::string file(bytes, '\0');
    if (png_image_write_to_memory(&image, file.data(), &bytes, 0, pixels.data(), width, nullptr) ==
        0) {
        throw std::runtime_error(std::string("a picture of the report: ") + image.message);
    }
    file.resize(bytes);
    return file;
}

}  // namespace app::report
