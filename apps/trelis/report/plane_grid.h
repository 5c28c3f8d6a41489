#pragma once

#include <vector>

#include <apps/trelis/report/report_data.h>

namespace app::report {

/// The pixels of a picture in space: pixel (0, 0) has its centre at `origin`, columns follow each
/// other along `right` and rows along `down`, which are unit axes of the patient coordinates or
/// their opposites.
struct PlaneGrid {
    Vector origin;
    Vector right;
    Vector down;
    /// Millimetres.
    double pixel;
    int width;
    int height;

    /// The place of a point in pixel coordinates, with pixel centres at integers.
    Vector at(double x, double y) const { return origin + pixel * (x * right + y * down); }

    /// Pixel coordinates of the point's projection on the plane.
    EdgePoint pixelOf(const Vector& point) const {
        const Vector offset = point - origin;
        return {offset.Dot(right) / pixel, offset.Dot(down) / pixel};
    }

    /// The same plane with so many pixels more on all sides (fewer: below 0).
    PlaneGrid grown(int border) const;
};

/// A box along the axes of the patient coordinates.
struct PatientBox {
    Vector low;
    Vector high;

    Vector centre() const { return 0.5 * (low + high); }
};

/// The box of what lies between two corners in R-voxel coordinates.
PatientBox boxOf(const FVoxelSpaceGeometry& place, const Vector& low, const Vector& high);

/// Axial, coronal and sagittal planes through the target's centre, all with pixels of one size, at
/// most 512 of them along an axis. They reach over the body, else the image, else the structures,
/// else the dose; none where there is nothing of these.
std::vector<PlaneGrid> chooseViews(const ReportData& data);

}  // namespace app::report
