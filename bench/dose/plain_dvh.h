#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include <trelis/foundation/undefined.h>
#include <trelis/foundation/volume.h>
#include <trelis/foundation/voxel_space_geometry.h>
#include <trelis/segment/fixed_point_iterators.h>

/// The dose histogram step by step: nothing is clipped, skipped or hoisted.
namespace bench {

using Vector = MVectorTemplate<double>;

struct PlainHistogram {
    std::vector<double> bins;
    double binWidth = 0;
    double min = trelis::Undefined<double>::value;
    double max = trelis::Undefined<double>::value;
    Vector minAt;
    Vector maxAt;
};

inline double lerp(double a, double b, double fraction) { return a + (b - a) * fraction; }

/// The value between the voxels of a volume, linear along y, z and then x.
template <typename T>
double plainValue(const QVolume<T>& v, int x, double fx, int y, double fy, int z, double fz) {
    const auto column = [&](int i) {
        const auto at = [&](int j, int k) {
            return static_cast<double>(v.GetPixel(std::min(i, v.GetXSize() - 1),
                                                  std::min(j, v.GetYSize() - 1),
                                                  std::min(k, v.GetZSize() - 1)));
        };
        return lerp(lerp(at(y, z), at(y + 1, z), fy), lerp(at(y, z + 1), at(y + 1, z + 1), fy), fz);
    };
    return lerp(column(x), column(x + 1), fx);
}

/// One more than the halvings down to the coarsest resolution.
inline int plainFactor(double resolution, double coarsest) {
    return resolution > coarsest ? 1 + plainFactor(resolution / 2, coarsest) : 1;
}

/// A copy with (n - 1) f + 1 rounded samples along each axis.
inline QVolume<unsigned int> plainRefined(const QVolume<unsigned int>& v, bool keepPlanes) {
    const int fx = plainFactor(v.GetXResMM(), 11.0);
    const int fy = plainFactor(v.GetYResMM(), 11.0);
    const int fz = keepPlanes ? 1 : plainFactor(v.GetZResMM(), 2.0);
    QVolume<unsigned int> refined((v.GetXSize() - 1) * fx + 1, (v.GetYSize() - 1) * fy + 1,
                                  (v.GetZSize() - 1) * fz + 1, v.GetXResMM() / fx,
                                  v.GetYResMM() / fy, v.GetZResMM() / fz);
    for (int z = 0; z < refined.GetZSize(); ++z) {
        for (int y = 0; y < refined.GetYSize(); ++y) {
            for (int x = 0; x < refined.GetXSize(); ++x) {
                const double value = plainValue(v, x / fx, x % fx / double(fx), y / fy,
                                                y % fy / double(fy), z / fz, z % fz / double(fz));
                refined.SetPixel(x, y, z, static_cast<unsigned int>(value + 0.5));
            }
        }
    }
    return refined;
}

inline int plainSteps(double resolution, double sampleStep) {
    const int n = std::min(std::max(static_cast<int>(resolution / sampleStep + 0.5), 1), 32);
    return n % 2 == 0 ? n + 1 : n;
}

template <typename T>
class PlainSampler {
  public:
    PlainSampler(const QVolume<T>& dose, const FVoxelSpaceGeometry& doseGeometry,
                 const NSegment::SegmentVolume& structure,
                 const FVoxelSpaceGeometry& structureGeometry, double sampleStep)
        : dose_(dose),
          doseGeometry_(doseGeometry),
          structure_(structure),
          structureGeometry_(structureGeometry),
          nx_(plainSteps(dose.GetXResMM(), sampleStep)),
          ny_(plainSteps(dose.GetYResMM(), sampleStep)) {}

    int pointsX() const { return (dose_.GetXSize() - 1) * nx_ + 1; }
    int pointsY() const { return (dose_.GetYSize() - 1) * ny_ + 1; }

    PlainHistogram run(double maxValue, double offset, int binCount) {
        h_ = {};
        h_.bins.resize(static_cast<std::size_t>(binCount));
        h_.binWidth = ((maxValue - offset) + 1) / (binCount - 1);
        const bool plane = dose_.GetZSize() == 1;
        for (int y = 0; y < pointsY(); ++y) {
            for (int z = 0; z < dose_.GetZSize() - (plane ? 0 : 1); ++z) {
                for (int x = 0; x < pointsX() - (plane ? 1 : 0); ++x) {
                    segment({x, y, z}, plane ? Point{x + 1, y, z} : Point{x, y, z + 1});
                }
            }
        }
        const double area = (dose_.GetXResMM() / nx_) * (dose_.GetYResMM() / ny_);
        integrate(plane ? area : area * dose_.GetZResMM());
        return h_;
    }

    /// The value of the structure at a lattice point, by an iterator made for it.
    int value(int x, int y, int z) const {
        const auto at = [this](const Vector& v) {
            return structureGeometry_.RealToRVoxel(doseGeometry_.VoxelToReal(v));
        };
        const Vector start = at({0, y / double(ny_), double(z)});
        const Vector step = structureGeometry_.GetTransformRealToRVoxel().TransformVector(
            doseGeometry_.GetTransformRVoxelToReal().TransformVector({1.0 / nx_, 0, 0}));
        if (dose_.GetZSize() == 1) {
            NSegment::SpanFixedPoint16BiLinearIterator iterator(structure_, start.x, start.y,
                                                                start.z, step.x, step.y);
            return *(iterator += x);
        }
        NSegment::SpanFixedPoint16TriLinearIterator iterator(structure_, start.x, start.y, start.z,
                                                             step.x, step.y, step.z);
        return *(iterator += x);
    }

  private:
    struct Point {
        int x, y, z;
    };

    double dose(const Point& p) const {
        return plainValue(dose_, p.x / nx_, p.x % nx_ / double(nx_), p.y / ny_,
                          p.y % ny_ / double(ny_), p.z, 0.0);
    }
    Vector place(const Point& p) const {
        return {p.x / double(nx_), p.y / double(ny_), double(p.z)};
    }

    void segment(Point a, Point b) {
        int valueA = value(a.x, a.y, a.z);
        int valueB = value(b.x, b.y, b.z);
        if (valueA <= 127 && valueB <= 127) {
            return;
        }
        if (valueB > valueA) {
            std::swap(a, b);
            std::swap(valueA, valueB);
        }
        if (valueB < 128) {
            const double f = (valueA - 127.5) / std::max(1, valueA - valueB);
            const double boundary = (1 - f) * dose(a) + f * dose(b);
            ramp(dose(a), boundary, f);
            take(dose(a), place(a));
            take(boundary, (1 - f) * place(a) + f * place(b));
        } else {
            ramp(dose(a), dose(b), 1.0);
            take(dose(a), place(a));
            take(dose(b), place(b));
        }
    }

    int bin(double d) const { return static_cast<int>(d / h_.binWidth + 0.5); }

    void ramp(double d, double e, double weight) {
        const int count = static_cast<int>(h_.bins.size());
        int lo = std::min(bin(d), bin(e));
        int hi = std::max(bin(d), bin(e)) + 1;
        if (hi - lo < 13) {
            const int length = hi - lo;
            hi += (13 - length) / 2;
            lo -= (14 - length) / 2;
        }
        lo = std::min(std::max(lo, 0), count - 2);
        hi = std::min(hi, count - 1);
        h_.bins[static_cast<std::size_t>(lo)] += weight / (hi - lo);
        h_.bins[static_cast<std::size_t>(hi)] -= weight / (hi - lo);
    }

    void take(double d, const Vector& p) {
        if (std::isnan(h_.min) || d < h_.min) {
            h_.min = d;
            h_.minAt = p;
        } else if (std::isnan(h_.max) || d > h_.max) {
            h_.max = d;
            h_.maxAt = p;
        }
    }

    void integrate(double unit) {
        double sum = 0;
        for (double& b : h_.bins) {
            sum += b;
            b = sum * unit;
        }
        if (std::isnan(h_.min) || std::isnan(h_.max)) {
            h_.min = h_.max = 0;
            h_.minAt = h_.maxAt = {};
            return;
        }
        const int last = static_cast<int>(h_.bins.size()) - 1;
        const int low = std::min(bin(h_.min), last);
        const int high = std::min(bin(h_.max), last);
        for (int i = 0; i <= last; ++i) {
            if (i < low || i > high) {
                h_.bins[static_cast<std::size_t>(i < low ? low : high)] +=
                    h_.bins[static_cast<std::size_t>(i)];
                h_.bins[static_cast<std::size_t>(i)] = 0;
            }
        }
        h_.minAt = doseGeometry_.VoxelToReal(h_.minAt);
        h_.maxAt = doseGeometry_.VoxelToReal(h_.maxAt);
    }

    const QVolume<T>& dose_;
    const FVoxelSpaceGeometry& doseGeometry_;
    const NSegment::SegmentVolume& structure_;
    const FVoxelSpaceGeometry& structureGeometry_;
    int nx_;
    int ny_;
    PlainHistogram h_;
};

template <typename T>
PlainHistogram plainSample(const QVolume<T>& dose, const FVoxelSpaceGeometry& doseGeometry,
                           const NSegment::SegmentVolume& structure,
                           const FVoxelSpaceGeometry& structureGeometry, double sampleStep,
                           double maxValue, double offset, int binCount) {
    return PlainSampler<T>(dose, doseGeometry, structure, structureGeometry, sampleStep)
        .run(maxValue, offset, binCount);
}

struct PlainStatistics {
    double total = 0;
    double mean = 0;
    double deviation = 0;
};

/// Doses are at bin centres.
inline PlainStatistics plainStatistics(const std::vector<double>& bins, double binWidth) {
    PlainStatistics s;
    double sum = 0;
    double squares = 0;
    for (std::size_t i = 0; i < bins.size(); ++i) {
        const double centre = (static_cast<double>(i) + 0.5) * binWidth;
        s.total += bins[i];
        sum += centre * bins[i];
        squares += centre * centre * bins[i];
    }
    if (s.total > 0) {
        s.mean = sum / s.total;
        s.deviation = std::sqrt(std::max(0.0, squares / s.total - s.mean * s.mean));
    }
    return s;
}

struct PlainCoverage {
    double structureWeight = 0;
    double coveredWeight = 0;
    int count = 0;

    double fraction() const { return structureWeight > 0 ? coveredWeight / structureWeight : 1.0; }
};

inline PlainCoverage plainCoverage(const FVoxelSpaceGeometry& dose,
                                   const NSegment::SegmentVolume& structure,
                                   const FVoxelSpaceGeometry& structureGeometry) {
    PlainCoverage c;
    for (int z = 0; z < structure.zsize(); ++z) {
        for (int y = 0; y < structure.ysize(); ++y) {
            for (int x = 0; x < structure.xsize(); ++x) {
                const int value = structure.pixel(x, y, z);
                if (value < 128) {
                    continue;
                }
                c.structureWeight += value / 255.0;
                const Vector p = dose.RealToVoxel(
                    structureGeometry.VoxelToReal({double(x), double(y), double(z)}));
                if (0 <= p.x && p.x < dose.xsize() && 0 <= p.y && p.y < dose.ysize() &&
                    (dose.zsize() == 1 || (0 <= p.z && p.z < dose.zsize()))) {
                    c.coveredWeight += value / 255.0;
                    ++c.count;
                }
            }
        }
    }
    return c;
}

}  // namespace bench
