#include <algorithm>
#include <cmath>
#include <fstream>
#include <numbers>
#include <stdexcept>

#include <fmt/format.h>

#include <apps/trelis/phantom/dicom_writer.h>
#include <apps/trelis/phantom/phantom.h>
#include <apps/trelis/phantom/phantom_beams.h>
#include <apps/trelis/phantom/phantom_design.h>
#include <apps/trelis/phantom/unfinished_folder.h>
#include <apps/trelis/terminal/phases.h>

namespace app {
namespace {

constexpr int kFewestPixels = 4;
constexpr int kMostPixels = 9999;

/// What UIDs are numbered by; images follow `Image`.
enum class Number {
    Study,
    Frame,
    ImageSeries,
    StructureSeries,
    DoseSeries,
    PlanSeries,
    StructureSet,
    FirstDose,
    SecondDose,
    Plan,
    Image = 1000
};

/// One study of the phantom. Its UIDs depend on the options, so that studies of different sizes
/// are no versions of the same objects.
class PhantomStudy {
  public:
    explicit PhantomStudy(const PhantomOptions& options)
        : options_(options),
          pixelWidth_(kFieldWidth / options.columns),
          pixelHeight_(kFieldWidth / options.rows),
          planeSpacing_(kFieldLength / options.planes) {}

    void writeImages(const std::filesystem::path& folder) const;
    void writeStructures(const std::filesystem::path& file) const;
    void writeDoses(const std::filesystem::path& first, const std::filesystem::path& second) const;
    void writeBeams(const std::filesystem::path& file) const;

  private:
    std::string uid(Number number, int index = 0) const;
    ObjectHeader header(Number series, Number instance, int index = 0) const;
    /// The middles of pixels and planes.
    double xOf(int column) const { return (column + 0.5) * pixelWidth_ - 0.5 * kFieldWidth; }
    double yOf(int row) const { return (row + 0.5) * pixelHeight_ - 0.5 * kFieldWidth; }
    double zOf(int plane) const { return (plane + 0.5) * planeSpacing_ - 0.5 * kFieldLength; }

    void paint(const Section& section, int value, std::vector<std::int16_t>& pixels) const;
    bool isMissing(const Solid& solid, int plane) const;
    Structure structureOf(const Solid& solid) const;

    PhantomOptions options_;
    double pixelWidth_;
    double pixelHeight_;
    double planeSpacing_;
};

std::string PhantomStudy::uid(Number number, int index) const {
    return fmt::format("2.25.1186420357701634290{:05}{:05}{:05}{:05}", options_.columns,
                       options_.rows, options_.planes, static_cast<int>(number) + index);
}

ObjectHeader PhantomStudy::header(Number series, Number instance, int index) const {
    ObjectHeader result;
    result.instanceUid = uid(instance, index);
    result.seriesUid = uid(series);
    result.studyUid = uid(Number::Study);
    result.frameUid = uid(Number::Frame);
    result.patientName = "Phantom^Synthetic";
    result.patientId = "PHANTOM";
    result.studyDescription = "Synthetic phantom with closed formulas";
    result.seriesDescription = "Phantom";
    result.seriesNumber = static_cast<int>(series);
    result.instanceNumber = index + 1;
    return result;
}

void PhantomStudy::paint(const Section& section, int value,
                         std::vector<std::int16_t>& pixels) const {
    for (int row = 0; row < options_.rows; ++row) {
        const double halfChord = section.halfChord(yOf(row));
        // Pixels whose middles are on the line.
        const double fromLeft = section.x + 0.5 * kFieldWidth;
        const int first = static_cast<int>(std::ceil((fromLeft - halfChord) / pixelWidth_ - 0.5));
        const int last = static_cast<int>(std::floor((fromLeft + halfChord) / pixelWidth_ - 0.5));
        if (halfChord >= 0.0 && first <= last) {
            const auto begin = pixels.begin() + static_cast<std::ptrdiff_t>(row) * options_.columns;
            std::fill(begin + first, begin + last + 1, static_cast<std::int16_t>(value));
        }
    }
}

void PhantomStudy::writeImages(const std::filesystem::path& folder) const {
    constexpr int kAir = -1000;
    constexpr int kIntercept = -1024;
    ImageObject image;
    image.columns = options_.columns;
    image.rows = options_.rows;
    image.columnSpacing = pixelWidth_;
    image.rowSpacing = pixelHeight_;
    image.thickness = planeSpacing_;
    image.rescaleIntercept = kIntercept;
    image.signedPixels = false;
    image.bitsStored = 12;
    image.pixels.resize(static_cast<std::size_t>(options_.columns) *
                        static_cast<std::size_t>(options_.rows));
    for (int plane = 0; plane < options_.planes; ++plane) {
        stopIfInterrupted();
        image.header = header(Number::ImageSeries, Number::Image, plane);
        image.position = {xOf(0), yOf(0), zOf(plane)};
        std::fill(image.pixels.begin(), image.pixels.end(),
                  static_cast<std::int16_t>(kAir - kIntercept));
        for (const Solid& solid : solidsOfPhantom()) {
            for (const Body& body : solid.bodies) {
                if (const auto section = body.section(zOf(plane))) {
                    paint(*section, body.hounsfield - kIntercept, image.pixels);
                }
            }
        }
        writeImage(folder / fmt::format("ct-{:03}.dcm", plane + 1), image);
    }
}

/// A fine polygon on an ellipse that is as much larger that the areas are the same: a regular one
/// of n corners has the area n/2 sin(2 pi / n) r^2. Counter-clockwise with x right and y up, holes
/// clockwise. Coordinates in whole hundred-thousandths, the same on every platform.
std::vector<Vector> outlineOf(const Section& section, double z, bool isHole) {
    constexpr int kCorners = 240;
    constexpr double kStep = 2.0 * std::numbers::pi / kCorners;
    const auto rounded = [](double value) { return std::round(value * 1e5) / 1e5; };
    std::vector<Vector> points;
    const auto add = [&](double right, double up) {
        points.emplace_back(rounded(section.x + right * section.halfWidth),
                            rounded(section.y + up * section.halfHeight), z);
    };
    if (section.round) {
        const double larger = std::sqrt(kStep / std::sin(kStep));
        for (int corner = 0; corner < kCorners; ++corner) {
            add(larger * std::cos(corner * kStep), larger * std::sin(corner * kStep));
        }
    } else {
        add(-1.0, -1.0);
        add(1.0, -1.0);
        add(1.0, 1.0);
        add(-1.0, 1.0);
    }
    if (isHole) {
        std::reverse(points.begin(), points.end());
    }
    return points;
}

/// Whether the contours of a plane are those that a solid lacks: in its middle, between others.
bool PhantomStudy::isMissing(const Solid& solid, int plane) const {
    const Body& body = solid.bodies.front();
    const double middle = (body.centre.z + 0.5 * kFieldLength) / planeSpacing_;
    return solid.planeIsMissing && plane == static_cast<int>(middle) &&
           body.section(zOf(plane - 1)) && body.section(zOf(plane + 1));
}

Structure PhantomStudy::structureOf(const Solid& solid) const {
    Structure structure;
    structure.name = solid.name;
    structure.type = solid.type;
    structure.colour = solid.colour;
    for (int plane = 0; plane < options_.planes; ++plane) {
        for (const Body& body : solid.bodies) {
            const auto section = body.section(zOf(plane));
            if (section && !isMissing(solid, plane)) {
                structure.contours.push_back(outlineOf(*section, zOf(plane), body.isHole));
            }
        }
    }
    return structure;
}

void PhantomStudy::writeStructures(const std::filesystem::path& file) const {
    StructureSetObject set;
    set.header = header(Number::StructureSeries, Number::StructureSet);
    set.label = "PHANTOM";
    set.imageSeriesUid = uid(Number::ImageSeries);
    for (int plane = 0; plane < options_.planes; ++plane) {
        set.images.push_back({uid(Number::Image, plane), zOf(plane)});
    }
    for (const Solid& solid : solidsOfPhantom()) {
        set.structures.push_back(structureOf(solid));
        set.structures.back().number = static_cast<int>(set.structures.size());
    }
    stopIfInterrupted();
    writeStructureSet(file, set);
}

/// A cubic grid around the origin of the field, from a corner to as far on the other side.
struct DosePlacement {
    Vector corner;
    double spacing;
    int columns;
    int rows;
    int planes;
};

/// Of both: two voxels or more beyond every solid on all sides.
constexpr DosePlacement kFirstGrid{{-170.0, -120.0, -80.0}, 2.5, 137, 97, 65};
constexpr DosePlacement kSecondGrid{{-174.0, -122.0, -82.0}, 4.0, 87, 63, 43};

void place(DoseObject& object, const DosePlacement& grid, const LinearDose& dose) {
    object.position = grid.corner;
    object.columnSpacing = object.rowSpacing = grid.spacing;
    object.columns = grid.columns;
    object.rows = grid.rows;
    for (int plane = 0; plane < grid.planes; ++plane) {
        object.planeOffsets.push_back(plane * grid.spacing);
        for (int row = 0; row < grid.rows; ++row) {
            const double gray = dose.at(grid.corner.y + row * grid.spacing);
            object.values.insert(object.values.end(), static_cast<std::size_t>(grid.columns),
                                 static_cast<std::uint32_t>(std::llround(gray / object.scale)));
        }
    }
}

void PhantomStudy::writeDoses(const std::filesystem::path& first,
                              const std::filesystem::path& second) const {
    DoseObject dose;
    dose.summationType = "BEAM";
    dose.planUid = uid(Number::Plan);

    DoseObject firstDose = dose;
    firstDose.header = header(Number::DoseSeries, Number::FirstDose);
    firstDose.header.seriesDescription = "Dose of beam 1";
    firstDose.bits = 16;
    firstDose.scale = 5e-4;
    firstDose.beamNumbers = {1};
    place(firstDose, kFirstGrid, kFirstDose);
    stopIfInterrupted();
    writeDose(first, firstDose);

    DoseObject secondDose = dose;
    secondDose.header = header(Number::DoseSeries, Number::SecondDose);
    secondDose.header.instanceNumber = 2;
    secondDose.header.seriesDescription = "Dose of beams 2 and 3";
    secondDose.bits = 32;
    secondDose.scale = 2e-6;
    secondDose.beamNumbers = {2, 3};
    place(secondDose, kSecondGrid, kSecondDose);
    stopIfInterrupted();
    writeDose(second, secondDose);
}

void PhantomStudy::writeBeams(const std::filesystem::path& file) const {
    PlanObject plan;
    plan.header = header(Number::PlanSeries, Number::Plan);
    plan.label = "PHANTOM";
    plan.structureSetUid = uid(Number::StructureSet);
    plan.beams = beamsOfPhantom();
    stopIfInterrupted();
    writePlan(file, plan);
}

void writeDescription(const std::filesystem::path& file) {
    std::ofstream out(file, std::ios::binary);
    out << "A synthetic radiotherapy study, of no person: simple solids in water and two doses "
           "that\n"
           "are linear along y, so that all volumes and dose-volume histograms have closed\n"
           "formulas.\n";
    out.close();
    if (!out) {
        throw std::runtime_error(fmt::format("{} cannot be written", file.string()));
    }
}

void requireSize(int pixels) {
    if (pixels < kFewestPixels || pixels > kMostPixels) {
        throw std::invalid_argument(fmt::format("a phantom has {} to {} columns, rows and planes",
                                                kFewestPixels, kMostPixels));
    }
}

}  // namespace

void writePhantom(const std::filesystem::path& folder, const PhantomOptions& options) {
    requireSize(options.columns);
    requireSize(options.rows);
    requireSize(options.planes);
    UnfinishedFolder target(folder);
    const std::filesystem::path& files = target.hidden();
    const PhantomStudy study(options);
    std::filesystem::create_directory(files / "CT");
    study.writeImages(files / "CT");
    study.writeStructures(files / "rtstruct.dcm");
    study.writeDoses(files / "rtdose-1.dcm", files / "rtdose-2.dcm");
    study.writeBeams(files / "rtplan.dcm");
    writeDescription(files / "about.txt");
    target.publish();
}

}  // namespace app
