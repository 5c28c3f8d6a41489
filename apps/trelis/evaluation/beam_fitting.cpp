#include <apps/trelis/evaluation/beam_fitting.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include <fmt/format.h>

#include <trelis/contour/beams_eye_outline.h>
#include <trelis/foundation/undefined.h>
#include <trelis/mlc/jaw_correction.h>
#include <trelis/mlc/leaf_fitting.h>

#include <apps/trelis/evaluation/patient_position.h>

namespace app {

namespace {

using NControlPoint::Collimator;
using NMLC::Bank;
using NMLC::LeafConfiguration;
using NMLC::LeafPositions;

/// All lengths are millimetres in the plane through the isocentre. How far leaves and jaws reach
/// from the middle.
constexpr double kReach = 200.0;

/// The distance of points on which the outline is traced, half a voxel within these.
constexpr double kFinestStep = 0.5;
constexpr double kCoarsestStep = 2.0;

constexpr double kSampleStep = 0.5;

/// How far outside the outline jaws start at most.
constexpr double kWidestMargin = 10.0;

/// What a position may be beyond a limit without a word.
constexpr double kSlack = 0.1;

/// Runs of leaf pairs of one width, of a collimator that is not planned.
struct LeafRun {
    int pairs;
    double width;
};
constexpr LeafRun kDefaultLeaves[] = {{10, 10.0}, {40, 5.0}, {10, 10.0}};
constexpr double kFirstDefaultEdge = -200.0;

std::vector<double> leafBoundariesOf(const Beam& beam) {
    if (beam.leafBoundaries.size() > 1) {
        return beam.leafBoundaries;
    }
    std::vector<double> boundaries = {kFirstDefaultEdge};
    for (const LeafRun& run : kDefaultLeaves) {
        for (int i = 0; i < run.pairs; ++i) {
            boundaries.push_back(boundaries.back() + run.width);
        }
    }
    return boundaries;
}

std::string nameOf(const Beam& beam) {
    return beam.name.empty() ? fmt::format("beam {}", beam.number)
                             : fmt::format("beam {} ({})", beam.number, beam.name);
}

bool isFinite(const Vector& v) {
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

/// The centre of the box around the inside voxels, in patient coordinates.
Vector centreOf(const EvaluatedStructure& target) {
    int low[3];
    int high[3];
    target.segment.GetBoundingBoxForIteration(low[0], low[1], low[2], high[0], high[1], high[2]);
    return target.geometry.VoxelToReal(
        {(low[0] + high[0]) / 2.0, (low[1] + high[1]) / 2.0, (low[2] + high[2]) / 2.0});
}

/// The outline of the target with patient and isocentre turned as if head first supine, which is
/// what the geometry of a beam supposes.
Glyph traceOutline(const Beam& beam, const EvaluatedStructure& target,
                   FProgressReportingBody& progress) {
    const std::optional<MMatrix> turn = turnToHeadFirstSupine(beam.patientPosition);
    if (!turn) {
        throw std::invalid_argument(
            fmt::format("the patient position \"{}\" is not supported", beam.patientPosition));
    }
    MMatrix transform = target.geometry.GetTransform();
    transform.CombineTransform(*turn);
    trelis::BeamGeometry geometry = beam.geometry;
    geometry.isocentre = turn->Transform(geometry.isocentre);
    const NSegment::SegmentVolume& segment = target.segment;
    const double step =
        std::clamp(std::min(segment.xres(), segment.yres()) / 2.0, kFinestStep, kCoarsestStep);
    Glyph outline;
    trelis::TraceBeamsEyeOutline(segment,
                                 {transform, segment.xsize(), segment.ysize(), segment.zsize(),
                                  segment.xres(), segment.yres(), segment.zres()},
                                 geometry, step, outline, progress);
    if (outline.empty()) {
        throw std::invalid_argument("the target has no outline");
    }
    return outline;
}

/// The outline in the frame of the leaves, which travel along x there.
Glyph alongLeaves(const Glyph& outline, bool leavesAlongY) {
    Glyph turned = outline;
    for (auto& contour : turned) {
        for (EdgePoint& p : contour) {
            if (leavesAlongY) {
                std::swap(p.x, p.y);
            }
        }
    }
    return turned;
}

struct Interval {
    double low = std::numeric_limits<double>::max();
    double high = std::numeric_limits<double>::lowest();
};

/// Where an outline is along the leaves and across them.
struct Extent {
    Interval along;
    Interval across;
};

Extent extentOf(const Glyph& outline) {
    Extent extent;
    const auto include = [](Interval& interval, double value) {
        interval.low = std::min(interval.low, value);
        interval.high = std::max(interval.high, value);
    };
    for (const auto& contour : outline) {
        for (const EdgePoint& p : contour) {
            include(extent.along, p.x);
            include(extent.across, p.y);
        }
    }
    return extent;
}

/// A plain single-layer collimator. Of what the correction of its jaws may do, the along jaws open
/// to the aperture, and the across jaws do not open beyond the bank, where no leaf is. Width, leaf
/// exposure and margins of particular machines do not matter: the shielded width is that of the
/// bank.
void configure(const std::vector<double>& boundaries, bool leavesAlongY,
               LeafConfiguration& configuration) {
    for (int i = 0; i < configuration.GetLeafPairCount(); ++i) {
        const auto pair = static_cast<std::size_t>(i);
        NMLC::LeafPair& leaves = configuration.GetLeafPair(i);
        leaves.centre = static_cast<float>((boundaries[pair] + boundaries[pair + 1]) / 2.0);
        leaves.width = static_cast<float>(boundaries[pair + 1] - boundaries[pair]);
        for (const Bank bank : {Bank::Left, Bank::Right}) {
            leaves.GetLeaf(bank).unscaledMinimum = static_cast<float>(-kReach);
            leaves.GetLeaf(bank).unscaledMaximum = static_cast<float>(kReach);
        }
    }
    configuration.SetParallelWithYJaws(leavesAlongY);
    configuration.limitAcrossJaws = true;
    configuration.acrossJawLimit =
        static_cast<float>(std::max(std::abs(boundaries.front()), std::abs(boundaries.back())));
    configuration.shieldedHalfWidth = configuration.acrossJawLimit;
}

double narrowestLeaf(const std::vector<double>& boundaries) {
    double narrowest = std::numeric_limits<double>::infinity();
    for (std::size_t i = 1; i < boundaries.size(); ++i) {
        narrowest = std::min(narrowest, boundaries[i] - boundaries[i - 1]);
    }
    return narrowest;
}

/// Jaws around the outline; a pair that the plan lacks while it has the other stays undefined.
Collimator firstJaws(const Beam& beam, const Extent& extent, double narrowestLeaf) {
    const double distance = std::min(narrowestLeaf, kWidestMargin);
    Interval x = {std::clamp(extent.along.low - distance, -kReach, kReach),
                  std::clamp(extent.along.high + distance, -kReach, kReach)};
    Interval y = {extent.across.low - distance, extent.across.high + distance};
    if (beam.leavesAlongY) {
        std::swap(x, y);
    }
    Collimator jaws = {x.low, x.high, y.low, y.high};
    const Collimator& planned = beam.plannedJaws;
    const bool hasX = std::isfinite(planned.X1) && std::isfinite(planned.X2);
    const bool hasY = std::isfinite(planned.Y1) && std::isfinite(planned.Y2);
    if (hasY && !hasX) {
        jaws.X1 = jaws.X2 = trelis::Undefined<double>::value;
    }
    if (hasX && !hasY) {
        jaws.Y1 = jaws.Y2 = trelis::Undefined<double>::value;
    }
    return jaws;
}

Collimator correctedJaws(const LeafConfiguration& configuration, const LeafPositions& positions,
                         Collimator jaws) {
    const NControlPoint::JawLimits limit{-kReach, kReach};
    NMLC::CorrectCollimatorJawPositions(configuration, positions, {limit, limit, limit, limit},
                                        jaws, false, false, true);
    return jaws;
}

bool coversPart(double lowJaw, double highJaw, const Interval& extent) {
    return lowJaw > extent.low + kSlack || highJaw < extent.high - kSlack;
}

void reportDoubts(const EvaluatedBeam& fitted, const Extent& extent, Messages& messages) {
    const std::string subject = nameOf(fitted.beam);
    if (fitted.beam.furtherShapes > 0) {
        messages.note(subject, fmt::format("{} further control points have other shapes or angles; "
                                           "only the first one is compared",
                                           fitted.beam.furtherShapes));
    }
    if (extent.across.low < fitted.leafBoundaries.front() - kSlack ||
        extent.across.high > fitted.leafBoundaries.back() + kSlack ||
        std::max(-extent.along.low, extent.along.high) > kReach + kSlack) {
        messages.warn(subject, "the target reaches beyond the leaves");
    }
    const Collimator& jaws = fitted.jaws;
    const bool alongY = fitted.beam.leavesAlongY;
    if (coversPart(jaws.X1, jaws.X2, alongY ? extent.across : extent.along) ||
        coversPart(jaws.Y1, jaws.Y2, alongY ? extent.along : extent.across)) {
        messages.warn(subject, "the jaws cover a part of the target");
    }
}

EvaluatedBeam fitBeam(Beam beam, const EvaluatedStructure& target, Messages& messages,
                      FProgressReportingBody& progress) {
    if (!isFinite(beam.geometry.isocentre)) {
        beam.geometry.isocentre = centreOf(target);
    }
    EvaluatedBeam fitted;
    fitted.outline = traceOutline(beam, target, progress);
    fitted.leafBoundaries = leafBoundariesOf(beam);
    const Glyph outline = alongLeaves(fitted.outline, beam.leavesAlongY);
    LeafConfiguration configuration(static_cast<int>(fitted.leafBoundaries.size()) - 1,
                                    NMLC::MLCType::Generic, 0.0F, false);
    configure(fitted.leafBoundaries, beam.leavesAlongY, configuration);
    LeafPositions positions;
    NMLC::FitLeaves(outline, configuration, NMLC::OpenLeavesMeetingPoint::Middle,
                    NMLC::ClosedLeavesMeetingPoint::Left, positions, 1.0, kSampleStep);
    if (positions.IsClosed()) {
        throw std::invalid_argument("no leaf reaches the target");
    }
    for (const NMLC::LeafPositionPair& pair : positions) {
        fitted.left.push_back(static_cast<double>(pair.GetPosition(Bank::Left)));
        fitted.right.push_back(static_cast<double>(pair.GetPosition(Bank::Right)));
    }
    const Extent extent = extentOf(outline);
    fitted.jaws = correctedJaws(configuration, positions,
                                firstJaws(beam, extent, narrowestLeaf(fitted.leafBoundaries)));
    fitted.beam = std::move(beam);
    reportDoubts(fitted, extent, messages);
    return fitted;
}

}  // namespace

std::vector<EvaluatedBeam> fitBeams(const std::vector<Beam>& beams,
                                    const EvaluatedStructure& target, Messages& messages,
                                    FProgressReportingBody& progress) {
    std::vector<EvaluatedBeam> fitted;
    const auto count = static_cast<double>(beams.size());
    for (std::size_t i = 0; i < beams.size(); ++i) {
        const auto done = static_cast<double>(i);
        try {
            fitted.push_back(fitBeam(beams[i], target, messages,
                                     progress.SubRange(done / count, (done + 1.0) / count)));
        } catch (const std::invalid_argument& error) {
            messages.fault(nameOf(beams[i]), fmt::format("the beam is left out: {}", error.what()));
        }
    }
    return fitted;
}

}  // namespace app
