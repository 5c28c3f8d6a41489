#include <trelis/contour/detail/edge_tree.h>

#include <algorithm>
#include <bit>
#include <cmath>

#include <trelis/contour/detail/segments_meet.h>

namespace NEdgePointAlgorithms::detail {

namespace {

constexpr std::size_t kEdgesPerLeaf = 8;

/// Up to this number of pairs of edges, a look at all of them is faster than a tree.
constexpr std::size_t kFewPairs = 1024;

/// Edges of which the product of the lengths is above this may be on nearly one line, far apart,
/// and meet by rounding.
constexpr double kShortProduct = 500.0;

/// Coordinates and products up to this do not overflow.
constexpr double kLargest = 1e300;

double sumOfExtents(const EdgePoint& v) { return std::abs(v.x) + std::abs(v.y); }

/// 0 for an edge that meets nothing because its extent is not finite.
double lengthOfEdge(const EdgePoint& a, const EdgePoint& b) {
    const EdgePoint d = b - a;
    return std::isfinite(d.x) && std::isfinite(d.y) ? sumOfExtents(d) : 0.0;
}

double longestEdge(const std::vector<EdgePoint>& contour) {
    double longest = 0.0;
    const EdgePoint* previous = contour.empty() ? nullptr : &contour.back();
    for (const EdgePoint& point : contour) {
        longest = std::max(longest, lengthOfEdge(*previous, point));
        previous = &point;
    }
    return longest;
}

EdgeBox around(const EdgeBox& a, const EdgeBox& b) {
    const bool firstIsLonger = a.longest >= b.longest;
    EdgeBox box = firstIsLonger ? a : b;
    const EdgeBox& other = firstIsLonger ? b : a;
    if (other.longest == 0.0) {
        return box;
    }
    const EdgePoint offset = other.frame.origin - box.frame.origin;
    for (const double x : {other.low.x, other.high.x}) {
        for (const double y : {other.low.y, other.high.y}) {
            box.add(box.frame.turned(offset + other.frame.turnedBack({x, y})));
        }
    }
    return box;
}

/// A segment in the frame of a box.
struct LocalSegment {
    EdgePoint from;
    EdgePoint direction;
    double length;
};

/// Whether no edge of the box can meet the segment, rounding included, because they are apart.
///
/// Rounding matters for edges on nearly one line, where the quotients of `segmentsMeet` are noise
/// and edges far from each other may "meet". In exact arithmetic the points that it finds on two
/// edges, of lengths a and b and with start points w apart, coincide; rounding moves them apart by
/// at most 6 e a b w / denominator, where e = 2^-53, and 1e-13 of the lengths. For edges with a gap
/// between them, w is at most 1.42 (gap + a + b).
/// - With the least denominator that is 0.00095 a b (gap + a + b), and a gap of 0.002 a b (a + b)
///   is larger as long as a b <= 500.
/// - When the directions differ by 1e-7, the denominator is about 1e-7 a b at least, and a gap of
///   1e-6 (a + b) is larger.
/// The last term of the margin covers the rounding of the coordinates in the frame.
bool areApart(const EdgeBox& box, const LocalSegment& segment, bool maybeParallel) {
    const double product = box.longest * segment.length;
    if (maybeParallel && product > kShortProduct) {
        return false;
    }
    const EdgePoint& from = segment.from;
    const EdgePoint to = from + segment.direction;
    const double margin =
        (1e-6 + (maybeParallel ? 0.002 * product : 0.0)) * (box.longest + segment.length) +
        1e-12 * sumOfExtents(box.high - box.low);
    return box.low.x - std::max(from.x, to.x) > margin ||
           std::min(from.x, to.x) - box.high.x > margin ||
           box.low.y - std::max(from.y, to.y) > margin ||
           std::min(from.y, to.y) - box.high.y > margin;
}

/// Whether no edge of the box can meet the segment, rounding included, because the box is on one
/// side of the line through the segment.
///
/// Cross products with the segment, here and in `segmentsMeet`, are exact to 1e-13 of `scale`. When
/// they exceed 1e-12 of it with one sign at both ends of an edge, t for that edge is below -8e-13
/// or above 1 + 8e-13.
bool isBesideLine(const EdgeBox& box, const LocalSegment& segment) {
    const EdgePoint& d = segment.direction;
    const EdgePoint low = box.low - segment.from;
    const EdgePoint high = box.high - segment.from;
    const double least = std::min(d.x * low.y, d.x * high.y) - std::max(d.y * low.x, d.y * high.x);
    const double most = std::max(d.x * low.y, d.x * high.y) - std::min(d.y * low.x, d.y * high.x);
    const double scale = sumOfExtents(d) * (sumOfExtents(low) + sumOfExtents(high));
    return least > 1e-12 * scale || most < -1e-12 * scale;
}

bool cannotMeet(const EdgeBox& box, const EdgePoint& from, const EdgePoint& direction,
                double length, bool maybeParallel) {
    if (box.longest == 0.0) {
        return true;
    }
    const LocalSegment segment{box.frame.turned(from - box.frame.origin),
                               box.frame.turned(direction), length};
    const bool isSafe = box.longest * length <= kLargest && sumOfExtents(segment.from) <= kLargest;
    return isSafe && (areApart(box, segment, maybeParallel) || isBesideLine(box, segment));
}

}  // namespace

void EdgeBox::add(const EdgePoint& local) {
    low = {std::min(low.x, local.x), std::min(low.y, local.y)};
    high = {std::max(high.x, local.x), std::max(high.y, local.y)};
    if (!(sumOfExtents(local) <= kLargest)) {
        longest = std::numeric_limits<double>::infinity();
    }
}

/// The buckets are wider than 1e-7, yet most of them are empty.
DirectionTable::DirectionTable(std::size_t edgeCount)
    : counts_(std::bit_ceil(std::min(32 * edgeCount + 4, std::size_t{1} << 24))) {}

/// Half a turn is divided by x / (|x| + |y|), which changes by the angle at most.
std::size_t DirectionTable::bucketOf(const EdgePoint& direction) const {
    const double p = direction.x / sumOfExtents(direction);
    const double place = direction.y < 0.0 ? -p : p;
    const auto size = static_cast<double>(counts_.size());
    return static_cast<std::size_t>(0.5 * (place + 1.0) * size) & (counts_.size() - 1);
}

void DirectionTable::add(const EdgePoint& direction) {
    std::uint8_t& count = counts_[bucketOf(direction)];
    count = static_cast<std::uint8_t>(std::min(count + 1, 2));
}

bool DirectionTable::hasMoreThan(int own, const EdgePoint& direction) const {
    const std::size_t bucket = bucketOf(direction);
    const std::size_t mask = counts_.size() - 1;
    return counts_[(bucket - 1) & mask] + counts_[bucket] + counts_[(bucket + 1) & mask] > own;
}

struct EdgeTree::Query {
    EdgePoint from;
    EdgePoint to;
    EdgePoint direction;
    double length;
    std::size_t first;
    std::size_t last;
    bool maybeParallel;
};

EdgeTree::EdgeTree(const std::vector<EdgePoint>& contour, const std::vector<EdgePoint>& other)
    : contour_(contour), ownEdges_(&contour == &other) {
    if (contour.size() * other.size() <= kFewPairs) {
        return;
    }
    leafCount_ = std::bit_ceil((contour.size() + kEdgesPerLeaf - 1) / kEdgesPerLeaf);
    boxes_.resize(2 * leafCount_);
    for (std::size_t first = 0; first < contour.size(); first += kEdgesPerLeaf) {
        fillLeaf(first, std::min(first + kEdgesPerLeaf, contour.size()),
                 boxes_[leafCount_ + first / kEdgesPerLeaf]);
    }
    for (std::size_t node = leafCount_ - 1; node > 0; --node) {
        boxes_[node] = around(boxes_[2 * node], boxes_[2 * node + 1]);
    }
    hasLongEdges_ = boxes_[1].longest * longestEdge(other) > kShortProduct;
    if (hasLongEdges_) {
        directions_ = DirectionTable(contour.size());
        for (std::size_t i = 0; i < contour.size(); ++i) {
            if (lengthOfEdge(contour[i], endOfEdge(i)) > 0.0) {
                directions_.add(endOfEdge(i) - contour[i]);
            }
        }
    }
}

const EdgePoint& EdgeTree::endOfEdge(std::size_t i) const {
    return i + 1 < contour_.size() ? contour_[i + 1] : contour_.front();
}

void EdgeTree::fillLeaf(std::size_t first, std::size_t last, EdgeBox& leaf) const {
    for (std::size_t i = first; i < last; ++i) {
        const double edgeLength = lengthOfEdge(contour_[i], endOfEdge(i));
        if (edgeLength > leaf.longest) {
            leaf.longest = edgeLength;
            leaf.frame = {contour_[i], endOfEdge(i) - contour_[i]};
        }
    }
    const double norm = std::hypot(leaf.frame.axis.x, leaf.frame.axis.y);
    leaf.frame.axis = {leaf.frame.axis.x / norm, leaf.frame.axis.y / norm};
    for (std::size_t i = first; i < last; ++i) {
        if (lengthOfEdge(contour_[i], endOfEdge(i)) > 0.0) {
            leaf.add(leaf.frame.turned(contour_[i] - leaf.frame.origin));
            leaf.add(leaf.frame.turned(endOfEdge(i) - leaf.frame.origin));
        }
    }
}

bool EdgeTree::isMetBy(const EdgePoint& from, const EdgePoint& to, std::size_t first,
                       std::size_t last) const {
    if (boxes_.empty()) {
        return isMetByAny(from, to, first, last);
    }
    const double length = lengthOfEdge(from, to);
    if (length == 0.0) {
        return false;
    }
    const EdgePoint direction = to - from;
    const bool maybeParallel =
        !hasLongEdges_ || directions_.hasMoreThan(ownEdges_ ? 1 : 0, direction);
    return search({from, to, direction, length, first, last, maybeParallel}, 1, 0,
                  leafCount_ * kEdgesPerLeaf);
}

/// Searches the node over the edges from `first` on, `count` of them. Of a contour searched with
/// its own edge, a node that begins before the query's edges holds that edge and is not worth a
/// test.
bool EdgeTree::search(const Query& query, std::size_t node, std::size_t first,
                      std::size_t count) const {
    if (first >= query.last || first + count <= query.first) {
        return false;
    }
    if (first >= query.first &&
        cannotMeet(boxes_[node], query.from, query.direction, query.length, query.maybeParallel)) {
        return false;
    }
    if (node >= leafCount_) {
        return isMetByAny(query.from, query.to, std::max(first, query.first),
                          std::min(first + count, query.last));
    }
    const std::size_t half = count / 2;
    return search(query, 2 * node, first, half) || search(query, 2 * node + 1, first + half, half);
}

bool EdgeTree::isMetByAny(const EdgePoint& from, const EdgePoint& to, std::size_t first,
                          std::size_t last) const {
    double t;
    for (std::size_t i = first; i < last; ++i) {
        if (segmentsMeet(from, to, contour_[i], endOfEdge(i), t)) {
            return true;
        }
    }
    return false;
}

}  // namespace NEdgePointAlgorithms::detail
