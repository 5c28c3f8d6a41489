#include <trelis/mlc/leaf_fitting.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <vector>

#include <trelis/foundation/line_geometry.h>
#include <trelis/mlc/leaf_parking.h>
#include <trelis/mlc/tandem.h>

namespace NMLC {

namespace {

using Vector = MVectorTemplate<double>;

/// How far inside its edges a strip is sampled, in millimetres before scaling.
constexpr double kEdgeInset = 1e-6;

/// What a step that is too coarse stays below half the strip.
constexpr double kHalfStripInset = 1e-4;

/// A sample line runs from minus to plus this x.
constexpr double kLineReach = 1e8;

/// Line and edge cross where they come closer than this.
constexpr double kCrossingDistance = 1.0;

/// The search for the outermost crossings starts from minus and plus this x.
constexpr double kSearchReach = 1e6;

/// How far above or below an edge a line may lie and still be found to touch it. On lines as long
/// as these the closest approach rounds by 2^-27; at the shallowest angle that is not parallel this
/// makes 2.4e-6 across the line.
constexpr double kTouchRoom = 1e-5;

/// `kTouchRoom` holds for edges within this of the origin and longer than that. Beyond, rounding is
/// coarser or the squared length over- or underflows.
constexpr double kOrdinaryReach = 1e6;
constexpr double kOrdinaryLength = 1e-100;

/// An edge of an outline and the range of sample lines that may cross it.
struct Edge {
    Vector from;
    Vector to;
    double low;
    double high;
};

bool isOrdinary(const EdgePoint& a, const EdgePoint& b) {
    const double reach = std::max({std::abs(a.x), std::abs(a.y), std::abs(b.x), std::abs(b.y)});
    const double length = std::max(std::abs(b.x - a.x), std::abs(b.y - a.y));
    return reach <= kOrdinaryReach && (length == 0.0 || length >= kOrdinaryLength);
}

Edge makeEdge(const EdgePoint& a, const EdgePoint& b) {
    const double room = isOrdinary(a, b) ? kTouchRoom : std::numeric_limits<double>::infinity();
    return {{a.x, a.y, 0.0}, {b.x, b.y, 0.0}, std::min(a.y, b.y) - room, std::max(a.y, b.y) + room};
}

std::vector<Edge> edgesOf(const Glyph& outlines) {
    std::vector<Edge> edges;
    for (const std::vector<EdgePoint>& contour : outlines) {
        for (std::size_t i = 0; i < contour.size(); ++i) {
            edges.push_back(makeEdge(i == 0 ? contour.back() : contour[i - 1], contour[i]));
        }
    }
    return edges;
}

/// Calls visit(y) for the sample lines of a strip, in ascending order.
template <typename Visitor>
void forEachSample(double lower, double upper, double sampleStep, const Visitor& visit) {
    const double half = (upper - lower) * 0.5;
    const double step = sampleStep > half ? half - kHalfStripInset : sampleStep;
    double y = lower;
    double previous = -std::numeric_limits<double>::infinity();
    while (previous < y && y < upper) {
        visit(y);
        previous = y;
        y += step;
    }
    visit(upper);
}

/// Crosses the strips of leaf pairs with outlines. Buffers are kept from strip to strip.
class StripSampler {
  public:
    explicit StripSampler(const Glyph& outlines) : edges_(edgesOf(outlines)) {}

    /// Fills `rightmost` and `leftmost` for one strip.
    void sample(const LeafPair& pair, double edgeScale, double sampleStep) {
        const double upper = (pair.GetUpperEdge() - kEdgeInset) * edgeScale;
        const double lower = (pair.GetLowerEdge() + kEdgeInset) * edgeScale;
        rightmost_.clear();
        leftmost_.clear();
        selectEdges(std::min(lower, upper), upper);
        forEachSample(lower, upper, sampleStep, [this](double y) { addSample(y); });
    }

    /// The outermost crossings of the lines that cross anything, in ascending order of y.
    const std::vector<double>& rightmost() const { return rightmost_; }
    const std::vector<double>& leftmost() const { return leftmost_; }

  private:
    void selectEdges(double lowest, double highest) {
        strip_.clear();
        for (const Edge& edge : edges_) {
            if (edge.low <= highest && edge.high >= lowest) {
                strip_.push_back(&edge);
            }
        }
    }

    void addSample(double y) {
        bool isCrossed = false;
        double rightmost = -kSearchReach;
        double leftmost = kSearchReach;
        for (const Edge* edge : strip_) {
            if (!(edge->low <= y && edge->high >= y)) {
                continue;
            }
            double distance = 0.0;
            const double x = NVector::CalculateIntersectionPoint(
                                 {-kLineReach, y, 0.0}, {kLineReach, y, 0.0}, edge->from, edge->to,
                                 distance, nullptr, nullptr)
                                 .x;
            if (distance >= 0.0 && distance < kCrossingDistance) {
                isCrossed = true;
                rightmost = std::max(rightmost, x);
                leftmost = std::min(leftmost, x);
            }
        }
        if (isCrossed) {
            rightmost_.push_back(rightmost);
            leftmost_.push_back(leftmost);
        }
    }

    std::vector<Edge> edges_;
    std::vector<const Edge*> strip_;
    std::vector<double> rightmost_;
    std::vector<double> leftmost_;
};

double smallestOf(const std::vector<double>& values) {
    return *std::min_element(values.begin(), values.end());
}

double largestOf(const std::vector<double>& values) {
    return *std::max_element(values.begin(), values.end());
}

/// The middle by index, not by size: intended, this is the crossing in the middle of the strip.
double middleOf(const std::vector<double>& values) {
    const std::size_t half = values.size() / 2;
    return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2.0;
}

void openPair(const std::vector<double>& rightmost, const std::vector<double>& leftmost,
              OpenLeavesMeetingPoint meetingPoint, LeafPositionPair& pair) {
    double right = 0.0;
    double left = 0.0;
    switch (meetingPoint) {
        case OpenLeavesMeetingPoint::Inside:
            right = smallestOf(rightmost);
            left = largestOf(leftmost);
            break;
        case OpenLeavesMeetingPoint::Outside:
            right = largestOf(rightmost);
            left = smallestOf(leftmost);
            break;
        case OpenLeavesMeetingPoint::Middle:
            right = middleOf(rightmost);
            left = middleOf(leftmost);
            break;
        default:
            throw std::runtime_error(
                "`anonymous-namespace'::SelectPlanPosition: Undefined OpenLeavesMeetingPoint");
    }
    pair.SetPosition(Bank::Right, static_cast<float>(right));
    pair.SetPosition(Bank::Left, static_cast<float>(left));
}

void fitSingleLayer(const Glyph& outlines, const LeafConfiguration& configuration,
                    OpenLeavesMeetingPoint openLeaves, ClosedLeavesMeetingPoint closedLeaves,
                    LeafPositions& result, double edgeScale, double sampleStep) {
    result.Resize(configuration.GetLeafPairCount());
    result.Zero();
    StripSampler sampler(outlines);
    for (int i = 0; i < configuration.GetLeafPairCount(); ++i) {
        sampler.sample(configuration.GetLeafPair(i), edgeScale, sampleStep);
        if (!sampler.rightmost().empty()) {
            openPair(sampler.rightmost(), sampler.leftmost(), openLeaves,
                     result.GetLeafPair(static_cast<std::size_t>(i)));
        }
    }
    if (closedLeaves < ClosedLeavesMeetingPoint::Left ||
        closedLeaves > ClosedLeavesMeetingPoint::Center) {
        throw std::runtime_error(
            "`anonymous-namespace'::FitLeavesImpl: Undefined ClosedLeavesMeetingPoint");
    }
    ParkClosedLeaves(configuration, closedLeaves, result);
}

}  // namespace

void FitLeaves(const Glyph& outlines, const LeafConfiguration& configuration,
               OpenLeavesMeetingPoint openLeaves, ClosedLeavesMeetingPoint closedLeaves,
               LeafPositions& result, double edgeScale, double sampleStep) {
    if (!configuration.HasTwoLayers()) {
        fitSingleLayer(outlines, configuration, openLeaves, closedLeaves, result, edgeScale,
                       sampleStep);
        return;
    }
    LeafPositions fiveMm;
    fitSingleLayer(outlines, *configuration.Get5mmLeafConfiguration(), openLeaves, closedLeaves,
                   fiveMm, edgeScale, sampleStep);
    Tandem::Convert5mmLeavesToTwoLevels(fiveMm, Tandem::IsTandem2(configuration), result);
}

}  // namespace NMLC
