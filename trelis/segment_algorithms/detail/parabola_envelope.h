#pragma once

#include <cstddef>
#include <limits>
#include <vector>

#include <trelis/segment/volume_cell.h>

namespace NSegmentAlgorithms::detail {

/// Takes squared distances along lines of equally spaced voxels from "in the planes across them" to
/// "in all directions": value i becomes the minimum over j of value j + (spacing (i - j))^2. Works
/// on the columns of a cell side by side, and is used for many of them, so that nothing is
/// allocated per line.
class ParabolaEnvelopes {
  public:
    static constexpr int kColumns = NSegment::VolumeCell::kSizeX;

    /// Lines of up to `longest` voxels; spacing in millimetres.
    ParabolaEnvelopes(int longest, double spacing);

    /// The values before: row i has the voxels i of all lines, infinity where there is nothing
    /// near.
    float* row(int i) { return values_.data() + offset(i); }

    /// Finds for the first `width` lines which parabola is the lowest where. Lines have `count`
    /// voxels, and those before `begin` and from `end` on are infinite. Overwrites the rows.
    void build(int width, int begin, int end, int count);

    /// Calls visit(i, values) for the rows after, `count` of them in turn. All lines at once and
    /// without branches: where the lowest parabola changes, a processor could not foresee.
    template <typename Visit>
    void evaluate(int count, const Visit& visit) const {
        int vertices[kColumns] = {};
        float heights[kColumns];
        float results[kColumns];
        const auto squaredSpacing = static_cast<float>(squaredSpacing_);
        for (float& height : heights) {
            height = std::numeric_limits<float>::infinity();
        }
        for (int i = 0; i < count; ++i) {
            const int* newVertices = vertices_.data() + offset(i);
            const float* newHeights = values_.data() + offset(i);
            for (int column = 0; column < kColumns; ++column) {
                const int vertex = newVertices[column];
                const float height = newHeights[column];
                vertices[column] = vertex >= 0 ? vertex : vertices[column];
                heights[column] = vertex >= 0 ? height : heights[column];
                const auto steps = static_cast<float>(i - vertices[column]);
                results[column] = heights[column] + squaredSpacing * (steps * steps);
            }
            visit(i, static_cast<const float*>(results));
        }
    }

  private:
    /// The parabola of a voxel, and the first voxel where it is the lowest.
    struct Parabola {
        int vertex;
        int first;
        double height;  ///< value at the vertex, in squared spacings, plus vertex^2
        float value;    ///< value at the vertex
    };

    static std::ptrdiff_t offset(int i) { return static_cast<std::ptrdiff_t>(i) * kColumns; }

    double squaredSpacing_;
    std::vector<double> halfReciprocals_;  ///< 1 / (2 n)
    std::vector<Parabola> lowest_;
    std::vector<float> values_;
    std::vector<int> vertices_;  ///< of the parabola that begins at a voxel, -1 for none
};

}  // namespace NSegmentAlgorithms::detail
