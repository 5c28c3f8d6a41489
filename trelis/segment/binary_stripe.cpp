#include <algorithm>
#include <cmath>

#include <trelis/segment/fixed_point_iterators.h>
#include <trelis/segment/segment_volume.h>

namespace NSegment {

namespace {

constexpr int kBitsPerWord = 32;

/// A stripe this near to a voxel centre in z, in voxels, and with a z step below the other limit
/// runs in a plane.
constexpr double kPlaneTolerance = 0.005;
constexpr double kNoStep = 1e-8;

/// Stripes along x with shorter steps are sampled by the iterator for any direction.
constexpr double kShortestStepAlongX = 0.4;

/// Where values vary, a constant run is looked for only every so many samples.
constexpr int kSamplesBetweenRuns = 8;

/// Sets `count` bits from bit `first` on; bit 0 is the most significant of the first word.
void setBits(unsigned int* bits, int first, int count) {
    while (count > 0) {
        const int bit = first % kBitsPerWord;
        const int inWord = std::min(count, kBitsPerWord - bit);
        const unsigned ones = ~0U >> (kBitsPerWord - inWord);
        bits[first / kBitsPerWord] |= ones << (kBitsPerWord - inWord - bit);
        first += inWord;
        count -= inWord;
    }
}

template <typename Iterator>
void sample(Iterator iterator, int count, unsigned int* bits) {
    for (int i = 0; i < count;) {
        const int run = std::min(iterator.stepsOfConstantValue(), count - i);
        if (run > 1) {
            if (*iterator >= SegmentVolume::crossingValue()) {
                setBits(bits, i, run);
            }
            iterator += run;
            i += run;
            continue;
        }
        const int end = std::min(i + kSamplesBetweenRuns, count);
        for (; i < end; ++i, ++iterator) {
            const unsigned inside = *iterator >= SegmentVolume::crossingValue() ? 1 : 0;
            bits[i / kBitsPerWord] |= inside << (kBitsPerWord - 1 - i % kBitsPerWord);
        }
    }
}

}  // namespace

void SegmentVolume::segmentToBinaryStripe(double x0, double y0, double z0, double dx, double dy,
                                          double dz, int count, unsigned int* bits) const {
    std::fill_n(bits, (count - 1) / kBitsPerWord + 1, 0U);
    const bool inPlane =
        std::abs(z0 - (std::floor(z0) + 0.5)) < kPlaneTolerance && std::abs(dz) < kNoStep;
    if (!inPlane) {
        sample(SpanFixedPoint16TriLinearIterator(*this, x0, y0, z0, dx, dy, dz), count, bits);
    } else if (z0 < 0.0) {
        // The integer part of z0 would be plane 0.
        return;
    } else if (std::abs(dy) < kNoStep && std::abs(dx) >= kShortestStepAlongX) {
        sample(SpanFixedPoint16BiLinearIteratorAlongXAxis(*this, x0, y0, z0, dx), count, bits);
    } else {
        sample(SpanFixedPoint16BiLinearIterator(*this, x0, y0, z0, dx, dy), count, bits);
    }
}

}  // namespace NSegment
