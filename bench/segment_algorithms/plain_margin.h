#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <vector>

#include <trelis/segment/segment_volume.h>

/// The procedure of `Margin` voxel by voxel, as benchmarks and tests compare with it.
class PlainMargin {
  public:
    /// Low x, y, z, then high, all 0 or more or all 0 or less.
    PlainMargin(const NSegment::SegmentVolume& in, const double (&margins)[6])
        : in_(in), sizes_{in.xsize(), in.ysize(), in.zsize()} {
        shrink_ = std::all_of(margins, margins + 6, [](double m) { return m <= 0; });
        const double resolutions[] = {in.xres(), in.yres(), in.zres()};
        for (int i = 0; i < 6; ++i) {
            const double m =
                (shrink_ ? -margins[(i + 3) % 6] : margins[i]) / resolutions[i % 3] + 1e-8;
            reach_[i] = static_cast<int>(std::ceil(m) + 1e-8);
            const double r = m >= 0.01 ? std::sqrt(std::max(m * m + 0.49, 1e-5)) + 0.3 : m;
            scale_[i] = 1 / (4 * std::max(r, 1e-10));
        }
        makeKernel();
    }

    void stampAll(NSegment::SegmentVolume& out) const {
        out = in_;
        for (int z = 0; z < sizes_[2]; ++z) {
            for (int y = 0; y < sizes_[1]; ++y) {
                for (int x = 0; x < sizes_[0]; ++x) {
                    const int v = in_.pixel(x, y, z);
                    if (v != (shrink_ ? 255 : 0) && isAtBoundary(x, y, z, v)) {
                        stamp(x, y, z, v, out);
                    }
                }
            }
        }
    }

  private:
    int kernelSize(int axis) const { return reach_[axis] + reach_[axis + 3] + 1; }

    int& kernelAt(int x, int y, int z) {
        const std::ptrdiff_t row = z * std::ptrdiff_t{kernelSize(1)} + y;
        return *(kernel_.data() + row * kernelSize(0) + x);
    }

    double offset(int s, int axis) const {
        const double c = (reach_[axis] + 0.5) * 4 - 0.5;
        return s / 4 == reach_[axis] ? 0 : std::abs(s - c) * scale_[c > s ? axis : axis + 3];
    }

    void makeKernel() {
        kernel_.resize(static_cast<std::size_t>(kernelSize(0)) *
                       static_cast<std::size_t>(kernelSize(1)) *
                       static_cast<std::size_t>(kernelSize(2)));
        const double edge = std::min(*std::max_element(scale_, scale_ + 6) / 2, 0.5);
        for (int z = 0; z < 4 * kernelSize(2); ++z) {
            for (int y = 0; y < 4 * kernelSize(1); ++y) {
                for (int x = 0; x < 4 * kernelSize(0); ++x) {
                    const double dx = offset(x, 0);
                    const double dy = offset(y, 1);
                    const double dz = offset(z, 2);
                    const double squared = dx * dx + dy * dy + dz * dz;
                    if (squared < (1 - edge) * (1 - edge)) {
                        kernelAt(x / 4, y / 4, z / 4) += 8192;
                    } else if (squared < (1 + edge) * (1 + edge)) {
                        kernelAt(x / 4, y / 4, z / 4) += static_cast<int>(
                            (1 - (std::sqrt(squared) - (1 - edge)) / (2 * edge)) * 2 * 4096);
                    }
                }
            }
        }
        for (int& k : kernel_) {
            k = std::min((k >> 12) & 255, 64);
        }
        kernelAt(reach_[0], reach_[1], reach_[2]) = 64;
    }

    bool isAtBoundary(int x, int y, int z, int v) const {
        constexpr int kSteps[6][3] = {{-1, 0, 0}, {0, -1, 0}, {0, 0, -1},
                                      {1, 0, 0},  {0, 1, 0},  {0, 0, 1}};
        return std::any_of(std::begin(kSteps), std::end(kSteps), [&](const int(&d)[3]) {
            const int i = x + d[0];
            const int j = y + d[1];
            const int k = z + d[2];
            return i >= 0 && i < sizes_[0] && j >= 0 && j < sizes_[1] && k >= 0 && k < sizes_[2] &&
                   ((v ^ in_.pixel(i, j, k)) & 128) != 0;
        });
    }

    void stamp(int x, int y, int z, int v, NSegment::SegmentVolume& out) const {
        const int at[] = {x, y, z};
        int low[3];
        int high[3];
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::max(-reach_[axis], -at[axis]);
            high[axis] = std::min(reach_[axis + 3], sizes_[axis] - 1 - at[axis]);
        }
        for (int k = low[2]; k <= high[2]; ++k) {
            for (int j = low[1]; j <= high[1]; ++j) {
                const std::ptrdiff_t plane = k + reach_[2];
                const std::ptrdiff_t row = plane * kernelSize(1) + j + reach_[1];
                const int* weights = kernel_.data() + row * kernelSize(0) + reach_[0];
                for (int i = low[0]; i <= high[0]; ++i) {
                    const int old = out.pixel(x + i, y + j, z + k);
                    const int w = shrink_ ? 255 - std::min(((255 - v) * weights[i] + 32) >> 6, 255)
                                          : std::min((v * weights[i] + 32) >> 6, 255);
                    if (shrink_ ? w < old : w > old) {
                        out.setPixel(x + i, y + j, z + k, w);
                    }
                }
            }
        }
    }

    const NSegment::SegmentVolume& in_;
    int sizes_[3];
    bool shrink_;
    int reach_[6];     ///< low x, y, z, then high
    double scale_[6];  ///< of a quarter of a voxel
    std::vector<int> kernel_;
};

inline void plainMargin(const NSegment::SegmentVolume& in, const double (&margins)[6],
                        NSegment::SegmentVolume& out) {
    PlainMargin(in, margins).stampAll(out);
}
