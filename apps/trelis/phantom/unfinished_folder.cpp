#include <stdexcept>
#include <system_error>

#include <fmt/format.h>

#include <apps/trelis/phantom/unfinished_folder.h>

namespace app {

namespace fs = std::filesystem;

UnfinishedFolder::UnfinishedFolder(const fs::path& folder)
    : folder_(folder), hidden_(folder / ".unfinished"), isNew_(fs::create_directories(folder)) {
    if (!fs::is_empty(folder)) {
        throw std::runtime_error(fmt::format("{} is not empty", folder.string()));
    }
    fs::create_directory(hidden_);
}

UnfinishedFolder::~UnfinishedFolder() {
    std::error_code ignored;
    fs::remove_all(hidden_, ignored);
    for (const fs::path& file : moved_) {
        fs::remove_all(file, ignored);
    }
    if (isNew_) {
        fs::remove(folder_, ignored);
    }
}

void UnfinishedFolder::publish() {
    const std::vector<fs::path> files{fs::directory_iterator(hidden_), fs::directory_iterator()};
    for (const fs::path& file : files) {
        moved_.push_back(folder_ / file.filename());
        fs::rename(file, moved_.back());
    }
    moved_.clear();
}

}  // namespace app
