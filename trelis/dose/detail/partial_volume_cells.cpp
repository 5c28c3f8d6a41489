#include <trelis/dose/detail/partial_volume_cells.h>

#include <algorithm>

namespace trelis::detail {

namespace {

using NSegment::SegmentVolume;

bool isAnyInside(const unsigned char* middleOfThree) {
    return std::any_of(middleOfThree - 1, middleOfThree + 2,
                       [](unsigned char value) { return value >= SegmentVolume::crossingValue(); });
}

}  // namespace

PartialVolumeCells::PartialVolumeCells(const SegmentVolume& structure, int stepsX, int stepsY)
    : structure_(structure), stepsX_(stepsX), stepsY_(stepsY) {
    int xmax, ymax, zmax;
    structure.GetBoundingBoxForIteration(box_.xFirst, box_.yFirst, box_.zFirst, xmax, ymax, zmax);
    // Next to inside voxels there are others that count.
    box_.xFirst = std::max(box_.xFirst - 1, 0);
    box_.yFirst = std::max(box_.yFirst - 1, 0);
    box_.xEnd = std::min(xmax + 2, structure.xsize());
    box_.yEnd = std::min(ymax + 2, structure.ysize());
    box_.zEnd = std::min(zmax + 1, structure.zsize());
    rowLength_ = static_cast<std::size_t>(box_.xEnd - box_.xFirst) + 2;
    values_.resize(rowLength_ * (static_cast<std::size_t>(box_.yEnd - box_.yFirst) + 2));
    cells_.resize(static_cast<std::size_t>(stepsX) * static_cast<std::size_t>(stepsY));
    depths_.resize(cells_.size());
}

void PartialVolumeCells::load(int z) {
    // Of the frame, what is beyond the grid stays 0.
    const int xFirst = std::max(box_.xFirst - 1, 0);
    const int xEnd = std::min(box_.xEnd + 1, structure_.xsize());
    const int yEnd = std::min(box_.yEnd + 1, structure_.ysize());
    for (int y = std::max(box_.yFirst - 1, 0); y < yEnd; ++y) {
        auto position = structure_.GetConstSpanX(y, z).begin() + xFirst;
        for (int x = xFirst; x < xEnd;) {
            const auto values = position.valuesToCellEnd();
            const int count = std::min(static_cast<int>(values.size()), xEnd - x);
            std::copy_n(values.data(), count, values_.data() + index(x, y));
            position += count;
            x += count;
        }
    }
}

double PartialVolumeCells::fractionAt(const unsigned char* voxel) const {
    const bool counts = *voxel != 0 && (isAnyInside(voxel) || isAnyInside(voxel - rowLength_) ||
                                        isAnyInside(voxel + rowLength_));
    return counts ? *voxel / static_cast<double>(SegmentVolume::maxValue()) : 0.0;
}

std::span<const double> PartialVolumeCells::cells(int x, int y) {
    const unsigned char* voxel = values_.data() + index(x, y);
    const double fraction = fractionAt(voxel);
    if (fraction == 0.0 || fraction == 1.0 || cells_.size() == 1) {
        std::fill(cells_.begin(), cells_.end(), fraction);
    } else {
        sortByDepth(voxel);
        fillDeepestFirst(fraction);
    }
    return cells_;
}

void PartialVolumeCells::sortByDepth(const unsigned char* voxel) {
    const unsigned char* below = voxel - rowLength_;
    const unsigned char* above = voxel + rowLength_;
    const auto sum = [](int first, int middle, int last) { return first + 2 * middle + last; };
    const int gradientX = sum(below[1], voxel[1], above[1]) - sum(below[-1], voxel[-1], above[-1]);
    const int gradientY = sum(above[-1], above[0], above[1]) - sum(below[-1], below[0], below[1]);
    // In whole numbers, so that cells of one depth are found equal. Gradients are per voxel and
    // places in half steps from the centre, so steps along the other axis make the units equal; the
    // voxel's edges cancel.
    const auto place = [](int step, int steps) { return 2 * step + 1 - steps; };
    std::size_t cell = 0;
    for (int y = 0; y < stepsY_; ++y) {
        for (int x = 0; x < stepsX_; ++x, ++cell) {
            depths_[cell] = {
                gradientX * place(x, stepsX_) * stepsY_ + gradientY * place(y, stepsY_) * stepsX_,
                cell};
        }
    }
    std::sort(depths_.begin(), depths_.end(),
              [](const Depth& a, const Depth& b) { return a.depth > b.depth; });
}

void PartialVolumeCells::fillDeepestFirst(double fraction) {
    double left = fraction * static_cast<double>(cells_.size());
    for (auto first = depths_.begin(); first != depths_.end();) {
        // Cells of one depth share.
        const auto end = std::find_if(
            first, depths_.end(), [&](const Depth& other) { return other.depth < first->depth; });
        const auto count = static_cast<double>(end - first);
        const double share = std::min(1.0, left / count);
        std::for_each(first, end, [&](const Depth& depth) { cells_[depth.cell] = share; });
        left = std::max(0.0, left - share * count);
        first = end;
    }
}

double partialVolume(const SegmentVolume& structure) {
    PartialVolumeCells voxels(structure, 1, 1);
    const PartialVolumeCells::Box& box = voxels.box();
    double sum = 0.0;
    for (int z = box.zFirst; z < box.zEnd; ++z) {
        voxels.load(z);
        for (int y = box.yFirst; y < box.yEnd; ++y) {
            for (int x = box.xFirst; x < box.xEnd; ++x) {
                sum += voxels.fraction(x, y);
            }
        }
    }
    return sum * structure.xres() * structure.yres() * structure.zres();
}

}  // namespace trelis::detail
