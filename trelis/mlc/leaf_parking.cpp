#include <trelis/mlc/leaf_parking.h>

#include <algorithm>
#include <stdexcept>

#include <trelis/mlc/detail/leaf_extremes.h>

namespace NMLC {

namespace {

/// How far beyond the edge of the aperture leaves are parked, in millimetres.
constexpr double kFarOut = 20.0;
constexpr double kNearOut = 10.0;

/// The point on the left of an aperture that begins at `edge` when leaves come as far as
/// `farthest`. There is nothing between the two distances, intended.
double steppedPointOnLeft(double farthest, double edge) {
    if (farthest <= edge - kFarOut) {
        return edge - kFarOut;
    }
    return farthest < edge - kNearOut ? edge - kNearOut : farthest;
}

double closedLeavesMeetingPoint(const LeafConfiguration& configuration,
                                ClosedLeavesMeetingPoint mode, const LeafPositions& positions) {
    const bool goesFarthest = configuration.GetType() == MLCType::Type4;
    const double left = detail::leftEdgeOfAperture(configuration, positions);
    const double right = detail::rightEdgeOfAperture(configuration, positions);
    const double leftBankMaximum = detail::lowestMaximum(configuration, Bank::Left);
    const double rightBankMinimum = detail::highestMinimum(configuration, Bank::Right);
    switch (mode) {
        case ClosedLeavesMeetingPoint::Left: {
            const double farthest = right - configuration.GetMaxLeafSpan(Bank::Right);
            return std::max(rightBankMinimum,
                            goesFarthest ? farthest : steppedPointOnLeft(farthest, left));
        }
        case ClosedLeavesMeetingPoint::Right: {
            const double farthest = left + configuration.GetMaxLeafSpan(Bank::Left);
            return std::min(leftBankMaximum,
                            goesFarthest ? farthest : -steppedPointOnLeft(-farthest, -right));
        }
        case ClosedLeavesMeetingPoint::Center:
            return std::min(leftBankMaximum, std::max((left + right) / 2.0, rightBankMinimum));
        default:
            throw std::runtime_error("NMLC::ParkClosedLeaves: Undefined ClosedLeavesMeetingPoint");
    }
}

}  // namespace

void ParkClosedLeaves(const LeafConfiguration& configuration, ClosedLeavesMeetingPoint closedLeaves,
                      LeafPositions& positions) {
    const double point = closedLeavesMeetingPoint(configuration, closedLeaves, positions);
    for (LeafPositionPair& pair : positions) {
        if (pair.IsClosed()) {
            pair.CloseAt(static_cast<float>(point));
        }
    }
}

}  // namespace NMLC
