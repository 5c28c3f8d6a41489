#include <algorithm>
#include <array>
#include <cmath>

#include <fmt/format.h>

#include <apps/trelis/report/colours.h>

namespace app::report {
namespace {

/// Contrast ratio that lines of a graphic need against what is beside them.
constexpr double kContrast = 3.0;
/// Relative luminance of the surfaces of the page.
constexpr double kLightSurface = 1.0;
constexpr double kDarkSurface = 0.013;

/// Relative luminance, with squares in place of the exact transfer function of sRGB.
double luminance(const Colour& c) {
    const auto linear = [](unsigned char v) { return v / 255.0 * (v / 255.0); };
    return 0.2126 * linear(c[0]) + 0.7152 * linear(c[1]) + 0.0722 * linear(c[2]);
}

double contrast(double a, double b) { return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05); }

Colour mixed(const Colour& colour, unsigned char other, double share) {
    Colour result;
    std::transform(colour.begin(), colour.end(), result.begin(), [&](unsigned char v) {
        return static_cast<unsigned char>(std::lround(v + share * (other - v)));
    });
    return result;
}

Colour legible(const Colour& colour, unsigned char towards, double surface) {
    constexpr int kSteps = 20;
    for (int step = 0; step < kSteps; ++step) {
        const Colour candidate = mixed(colour, towards, step / static_cast<double>(kSteps));
        if (contrast(luminance(candidate), surface) >= kContrast) {
            return candidate;
        }
    }
    return mixed(colour, towards, 1.0);
}

}  // namespace

std::string hex(const Colour& colour) {
    return fmt::format("#{:02x}{:02x}{:02x}", colour[0], colour[1], colour[2]);
}

Colour legibleOnLight(const Colour& colour) { return legible(colour, 0, kLightSurface); }

Colour legibleOnDark(const Colour& colour) { return legible(colour, 255, kDarkSurface); }

std::string inkOf(const Colour& colour) {
    return fmt::format("--light-ink:{};--dark-ink:{}", hex(legibleOnLight(colour)),
                       hex(legibleOnDark(colour)));
}

std::string_view dashesOf(std::size_t number) {
    static constexpr std::array<std::string_view, 6> kDashes = {"none",     "9 4", "2 3",
                                                                "12 4 2 4", "5 3", "14 3 2 3 2 3"};
    return kDashes[number % kDashes.size()];
}

}  // namespace app::report
