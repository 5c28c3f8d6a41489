#include <trelis/segment_algorithms/ihe_ro_compliance.h>

#include <algorithm>
#include <cstddef>

#include <trelis/segment_algorithms/clean_up.h>
#include <trelis/segment_algorithms/connected_components.h>

namespace NSegmentAlgorithms {

namespace {

constexpr int kMostPieces = 100;

}  // namespace

bool isSegmentIHEROCompliant(const NSegment::SegmentVolume& seg, std::vector<int>& planes) {
    std::vector<int> labels(static_cast<std::size_t>(std::max(0, seg.xsize())) *
                            static_cast<std::size_t>(std::max(0, seg.ysize())));
    for (int z = 0; z < seg.zsize(); ++z) {
        int labelCount = 0;
        Labeling2d(seg, z, labelCount, labels.data());
        const int pieces = labelCount - 1;
        if (pieces > kMostPieces) {
            planes.push_back(z);
        }
    }
    return planes.empty();
}

void makeSegmentIHEROCompliant(NSegment::SegmentVolume& seg, const std::vector<int>& planes) {
    for (const int z : planes) {
        KeepNLargestSegmentsInSlice(z, kMostPieces, seg);
    }
}

}  // namespace NSegmentAlgorithms
