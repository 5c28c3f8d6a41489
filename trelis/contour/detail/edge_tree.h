#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include <trelis/foundation/edge_point.h>

namespace NEdgePointAlgorithms::detail {

/// Coordinates along the axis, a unit vector, and across it.
struct Frame {
    EdgePoint origin;
    EdgePoint axis{1.0, 0.0};

    EdgePoint turned(const EdgePoint& v) const {
        return {v.x * axis.x + v.y * axis.y, v.y * axis.x - v.x * axis.y};
    }
    EdgePoint turnedBack(const EdgePoint& v) const {
        return {v.x * axis.x - v.y * axis.y, v.x * axis.y + v.y * axis.x};
    }
};

/// A box around some edges, along the longest of them, in a frame with its origin in the box.
/// Lengths of edges are the sums of their extents in x and y: 0 for a box without edges, infinite
/// for one that is too large for arithmetic.
struct EdgeBox {
    Frame frame;
    EdgePoint low{std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()};
    EdgePoint high{-std::numeric_limits<double>::infinity(),
                   -std::numeric_limits<double>::infinity()};
    double longest = 0.0;

    /// Takes in a point of the frame.
    void add(const EdgePoint& local);
};

/// The directions of edges without their sense, to tell whether a segment is nearly parallel to
/// one. Seldom says so of one that is not, never misses one that is.
class DirectionTable {
  public:
    DirectionTable() = default;
    explicit DirectionTable(std::size_t edgeCount);

    /// The direction must not be of length 0.
    void add(const EdgePoint& direction);

    /// Whether more than `own` edges, 0 or 1, may be within 1e-7 of the direction.
    bool hasMoreThan(int own, const EdgePoint& direction) const;

  private:
    std::size_t bucketOf(const EdgePoint& direction) const;

    std::vector<std::uint8_t> counts_;
};

/// The edges of a closed contour as a binary tree of boxes over runs of edges, which are close to
/// each other since they follow each other. Searching it skips edges that cannot meet a segment;
/// the answers are those of `segmentsMeet` for every edge, its rounding included.
class EdgeTree {
  public:
    /// The contour must outlive the tree. The segments asked for are edges of `other`, which may be
    /// the contour itself. For few pairs of edges no tree is built, and a search looks at all.
    EdgeTree(const std::vector<EdgePoint>& contour, const std::vector<EdgePoint>& other);

    /// Whether the segment meets one of the edges `first` to `last` - 1.
    bool isMetBy(const EdgePoint& from, const EdgePoint& to, std::size_t first,
                 std::size_t last) const;

  private:
    struct Query;

    const EdgePoint& endOfEdge(std::size_t i) const;
    void fillLeaf(std::size_t first, std::size_t last, EdgeBox& leaf) const;
    bool search(const Query& query, std::size_t node, std::size_t first, std::size_t count) const;
    bool isMetByAny(const EdgePoint& from, const EdgePoint& to, std::size_t first,
                    std::size_t last) const;

    const std::vector<EdgePoint>& contour_;
    std::size_t leafCount_ = 0;
    std::vector<EdgeBox> boxes_;
    bool ownEdges_;
    bool hasLongEdges_ = false;
    DirectionTable directions_;
};

}  // namespace NEdgePointAlgorithms::detail
