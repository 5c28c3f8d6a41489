#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace app {

/// The size of the images of a phantom study, 4 to 9,999 each; solids and doses are the same for
/// every size. Contours lie in the images' planes: where `planes` is a multiple of 10 the planes
/// stand for the whole lengths of all solids.
struct PhantomOptions {
    int columns = 128;
    int rows = 128;
    int planes = 60;
};

/// Writes a synthetic study: CT, RTSTRUCT, two RTDOSE on different grids, RTPLAN. The same bytes
/// for the same options. The folder is made; std::runtime_error where it is not empty or cannot be
/// written, `QAbortPressed` after Ctrl-C, and nothing half-written is left. std::invalid_argument
/// for options out of range.
void writePhantom(const std::filesystem::path& folder, const PhantomOptions& options);

/// A solid of the phantom as its structure should come out.
struct PhantomSolid {
    std::string name;
    /// cm3.
    double volume;
    /// The fraction of the volume that receives at least a dose, in Gy, of the sum of both doses
    /// with weight 1.
    std::function<double(double)> volumeAtDose;
};

/// Closed formulas for every structure of the phantom. Slabs of the sphere, "PTV", with a spacing
/// that divides its diameter come out (spacing / radius)^2 / 8 of its volume larger.
std::vector<PhantomSolid> phantomSolids();

}  // namespace app
