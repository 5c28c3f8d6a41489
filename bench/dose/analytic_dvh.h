#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <sstream>
#include <string>

#include <trelis/dose/dvh_data.h>
#include <trelis/foundation/volume.h>
#include <trelis/foundation/voxel_space_geometry.h>
#include <trelis/segment/segment_volume.h>

/// Solids in doses whose histogram is known in closed form.
namespace bench {

using Vector = MVectorTemplate<double>;

inline constexpr double kPi = 3.14159265358979323846;

/// The dose at the centre of the solid in Gy, its gradient in Gy per mm, and what one dose value
/// stands for.
inline constexpr double kCentreDose = 100.0;
inline constexpr double kGradient = 1.0;
inline constexpr double kDoseScale = 0.001;

/// A solid around the origin, of size 1: half a side, or a radius.
struct Solid {
    const char* name;
    double volume;
    /// At most 0 inside; changes by at most `kSteepest` per unit.
    double (*outside)(const Vector& p);
};

inline constexpr double kSteepest = 2.3;

inline double fromAxis(const Vector& p) { return std::hypot(p.x, p.y); }

inline constexpr Solid kSphere{"sphere", 4.0 / 3.0 * kPi,
                               [](const Vector& p) { return p.Length() - 1.0; }};
inline constexpr Solid kCylinder{"cylinder", 2.0 * kPi, [](const Vector& p) {
                                     return std::max(fromAxis(p), std::abs(p.z)) - 1.0;
                                 }};
/// The base is below, the apex above.
inline constexpr Solid kCone{"cone", 2.0 / 3.0 * kPi, [](const Vector& p) {
                                 return std::max(-p.z - 1.0, 2.0 * fromAxis(p) + p.z - 1.0);
                             }};
inline constexpr Solid kBox{
    "box", 8.0, [](const Vector& p) {
        return std::max({std::abs(p.x), std::abs(p.y), std::abs(p.z)}) - 1.0;
    }};

inline constexpr const Solid* kSolids[] = {&kSphere, &kCylinder, &kCone, &kBox};

/// What the dose follows: a coordinate that runs from `low` to `high` in a solid of size 1, with
/// the fraction of the solid's volume below a value of it.
struct Field {
    const char* name;
    const Solid* solid;
    double low;
    double high;
    double (*coordinate)(const Vector& p);
    double (*fractionBelow)(double t);
};

inline double alongX(const Vector& p) { return p.x; }
inline double alongY(const Vector& p) { return p.y; }
inline double alongZ(const Vector& p) { return p.z; }

/// Oblique in x and z, and in all three.
inline double alongXZ(const Vector& p) { return 0.6 * p.x + 0.8 * p.z; }
inline double alongDiagonal(const Vector& p) { return (2.0 * p.x - p.y + 2.0 * p.z) / 3.0; }

inline double ofSlab(double t) { return (t + 1.0) / 2.0; }
inline double ofBall(double t) { return (2.0 + 3.0 * t - t * t * t) / 4.0; }
inline double ofDisc(double t) { return 0.5 + (t * std::sqrt(1.0 - t * t) + std::asin(t)) / kPi; }

/// The integral of `ofDisc` from below.
inline double ofDiscSummed(double t) {
    const double u = std::clamp(t, -1.0, 1.0);
    const double root = std::sqrt(1.0 - u * u);
    return u / 2.0 + (u * std::asin(u) + root - root * root * root / 3.0) / kPi +
           (t > u ? t - u : 0.0);
}
inline double ofCylinderAlongXZ(double t) {
    return 0.6 / 1.6 * (ofDiscSummed((t + 0.8) / 0.6) - ofDiscSummed((t - 0.8) / 0.6));
}

inline double ofConeAlongX(double t) {
    const double u = std::max(std::abs(t), 1e-12);
    const double half =
        (2.0 * u * std::sqrt(1.0 - u * u) + std::asin(u) - u * u * u * std::acosh(1.0 / u)) / kPi;
    return 0.5 + (t < 0.0 ? -half : half);
}
inline double ofConeAlongZ(double t) {
    const double rest = (1.0 - t) / 2.0;
    return 1.0 - rest * rest * rest;
}

/// Corner by corner.
inline double ofBoxAlongDiagonal(double t) {
    double sum = 0.0;
    for (int corner = 0; corner < 8; ++corner) {
        const double x = (corner & 1) != 0 ? 1.0 : -1.0;
        const double y = (corner & 2) != 0 ? 1.0 : -1.0;
        const double z = (corner & 4) != 0 ? 1.0 : -1.0;
        const double reach = std::max(0.0, t + (2.0 * x + y + 2.0 * z) / 3.0);
        sum += x * y * z * reach * reach * reach;
    }
    return sum / (48.0 * 4.0 / 27.0);
}
/// A circle in a square.
inline double ofBoxFromAxis(double t) {
    const double corners =
        t > 1.0 ? 4.0 * (t * t * std::acos(1.0 / t) - std::sqrt(t * t - 1.0)) : 0.0;
    return (kPi * t * t - corners) / 4.0;
}

inline constexpr Field kFields[] = {
    {"x", &kSphere, -1.0, 1.0, alongX, ofBall},
    {"y", &kSphere, -1.0, 1.0, alongY, ofBall},
    {"z", &kSphere, -1.0, 1.0, alongZ, ofBall},
    {"oblique", &kSphere, -1.0, 1.0, alongDiagonal, ofBall},
    {"radial", &kSphere, 0.0, 1.0, [](const Vector& p) { return p.Length(); },
     [](double t) { return t * t * t; }},
    {"x", &kCylinder, -1.0, 1.0, alongX, ofDisc},
    {"y", &kCylinder, -1.0, 1.0, alongY, ofDisc},
    {"z", &kCylinder, -1.0, 1.0, alongZ, ofSlab},
    {"oblique", &kCylinder, -1.4, 1.4, alongXZ, ofCylinderAlongXZ},
    {"radial", &kCylinder, 0.0, 1.0, fromAxis, [](double t) { return t * t; }},
    {"x", &kCone, -1.0, 1.0, alongX, ofConeAlongX},
    {"y", &kCone, -1.0, 1.0, alongY, ofConeAlongX},
    {"z", &kCone, -1.0, 1.0, alongZ, ofConeAlongZ},
    {"radial", &kCone, 0.0, 1.0, fromAxis, [](double t) { return (3.0 - 2.0 * t) * t * t; }},
    {"x", &kBox, -1.0, 1.0, alongX, ofSlab},
    {"y", &kBox, -1.0, 1.0, alongY, ofSlab},
    {"z", &kBox, -1.0, 1.0, alongZ, ofSlab},
    {"oblique", &kBox, -5.0 / 3.0, 5.0 / 3.0, alongDiagonal, ofBoxAlongDiagonal},
    {"radial", &kBox, 0.0, 1.4142135623730951, fromAxis, ofBoxFromAxis},
};

/// A grid of voxels of the size given around a solid, whose centre is off its voxel centres.
inline FVoxelSpaceGeometry gridAround(double size, const Vector& voxel) {
    constexpr double kMargin = 2.0;
    const auto count = [&](double edge) {
        return static_cast<int>(2.0 * (size / edge + kMargin)) + 1;
    };
    MMatrix transform;
    transform.SetTranslation(0.13 * voxel.x, 0.29 * voxel.y, -0.17 * voxel.z);
    return {transform, count(voxel.x), count(voxel.y), count(voxel.z), voxel.x, voxel.y, voxel.z};
}

/// Partial-volume voxels, by a lattice of points in each that is equally spaced on every axis
/// (Korobov, 101 points with generator 40).
inline NSegment::SegmentVolume rasterised(const Solid& solid, double size,
                                          const FVoxelSpaceGeometry& grid) {
    constexpr int kSamples = 101;
    NSegment::SegmentVolume s(grid.xsize(), grid.ysize(), grid.zsize(), grid.xres(), grid.yres(),
                              grid.zres());
    const double reach =
        kSteepest * Vector(grid.xres(), grid.yres(), grid.zres()).Length() / (2.0 * size);
    const auto at = [&](double x, double y, double z) {
        return solid.outside(grid.RVoxelToReal({x, y, z}) * (1.0 / size));
    };
    const auto covered = [&](int x, int y, int z) {
        const auto place = [](int k) { return (k % kSamples + 0.5) / kSamples; };
        int inside = 0;
        for (int i = 0; i < kSamples; ++i) {
            inside += at(x + place(i), y + place(40 * i), z + place(85 * i)) <= 0.0 ? 1 : 0;
        }
        return static_cast<double>(inside) / kSamples;
    };
    for (int z = 0; z < s.zsize(); ++z) {
        for (int y = 0; y < s.ysize(); ++y) {
            for (int x = 0; x < s.xsize(); ++x) {
                const double outside = at(x + 0.5, y + 0.5, z + 0.5);
                const double fraction =
                    std::abs(outside) > reach ? (outside < 0.0 ? 1.0 : 0.0) : covered(x, y, z);
                s.setPixel(x, y, z, NSegment::SegmentVolume::fromFloat(fraction));
            }
        }
    }
    s.compact();
    return s;
}

/// The dose at the voxel centres of a grid.
inline QVolume<unsigned int> doseOf(const Field& field, double size,
                                    const FVoxelSpaceGeometry& grid) {
    QVolume<unsigned int> dose(grid.xsize(), grid.ysize(), grid.zsize(), grid.xres(), grid.yres(),
                               grid.zres());
    for (int z = 0; z < grid.zsize(); ++z) {
        for (int y = 0; y < grid.ysize(); ++y) {
            for (int x = 0; x < grid.xsize(); ++x) {
                const Vector p = grid.VoxelToReal(Vector(x, y, z)) * (1.0 / size);
                const double gray = kCentreDose + kGradient * size * field.coordinate(p);
                dose.SetPixel(x, y, z,
                              static_cast<unsigned>(std::max(0.0, gray / kDoseScale + 0.5)));
            }
        }
    }
    return dose;
}

/// The coordinate below which there is the given part of the volume.
inline double coordinateOf(const Field& field, double fraction) {
    double low = field.low;
    double high = field.high;
    for (int i = 0; i < 60; ++i) {
        const double middle = (low + high) / 2.0;
        (field.fractionBelow(middle) < fraction ? low : high) = middle;
    }
    return low;
}

inline double meanCoordinate(const Field& field) {
    constexpr int kSteps = 2000;
    const double step = (field.high - field.low) / kSteps;
    double below = 0.0;
    for (int i = 0; i < kSteps; ++i) {
        below += field.fractionBelow(field.low + (i + 0.5) * step) * step;
    }
    return field.high - below;
}

/// Absolute errors of a histogram.
struct DvhErrors {
    double volume;    ///< per cent
    double extremes;  ///< Gy, the larger of minimum and maximum
    double mean;      ///< Gy
    double median;    ///< Gy
    double tails;     ///< Gy, the largest of D99, D95, D5 and D1
    double curve;     ///< per cent of the volume, the largest along the cumulative histogram

    bool areBelow(const DvhErrors& limits) const {
        return volume < limits.volume && extremes < limits.extremes && mean < limits.mean &&
               median < limits.median && tails < limits.tails && curve < limits.curve;
    }

    std::string text() const {
        std::ostringstream stream;
        stream << "volume " << volume << " extremes " << extremes << " mean " << mean << " median "
               << median << " tails " << tails << " curve " << curve;
        return stream.str();
    }
};

/// The errors of a differential histogram in cm3 and Gy.
inline DvhErrors errorsOf(trelis::DvhData dvh, const Field& field, double size) {
    const auto gray = [&](double t) { return kCentreDose + kGradient * size * t; };
    DvhErrors e{};
    const double volume = field.solid->volume * size * size * size / 1000.0;
    e.volume = 100.0 * std::abs(dvh.volume / volume - 1.0);
    e.extremes =
        std::max(std::abs(dvh.minDose - gray(field.low)), std::abs(dvh.maxDose - gray(field.high)));
    e.mean = std::abs(dvh.meanDose - gray(meanCoordinate(field)));
    e.median = std::abs(dvh.medianDose - gray(coordinateOf(field, 0.5)));
    dvh.Cumulate();
    const double total = dvh.bins[0];
    for (const double percent : {99.0, 95.0, 5.0, 1.0}) {
        const double dose = dvh.FindThresholdVolume(total * percent / 100.0) * dvh.binWidth;
        e.tails =
            std::max(e.tails, std::abs(dose - gray(coordinateOf(field, 1.0 - percent / 100.0))));
    }
    constexpr int kDoses = 200;
    for (int i = 1; i < kDoses; ++i) {
        const double t = field.low + (field.high - field.low) * i / kDoses;
        const double above = dvh.GetInterpolatedValue(gray(t)) / total;
        e.curve = std::max(e.curve, 100.0 * std::abs(above - 1.0 + field.fractionBelow(t)));
    }
    return e;
}

}  // namespace bench
