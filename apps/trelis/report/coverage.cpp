#include <cmath>

#include <fmt/format.h>

#include <apps/trelis/report/coverage.h>

namespace app::report {

bool isPartlyCovered(const trelis::DvhData& dvh) {
    return dvh.doseCoverage < 1.0 && !dvh.HasValidDoseCoverage();
}

bool isPoorlySampled(const trelis::DvhData& dvh) {
    return std::isfinite(dvh.samplingCoverage) && !dvh.HasValidSamplingCoverage();
}

std::string coverageText(double fraction) {
    if (!std::isfinite(fraction)) {
        return "–";
    }
    const double percent = 100.0 * fraction;
    return fmt::format("{:.1f}", percent < 100.0 ? std::floor(percent * 10.0) / 10.0 : percent);
}

std::string coverageCaveat(const trelis::DvhData& dvh) {
    if (isPartlyCovered(dvh)) {
        return fmt::format("of the {} % inside the dose grid", coverageText(dvh.doseCoverage));
    }
    if (isPoorlySampled(dvh)) {
        return fmt::format("only {} % of it sampled", coverageText(dvh.samplingCoverage));
    }
    return {};
}

}  // namespace app::report
