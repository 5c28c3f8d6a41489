#include <algorithm>
#include <cstddef>
#include <vector>

#include <benchmark/benchmark.h>

#include <bench/support/ratio.h>
#include <bench/volume_image/stack.h>
#include <trelis/foundation/undefined.h>
#include <trelis/volume_image/image_creator.h>
#include <trelis/volume_image/volume_creator.h>

namespace {

namespace image = trelis::VolumeImage;

constexpr int kSize = 512;
constexpr int kPlaneCount = 200;
constexpr double kSpacingMM = 0.976;
constexpr double kSeparationMM = 2.5;

unsigned short greyAt(std::size_t i, std::size_t plane) {
    return static_cast<unsigned short>((i * 7 + plane * 40) % 4096);
}

class Volume final : public image::IVolumeImage {
  public:
    explicit Volume(const image::VolumeImageSpec& spec) : spec_(spec) {}
    const MMatrix& GetGeometry() const override { return spec_.geometry; }
    void GetSlices(std::vector<const image::ISlice*>& slices) const override {
        slices.insert(slices.end(), spec_.slices.begin(), spec_.slices.end());
    }

  private:
    const image::VolumeImageSpec& spec_;
};

/// A volume to be made of a stack of which every `step`-th plane has a slice.
struct Scene {
    explicit Scene(std::size_t step) : stack(kSize, kSpacingMM, positions(step)) {
        image::ImageCreator creator(false);
        std::size_t plane = 0;
        for (bench::Slice& slice : stack.slices()) {
            unsigned short* pixels = slice.image.begin();
            for (std::size_t i = 0; i < slice.image.size(); ++i) {
                pixels[i] = greyAt(i, plane);
            }
            plane += step;
            creator.AddSlice(&slice);
        }
        creator.AutoConfigure();
        creator.SetdZ(kSeparationMM);
        creator.CreateNewVolumeImage(spec);
        volume.CopyGeometry(spec.size);
        copy.CopyGeometry(spec.size);
        std::fill(volume.begin(), volume.end(), 0);
        std::fill(copy.begin(), copy.end(), 0);
    }

    /// An odd number of planes, so that the last has a slice.
    static std::vector<double> positions(std::size_t step) {
        std::vector<double> result;
        for (std::size_t i = 0; i < kPlaneCount + step - 1; i += step) {
            result.push_back(static_cast<double>(i) * kSeparationMM);
        }
        return result;
    }

    void construct() {
        QProgressReporterNull nobody;
        double slope = trelis::Undefined<double>::value;
        int offset = trelis::UnknownInteger;
        double rescaleSlope = 0.0;
        double rescaleIntercept = 0.0;
        image::VolumeCreator(Volume(spec))
            .Construct(nobody, volume, slope, offset, rescaleSlope, rescaleIntercept);
    }

    bench::Stack stack;
    image::VolumeImageSpec spec;
    QVolume<unsigned short> volume;
    QVolume<unsigned short> copy;
};

void construct(benchmark::State& state, std::size_t step, double goal) {
    Scene scene(step);
    scene.construct();
    const QVolume<unsigned short>& volume = scene.volume;
    for (int z = 0; z < volume.GetZSize(); ++z) {
        const auto plane = static_cast<std::size_t>(z);
        const unsigned short* pixels = volume.GetConstSpanXY(z).begin();
        for (std::size_t i = 0; i < std::size_t{kSize} * kSize; ++i) {
            const auto below = greyAt(i, plane - plane % step);
            const auto above = greyAt(i, plane + (step - plane % step) % step);
            if (pixels[i] != (below + above + 1) / 2) {
                state.SkipWithError("the volume differs from its slices");
                return;
            }
        }
    }
    bench::compare(
        state, [&] { scene.construct(); },
        [&] { std::copy(volume.begin(), volume.end(), scene.copy.begin()); }, goal);
}

void copies(benchmark::State& state) { construct(state, 1, 2.0); }
BENCHMARK(copies)->Name("Construct of copied planes / a copy of the pixels")->UseManualTime();

void interpolated(benchmark::State& state) { construct(state, 2, 6.0); }
BENCHMARK(interpolated)
    ->Name("Construct, every second plane interpolated / a copy of the pixels")
    ->UseManualTime();

}  // namespace
