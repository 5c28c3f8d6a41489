#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include <trelis/trelis.h>

/// The solids of a published benchmark of dose-volume histograms (Nelms et al., Med. Phys. 42,
/// 4435, 2015): 24 mm across, in a dose that rises by 1 Gy/mm from 4 to 28 Gy through them. Every
/// number of their histograms has a closed formula.
namespace analytic {

using NSegment::SegmentVolume;

inline constexpr double kPi = 3.14159265358979323846;
inline constexpr double kRadius = 12.0;
inline constexpr double kHeight = 24.0;
inline constexpr double kMiddleDose = 16.0;

/// Gy for a dose value of 1.
inline constexpr double kDoseScale = 1e-4;

/// The axis of a cylinder or cone runs along z, that of a rotated one along y. Cones point to the
/// positive end.
enum class Solid { Sphere, Cylinder, RotatedCylinder, Cone, RotatedCone };
inline constexpr Solid kSolids[] = {Solid::Sphere, Solid::Cylinder, Solid::RotatedCylinder,
                                    Solid::Cone, Solid::RotatedCone};
inline const char* const kSolidNames[] = {"sphere", "cylinder", "rotated cylinder", "cone",
                                          "rotated cone"};

/// The axis along which the dose rises.
enum class Gradient { AlongZ, AlongY };
inline constexpr Gradient kGradients[] = {Gradient::AlongZ, Gradient::AlongY};

inline bool isCone(Solid solid) { return solid == Solid::Cone || solid == Solid::RotatedCone; }
inline bool isAlongAxis(Solid solid, Gradient gradient) {
    return (solid == Solid::RotatedCylinder || solid == Solid::RotatedCone) ==
           (gradient == Gradient::AlongY);
}

/// What is read off a histogram: mean dose, D99, D95, D5, D1 and D0.03cc in Gy, volume in cm3.
inline constexpr int kValueCount = 7;
inline const char* const kValueNames[kValueCount] = {"Dmean", "D99",     "D95", "D5",
                                                     "D1",    "D0.03cc", "V"};
using Values = std::vector<double>;

/// The area of a disc that lies beyond a line at a signed distance from its centre.
inline double discBeyond(double radius, double distance) {
    const double d = std::clamp(distance / radius, -1.0, 1.0);
    return radius * radius * (std::acos(d) - d * std::sqrt(1 - d * d));
}

/// The volume in mm3 of a cone beyond a plane that is parallel to its axis, at distance t.
inline double coneBeyondParallelPlane(double t) {
    // The integral of `discBeyond` over the radii from |t| to that of the base.
    const double r = kRadius;
    const double a = std::abs(t);
    const double s = std::sqrt(std::max(0.0, r * r - a * a));
    const double logarithm = a > 0 ? std::log((r + s) / a) : 0.0;
    const double beyond =
        kHeight / r *
        (r * r * r * std::acos(std::min(1.0, a / r)) - 2 * a * r * s + a * a * a * logarithm) / 3;
    return t >= 0 ? beyond : kPi * r * r * kHeight / 3 - beyond;
}

/// The volume in mm3 of a solid that lies beyond t mm from the middle along the gradient.
inline double volumeBeyond(Solid solid, Gradient gradient, double t) {
    const double r = kRadius;
    if (solid == Solid::Sphere) {
        return kPi * (r - t) * (r - t) * (2 * r + t) / 3;
    }
    const double toEnd = kHeight / 2 - t;
    if (isCone(solid)) {
        return isAlongAxis(solid, gradient)
                   ? kPi * toEnd * toEnd * toEnd * (r / kHeight) * (r / kHeight) / 3
                   : coneBeyondParallelPlane(t);
    }
    return isAlongAxis(solid, gradient) ? kPi * r * r * toEnd : kHeight * discBeyond(r, t);
}

/// The dose in Gy that `volume` mm3 receive at least.
inline double exactDose(Solid solid, Gradient gradient, double volume) {
    double low = -kRadius;
    double high = kRadius;
    for (int i = 0; i < 60; ++i) {
        const double t = (low + high) / 2;
        (volumeBeyond(solid, gradient, t) > volume ? low : high) = t;
    }
    return kMiddleDose + low;
}

inline Values exactValues(Solid solid, Gradient gradient) {
    const double volume = volumeBeyond(solid, gradient, -kRadius);
    const auto dose = [&](double v) { return exactDose(solid, gradient, v); };
    const double centroid = isCone(solid) && isAlongAxis(solid, gradient) ? -kHeight / 4 : 0.0;
    return {kMiddleDose + centroid, dose(0.99 * volume), dose(0.95 * volume), dose(0.05 * volume),
            dose(0.01 * volume),    dose(30.0),          volume / 1000.0};
}

/// The dose that `volume` cm3 receive at least, linear within the bins of a differential histogram.
inline double doseToVolume(const trelis::DvhData& dvh, double volume) {
    double beyond = 0.0;
    for (std::size_t i = dvh.bins.size(); i-- > 0;) {
        if (beyond + dvh.bins[i] >= volume) {
            return (static_cast<double>(i + 1) - (volume - beyond) / dvh.bins[i]) * dvh.binWidth;
        }
        beyond += dvh.bins[i];
    }
    return 0.0;
}

inline Values valuesOf(const trelis::DvhData& dvh) {
    const auto dose = [&](double part) { return doseToVolume(dvh, part * dvh.volume); };
    return {dvh.meanDose, dose(0.99), dose(0.95), dose(0.05), dose(0.01), doseToVolume(dvh, 0.03),
            dvh.volume};
}

/// The solid at (y, z) reaches from -x to x; 0 where there is nothing.
inline double halfWidth(Solid solid, double y, double z) {
    const bool rotated = solid == Solid::RotatedCylinder || solid == Solid::RotatedCone;
    const double along = rotated ? y : z;
    const double across = rotated ? z : y;
    if (std::abs(along) >= kHeight / 2) {
        return 0.0;
    }
    double radius = kRadius;
    if (solid == Solid::Sphere) {
        radius = std::sqrt(kRadius * kRadius - along * along);
    } else if (isCone(solid)) {
        radius = kRadius * (kHeight / 2 - along) / kHeight;
    }
    return std::sqrt(std::max(0.0, radius * radius - across * across));
}

/// A structure with its place.
struct Structure {
    SegmentVolume segment;
    FVoxelSpaceGeometry geometry;
};

/// A stack of planar contours of a solid, `spacing` mm apart, filled into square voxels by the part
/// of a voxel's area that is inside. The slabs of the planes meet in the middle of the solid, and
/// at its ends where its height is a multiple of the spacing; `shift` moves all planes, in
/// spacings. `voxel` is the edge of a voxel, mm.
inline Structure contourStack(Solid solid, double spacing, double shift = 0.0, double voxel = 0.5) {
    constexpr double kMargin = 2.0;
    constexpr int kLines = 16;
    const auto halfCount = [&](double step) {
        return static_cast<int>(std::ceil((kRadius + kMargin) / step));
    };
    const int half = halfCount(voxel);
    const int halfPlanes = halfCount(spacing) + 1;
    const int size = 2 * half;
    const int planes = 2 * halfPlanes;
    SegmentVolume segment(size, size, planes, voxel, voxel, spacing);
    const auto corner = [&](int i) { return (i - half) * voxel; };
    for (int k = 0; k < planes; ++k) {
        const double z = (k - halfPlanes + 0.5 + shift) * spacing;
        for (int j = 0; j < size; ++j) {
            double reach[kLines];
            for (int line = 0; line < kLines; ++line) {
                reach[line] = halfWidth(solid, corner(j) + voxel * (line + 0.5) / kLines, z);
            }
            for (int i = 0; i < size; ++i) {
                double covered = 0.0;
                for (const double x : reach) {
                    covered += std::max(0.0, std::min(x, corner(i + 1)) - std::max(-x, corner(i)));
                }
                segment.setPixel(i, j, k, SegmentVolume::fromFloat(covered / (voxel * kLines)));
            }
        }
    }
    MMatrix place;
    place.SetTranslation(0.0, 0.0, shift * spacing);
    return {segment, {place, size, size, planes, voxel, voxel, spacing}};
}

/// The dose around the solids, in cubes of `voxel` mm, one of which has its centre in the middle.
inline QVolume<unsigned int> linearDose(Gradient gradient, double voxel) {
    constexpr double kReach = 15.0;
    const int half = static_cast<int>(std::ceil(kReach / voxel));
    const int size = 2 * half + 1;
    QVolume<unsigned int> dose(size, size, size, voxel, voxel, voxel);
    for (int z = 0; z < size; ++z) {
        for (int y = 0; y < size; ++y) {
            const int rise = (gradient == Gradient::AlongZ ? z : y) - half;
            const double value = (kMiddleDose + rise * voxel) / kDoseScale;
            const auto row = dose.GetSpanX(y, z);
            std::fill(row.begin(), row.end(),
                      static_cast<unsigned int>(std::max(0.0, value) + 0.5));
        }
    }
    return dose;
}

/// A dose of 100 Gy at the origin that rises by 1 Gy/mm along an oblique direction, in cubes of 2
/// mm up to 20 mm around.
inline constexpr double kObliqueMiddle = 100.0;
inline constexpr MVectorTemplate<double> kOblique{0.48, 0.6, 0.64};
inline QVolume<unsigned int> obliqueDose() {
    constexpr int kHalf = 10;
    constexpr int kSize = 2 * kHalf + 1;
    QVolume<unsigned int> dose(kSize, kSize, kSize, 2.0, 2.0, 2.0);
    for (int z = 0; z < kSize; ++z) {
        for (int y = 0; y < kSize; ++y) {
            for (int x = 0; x < kSize; ++x) {
                const MVectorTemplate<double> voxel(x - kHalf, y - kHalf, z - kHalf);
                const double value = kObliqueMiddle + 2.0 * kOblique.Dot(voxel);
                dose.SetPixel(x, y, z, static_cast<unsigned int>(value / kDoseScale + 0.5));
            }
        }
    }
    return dose;
}

/// The spacings of contours and of the dose grid and the edge of the structure's voxels, mm.
struct Setting {
    double contours;
    double dose;
    double voxel = 0.5;
};
inline constexpr Setting kFineContours[] = {{0.2, 0.4}, {0.2, 1}, {0.2, 2}, {0.2, 3}};
inline constexpr Setting kCoarseContours[] = {{1, 1}, {2, 2}, {3, 3}};

/// Calls visit(solid, gradient, value number, per cent error) for every value of a setting: seven
/// for each solid in the first direction, six in the others, where the volume is the same.
/// `histogram` makes the `DvhData` of a dose and a structure.
template <typename Histogram, typename Visitor>
void forEachError(const Setting& setting, double shift, const Histogram& histogram,
                  const Visitor& visit) {
    for (const Gradient gradient : kGradients) {
        const QVolume<unsigned int> dose = linearDose(gradient, setting.dose);
        for (const Solid solid : kSolids) {
            const Values exact = exactValues(solid, gradient);
            const Values values = valuesOf(
                histogram(dose, contourStack(solid, setting.contours, shift, setting.voxel)));
            const int count = gradient == kGradients[0] ? kValueCount : kValueCount - 1;
            for (int i = 0; i < count; ++i) {
                const auto k = static_cast<std::size_t>(i);
                visit(solid, gradient, i, 100.0 * (values[k] / exact[k] - 1.0));
            }
        }
    }
}

/// The benchmark's limit, per cent.
inline constexpr double kTolerance = 3.0;

inline trelis::DvhData fixedHistogram(const QVolume<unsigned int>& dose, const Structure& s) {
    QProgressReporterNull nobody;
    trelis::DvhData dvh;
    trelis::CalculateDoseVolumeHistogramAndStatistics(dose, MMatrix(), kDoseScale, 0, s.segment,
                                                      s.geometry, 0, dvh, nobody);
    return dvh;
}

inline trelis::DvhData fineHistogram(const QVolume<unsigned int>& dose, const Structure& s,
                                     const trelis::DvhAccuracy& accuracy = {}) {
    QProgressReporterNull nobody;
    trelis::DvhData dvh;
    trelis::CalculateFineDoseVolumeHistogramAndStatistics(dose, MMatrix(), kDoseScale, 0, s.segment,
                                                          s.geometry, 0, accuracy, dvh, nobody);
    return dvh;
}

}  // namespace analytic
