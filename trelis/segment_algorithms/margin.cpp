#include <trelis/segment_algorithms/margin.h>

#include <trelis/segment_algorithms/detail/grow.h>

namespace NSegmentAlgorithms {

void Margin(const NSegment::SegmentVolume& in, double m1, double m2, double m3, double m4,
            double m5, double m6, NSegment::SegmentVolume& out, FProgressReportingBody& progress) {
    constexpr const char* kName = "Margin";
    detail::requireDistinct(in, out);
    const detail::Growth growth = detail::growthOf({{m1, m4}, {m2, m5}, {m3, m6}}, kName);
    detail::grow(in, growth, 3, 0, in.zsize() - 1, out, progress, kName);
}

}  // namespace NSegmentAlgorithms
