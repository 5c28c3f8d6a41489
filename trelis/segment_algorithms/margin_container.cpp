#include <trelis/segment_algorithms/margin_container.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include <trelis/foundation/epsilon.h>

namespace NSegmentAlgorithms {

namespace {

/// Millimetres.
constexpr double kZeroTolerance = 1e-6;

}  // namespace

double MarginContainer::MinMargin() const {
    return *std::min_element(std::begin(margins_), std::end(margins_));
}

double MarginContainer::MaxMargin() const {
    return *std::max_element(std::begin(margins_), std::end(margins_));
}

bool MarginContainer::AllMarginsPositive() const {
    const double smallest = MinMargin();
    return trelis::EpsilonZero(smallest, kZeroTolerance) || smallest > 0.0;
}

bool MarginContainer::AnyMarginExisting() const {
    return !trelis::EpsilonZero(MaxMargin(), kZeroTolerance);
}

bool MarginContainer::AllMarginsDefined() const {
    return std::none_of(std::begin(margins_), std::end(margins_),
                        [](double margin) { return std::isnan(margin); });
}

}  // namespace NSegmentAlgorithms
