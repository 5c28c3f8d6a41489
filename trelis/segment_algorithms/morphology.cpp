#include <trelis/segment_algorithms/morphology.h>

#include <trelis/foundation/diagnostics.h>
#include <trelis/segment_algorithms/detail/grow.h>

namespace NSegmentAlgorithms {

namespace {

using detail::Growth;
using detail::Sides;
using NSegment::SegmentVolume;

/// The distances of a dilation, or of an erosion, each 0 or more.
Growth growthBy(const Sides (&distances)[3], bool erode, const char* function) {
    detail::requireNotNegative(distances, function);
    Growth growth;
    growth.ofComplement = erode;
    for (int axis = 0; axis < 3; ++axis) {
        // What is outside grows to the low side where the structure ends on its high side.
        const Sides& d = distances[axis];
        growth.margins[axis] = erode ? Sides{d.high, d.low} : d;
    }
    return growth;
}

void inSpace(const SegmentVolume& in, const Sides (&distances)[3], bool erode, SegmentVolume& out,
             FProgressReportingBody& progress, const char* function) {
    detail::requireDistinct(in, out);
    const Growth growth = growthBy(distances, erode, function);
    detail::grow(in, growth, 3, 0, in.zsize() - 1, out, progress, function);
}

void perPlane(const SegmentVolume& in, const Sides (&distances)[3], bool erode, int firstPlane,
              int lastPlane, SegmentVolume& out, FProgressReportingBody& progress,
              const char* function) {
    detail::requireDistinct(in, out);
    const Growth growth = growthBy(distances, erode, function);
    if (firstPlane <= lastPlane && (firstPlane < 0 || lastPlane >= in.zsize())) {
        Crash(L"z argument out of range");
    }
    detail::grow(in, growth, 2, firstPlane, lastPlane, out, progress, function);
}

/// A dilation and an erosion by half the distance, the erosion first or second.
void twoStages(SegmentVolume& seg, double distance, bool erodeFirst,
               FProgressReportingBody& progress, const char* function) {
    const double h = distance / 2;
    const Sides sides[3] = {{h, h}, {h, h}, {h, h}};
    SegmentVolume between(0, 0, 0, 1.0, 1.0, 1.0);
    inSpace(seg, sides, erodeFirst, between, progress.SubRange(0.0, 0.5), function);
    inSpace(between, sides, !erodeFirst, seg, progress.SubRange(0.5, 1.0), function);
}

void twoStagesPerPlane(SegmentVolume& seg, double distance, bool erodeFirst, int firstPlane,
                       int lastPlane, FProgressReportingBody& progress, const char* function) {
    const double h = distance / 2;
    const Sides sides[3] = {{h, h}, {h, h}, {}};
    SegmentVolume between(0, 0, 0, 1.0, 1.0, 1.0);
    perPlane(seg, sides, erodeFirst, firstPlane, lastPlane, between, progress.SubRange(0.0, 0.5),
             function);
    perPlane(between, sides, !erodeFirst, firstPlane, lastPlane, seg, progress.SubRange(0.5, 1.0),
             function);
}

}  // namespace

void Dilation(const SegmentVolume& in, double xLow, double yLow, double zLow, double xHigh,
              double yHigh, double zHigh, SegmentVolume& out, FProgressReportingBody& progress) {
    inSpace(in, {{xLow, xHigh}, {yLow, yHigh}, {zLow, zHigh}}, false, out, progress, "Dilation");
}

void Erosion(const SegmentVolume& in, double xLow, double yLow, double zLow, double xHigh,
             double yHigh, double zHigh, SegmentVolume& out, FProgressReportingBody& progress) {
    inSpace(in, {{xLow, xHigh}, {yLow, yHigh}, {zLow, zHigh}}, true, out, progress, "Erosion");
}

void Dilation2d(const SegmentVolume& in, double xLow, double yLow, double xHigh, double yHigh,
                int firstPlane, int lastPlane, SegmentVolume& out,
                FProgressReportingBody& progress) {
    perPlane(in, {{xLow, xHigh}, {yLow, yHigh}, {}}, false, firstPlane, lastPlane, out, progress,
             "Dilation2d");
}

void Erosion2d(const SegmentVolume& in, double xLow, double yLow, double xHigh, double yHigh,
               int firstPlane, int lastPlane, SegmentVolume& out,
               FProgressReportingBody& progress) {
    perPlane(in, {{xLow, xHigh}, {yLow, yHigh}, {}}, true, firstPlane, lastPlane, out, progress,
             "Erosion2d");
}

void Connect3d(SegmentVolume& seg, double distance, FProgressReportingBody& progress) {
    twoStages(seg, distance, false, progress, "Connect3d");
}

void Disconnect3d(SegmentVolume& seg, double distance, FProgressReportingBody& progress) {
    twoStages(seg, distance, true, progress, "Disconnect3d");
}

void Connect2d(SegmentVolume& seg, double distance, int firstPlane, int lastPlane,
               FProgressReportingBody& progress) {
    twoStagesPerPlane(seg, distance, false, firstPlane, lastPlane, progress, "Connect2d");
}

void Disconnect2d(SegmentVolume& seg, double distance, int firstPlane, int lastPlane,
                  FProgressReportingBody& progress) {
    twoStagesPerPlane(seg, distance, true, firstPlane, lastPlane, progress, "Disconnect2d");
}

}  // namespace NSegmentAlgorithms
