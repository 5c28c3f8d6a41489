#include <trelis/contour/contour_stack.h>

#include <cmath>
#include <functional>
#include <numbers>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>
#include <tests/support/reporter.h>
#include <tests/support/segments.h>
#include <trelis/contour/scan_conversion.h>
#include <trelis/segment_algorithms/sub_voxel_measures.h>

namespace {

using NSegment::SegmentVolume;
using NSegmentAlgorithms::ContourStackOptions;
using Contours = std::vector<std::vector<Vector>>;

constexpr double kPi = std::numbers::pi;

/// A polygon of the area of the circle.
std::vector<EdgePoint> circle(double x, double y, double radius) {
    constexpr int kCorners = 90;
    const double corner = 2 * kPi / kCorners;
    const double reach = radius * std::sqrt(corner / std::sin(corner));
    std::vector<EdgePoint> points(kCorners);
    double angle = 0.0;
    for (EdgePoint& p : points) {
        p = {x + reach * std::cos(angle), y + reach * std::sin(angle)};
        angle += corner;
    }
    return points;
}

/// Adds the contours of a plane given in millimetres along the axes of a frame.
void addPlane(const MMatrix& frame, double z, const Glyph& glyph, Contours& contours) {
    for (const auto& contour : glyph) {
        contours.emplace_back();
        for (const EdgePoint& p : contour) {
            contours.back().push_back(frame.Transform({p.x, p.y, z}));
        }
    }
}

SegmentVolume convert(const Contours& contours, const FVoxelSpaceGeometry& grid,
                      const ContourStackOptions& options = {}) {
    SegmentVolume segment(1, 1, 1, 1, 1, 1);
    QProgressReporterNull nobody;
    NSegmentAlgorithms::ConvertContourStack(contours, grid, options, segment, nobody);
    return segment;
}

double volumeOf(const SegmentVolume& segment) {
    QProgressReporterNull nobody;
    return plexa::CalculateVolumeWithSubVoxelModeling(segment, nobody);
}

/// In voxels.
double coveredSum(const SegmentVolume& segment) {
    double sum = 0.0;
    for (const unsigned char value : dense(segment)) {
        sum += value / 255.0;
    }
    return sum;
}

/// Which planes hold something, first to last.
std::string planesOf(const SegmentVolume& segment) {
    std::string marks(static_cast<std::size_t>(segment.zsize()), '.');
    forEachVoxel(sizeOf(segment), [&](int x, int y, int z) {
        char& mark = marks[static_cast<std::size_t>(z)];
        const int value = segment.pixel(x, y, z);
        mark = value == 255 ? '#' : value > 0 && mark == '.' ? '+' : mark;
    });
    return marks;
}

TEST(ContourStack, KeepsTheVolumesOfAnalyticBodiesOnAnyGridInAnyFrame) {
    const struct {
        const char* name;
        double bottom, top, volume, tolerance, measureTolerance;
        std::function<Glyph(double z)> section;
    } bodies[] = {
        {"sphere", -21, 21, 4.0 / 3 * kPi * 9261, 0.01, 0.01,
         [](double z) { return Glyph{circle(0, 1, std::sqrt(441 - z * z))}; }},
        {"cone", -21, 21, kPi * 441 * 42 / 3, 0.01, 0.03,
         [](double z) { return Glyph{circle(1, 0, (21 - z) / 2)}; }},
        {"torus", -9, 9, 2 * kPi * kPi * 20 * 81, 0.025, 0.015,
         [](double z) {
             const double half = std::sqrt(81 - z * z);
             return Glyph{circle(0, 0, 20 + half), circle(0, 0, 20 - half)};
         }},
        {"box", -15, 15, 30 * 20.5 * 10.25, 0.01, 0.03,
         [](double) {
             return Glyph{{{-10, -5}, {10.5, -5}, {10.5, 5.25}, {-10, 5.25}}};
         }},
    };
    MMatrix turned;
    turned.RotateX(0.4);
    turned.RotateZ(1.1);
    turned.SetTranslation(40, -30, 20);
    for (const auto& body : bodies) {
        for (const MMatrix& frame : {MMatrix(), turned}) {
            // Grids with planes on the contours, between them, denser and sparser.
            for (const double plane : {1.0, 2.0, 3.0}) {
                for (const double offset : {0.0, 0.49, -0.3}) {
                    const double spacing = 2.0;
                    Contours contours;
                    for (double z = body.bottom + spacing / 2; z < body.top; z += spacing) {
                        addPlane(frame, z + offset * spacing, body.section(z), contours);
                    }
                    const FVoxelSpaceGeometry grid(frame, 70, 70, 61, 1, 1, plane);
                    const SegmentVolume segment = convert(contours, grid);
                    EXPECT_NEAR(coveredSum(segment) * plane / body.volume, 1.0, body.tolerance)
                        << body.name << " plane " << plane << " offset " << offset;
                    EXPECT_NEAR(volumeOf(segment) / body.volume, 1.0, body.measureTolerance)
                        << body.name << " plane " << plane << " offset " << offset;
                }
            }
        }
    }
}

TEST(ContourStack, HoldsTheScanConvertedContoursInTheirPlanesAndInterpolatesBetween) {
    const FVoxelSpaceGeometry grid(MMatrix(), 60, 60, 11, 1, 1, 2);
    Contours contours;
    const auto radius = [](int z) { return 10.3 + 0.4 * z; };
    for (const int z : {8, 0, 4}) {
        addPlane(MMatrix(), 2.0 * (z - 5), {circle(0.5, 0, radius(z)), circle(0, 0, 3)}, contours);
    }
    const SegmentVolume segment = convert(contours, grid);
    for (int z = 0; z <= 8; ++z) {
        SegmentVolume plane(60, 60, 1, 1, 1, 1);
        NSegmentAlgorithms::ScanConvertGlyph({circle(30, 29.5, radius(z)), circle(29.5, 29.5, 3)},
                                             0, plane);
        forEachVoxel({60, 60, 1}, [&](int x, int y, int) {
            ASSERT_NEAR(segment.pixel(x, y, z), plane.pixel(x, y, 0), z % 4 == 0 ? 0 : 12)
                << x << ", " << y << ", " << z;
        });
    }
}

TEST(ContourStack, FillsGapsKeepsWideOnesAndCapsEveryEnd) {
    const FVoxelSpaceGeometry grid(MMatrix(), 40, 40, 20, 1, 1, 1);
    const struct {
        const char* name;
        std::vector<int> right;  ///< planes of one part
        std::vector<int> left;   ///< of another
        ContourStackOptions options;
        std::string expected;
        double slabs;
    } cases[] = {
        {"one missing plane", {3, 4, 6, 7}, {}, {}, "...#####............", 5},
        {"a deliberate gap", {3, 4, 5, 11, 12}, {}, {1.0, 4.0, true}, "...###.....##.......", 5},
        {"a single plane", {8}, {}, {}, "........#...........", 1},
        {"no caps", {3, 4, 5, 6}, {}, {0.0, 4.0, false}, "...+##+.............", 3},
        {"a part that ends early", {3, 4, 5, 6}, {3, 4}, {}, "...####.............", 6},
        {"sparse contours", {2, 6, 10}, {}, {}, "+###########+.......", 12},
        {"a plane missing in one part", {3, 4, 5, 6}, {3, 4, 6}, {}, "...####.............", 8},
        {"parts in alternate planes",
         {2, 4, 6},
         {3, 5, 7},
         {2.0, 4.0, true},
         ".+######+...........",
         12},
        {"two planes far apart", {4, 12}, {}, {2.0, 3.0, true}, "...+#+.....+#+......", 4},
    };
    for (const auto& c : cases) {
        Contours contours;
        for (const int z : c.right) {
            addPlane(MMatrix(), z - 9.5, {circle(8, 0, 5)}, contours);
        }
        for (const int z : c.left) {
            addPlane(MMatrix(), z - 9.5, {circle(-8, 0, 5)}, contours);
        }
        const SegmentVolume segment = convert(contours, grid, c.options);
        EXPECT_EQ(planesOf(segment), c.expected) << c.name;
        EXPECT_NEAR(coveredSum(segment) / (kPi * 25), c.slabs, 0.02 * c.slabs) << c.name;
    }
}

TEST(ContourStack, KeepsHolesThatTouchKeyholesAndWhatIsCutOffByTheGrid) {
    const FVoxelSpaceGeometry grid(MMatrix(), 40, 20, 7, 1, 2, 1);
    const auto half = [](double right) {
        std::vector<EdgePoint> points = circle(0, 0, 10);
        points.resize(60);
        for (EdgePoint& p : points) {
            p.x += right;
        }
        return points;
    };
    const Glyph cases[] = {
        {circle(0, 0, 10), half(0)},
        {{{-9, -9},
          {9, -9},
          {9, 9},
          {0, 9},
          {0, 4},
          {4, 4},
          {4, -4},
          {-4, -4},
          {-4, 4},
          {0, 4},
          {0, 9},
          {-9, 9}}},
        {{{-9, -9}, {0, -9}, {0, 9}, {-9, 9}}, {{0, -9}, {9, -9}, {9, 9}, {0, 9}}},
        {{{-9, -9}, {4, -9}, {4, 9}, {-9, 9}}, {{-4, -5}, {9, -5}, {9, 5}, {-4, 5}}},
        {half(40), half(-90), circle(0, 0, 5)},
        {circle(17, 0, 8), {{-60, -9}, {-20, -9}, {-20, 9}, {-60, 9}}},
    };
    for (const Glyph& glyph : cases) {
        Contours contours;
        addPlane(MMatrix(), -3, glyph, contours);
        addPlane(MMatrix(), 3, glyph, contours);
        Glyph inVoxels = glyph;
        for (auto& contour : inVoxels) {
            for (EdgePoint& p : contour) {
                p = {p.x + 19.5, p.y / 2 + 9.5};
            }
        }
        SegmentVolume plane(40, 20, 1, 1, 2, 1);
        NSegmentAlgorithms::ScanConvertGlyph(inVoxels, 0, plane);
        const SegmentVolume segment = convert(contours, grid);
        EXPECT_NEAR(coveredSum(segment), 7 * coveredSum(plane), 0.5) << &glyph - cases;
    }
}

TEST(ContourStack, NamesTheContourThatDoesNotFitAndCanBeCancelled) {
    const FVoxelSpaceGeometry grid(MMatrix(), 40, 40, 20, 1, 1, 1);
    Contours contours;
    addPlane(MMatrix(), 0.5, {circle(0, 0, 5)}, contours);
    RecordingReporter reporter(1);
    SegmentVolume segment(1, 1, 1, 1, 1, 1);
    EXPECT_THROW(NSegmentAlgorithms::ConvertContourStack(contours, grid, {}, segment, reporter),
                 QAbortPressed);
    MMatrix tilted;
    tilted.RotateX(0.05);
    addPlane(tilted, 3, {circle(0, 0, 5)}, contours);
    try {
        convert(contours, grid);
        ADD_FAILURE() << "a tilted contour passed";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "NSegmentAlgorithms::ConvertContourStack: contour 1 does not lie in a plane "
                     "of the grid");
    }
    EXPECT_THROW(convert({}, grid, {-1.0, 4.0, true}), std::invalid_argument);
    EXPECT_TRUE(planesOf(convert({}, grid)).find_first_not_of('.') == std::string::npos);
}

}  // namespace
