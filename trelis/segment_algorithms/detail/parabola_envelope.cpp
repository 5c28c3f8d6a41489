#include <trelis/segment_algorithms/detail/parabola_envelope.h>

#include <algorithm>

namespace NSegmentAlgorithms::detail {

ParabolaEnvelopes::ParabolaEnvelopes(int longest, double spacing)
    : squaredSpacing_(spacing * spacing),
      halfReciprocals_(static_cast<std::size_t>(longest) + 1),
      lowest_(static_cast<std::size_t>(longest)),
      values_(static_cast<std::size_t>(longest) * kColumns),
      vertices_(values_.size()) {
    for (int n = 1; n <= longest; ++n) {
        halfReciprocals_[static_cast<std::size_t>(n)] = 0.5 / n;
    }
}

void ParabolaEnvelopes::build(int width, int begin, int end, int count) {
    const double scale = 1.0 / squaredSpacing_;
    const double lastVoxel = count - 1;
    std::fill_n(vertices_.begin(), offset(count), -1);
    for (int column = 0; column < width; ++column) {
        float* values = values_.data() + column;
        std::size_t lowest = 0;
        for (int i = begin; i < end; ++i) {
            const float value = values[offset(i)];
            if (value == std::numeric_limits<float>::infinity()) {
                continue;
            }
            const double vertex = i;
            const double height = static_cast<double>(value) * scale + vertex * vertex;
            int first = 0;
            for (; lowest > 0; --lowest) {
                // The new parabola is below the last one beyond the crossing.
                const Parabola& last = lowest_[lowest - 1];
                const double crossing = (height - last.height) *
                                        halfReciprocals_[static_cast<std::size_t>(i - last.vertex)];
                if (crossing >= last.first) {
                    first = crossing < lastVoxel ? static_cast<int>(crossing) + 1 : count;
                    break;
                }
            }
            if (first < count) {
                lowest_[lowest++] = {i, first, height, value};
            }
        }
        for (std::size_t k = 0; k < lowest; ++k) {
            const Parabola& p = lowest_[k];
            vertices_[static_cast<std::size_t>(offset(p.first) + column)] = p.vertex;
            values[offset(p.first)] = p.value;
        }
    }
}

}  // namespace NSegmentAlgorithms::detail
