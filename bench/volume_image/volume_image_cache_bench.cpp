#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

#include <benchmark/benchmark.h>

#include <bench/support/ratio.h>
#include <trelis/volume_image/md5.h>
#include <trelis/volume_image/volume_image_cache.h>

namespace {

using trelis::MD5Hash;
using trelis::MD5Hasher;
using trelis::VolumeImageCache;
using Volume = QVolume<unsigned short>;

constexpr double kGoal = 1.25;

/// 512 x 512 x 200 pixels, 100 MiB, without a pattern.
Volume makeVolume() {
    Volume volume(512, 512, 200, 0.98, 0.98, 2.5);
    std::uint32_t random = 1;
    for (unsigned short& pixel : volume) {
        random = random * 1664525 + 1013904223;
        pixel = static_cast<unsigned short>(random >> 16);
    }
    return volume;
}

std::size_t bytesOf(const Volume& volume) { return volume.size() * sizeof(unsigned short); }

MD5Hash hashOf(const Volume& volume) {
    MD5Hash hash;
    MD5Hasher::GetHash(volume.begin(), bytesOf(volume), hash);
    return hash;
}

/// A cache in a directory of its own, and a plain file beside it.
class Directory {
  public:
    Directory() {
        base_ += std::to_string(std::chrono::steady_clock::now().time_since_epoch().count());
        std::filesystem::create_directories(base_);
        VolumeImageCache::Initialize(base_.wstring());
        clear();
    }
    ~Directory() { std::filesystem::remove_all(base_); }

    void clear() const {
        VolumeImageCache::Remove(L"1");
        std::filesystem::remove(plainFile());
    }
    std::filesystem::path plainFile() const { return base_ / "plain"; }

  private:
    std::filesystem::path base_ = std::filesystem::temp_directory_path() / "trelis-bench-";
};

bool create(const Volume& volume) {
    return VolumeImageCache::Create(L"1", L"1", volume, 1, 0, 1, -1024);
}

bool restore(Volume& volume) {
    double pixelSlope, rescaleSlope, rescaleIntercept;
    int pixelOffset;
    std::wstring error;
    return VolumeImageCache::Restore(L"1", L"1", volume, pixelSlope, pixelOffset, rescaleSlope,
                                     rescaleIntercept, error);
}

void writePlainFile(const Directory& directory, const Volume& volume) {
    std::FILE* file = std::fopen(directory.plainFile().string().c_str(), "wb");
    std::fwrite(volume.begin(), 1, bytesOf(volume), file);
    std::fclose(file);
}

void readPlainFile(const Directory& directory, Volume& volume) {
    std::FILE* file = std::fopen(directory.plainFile().string().c_str(), "rb");
    const std::size_t count = std::fread(volume.begin(), 1, bytesOf(volume), file);
    benchmark::DoNotOptimize(count);
    std::fclose(file);
}

void createFile(benchmark::State& state) {
    const Directory directory;
    const Volume volume = makeVolume();
    Volume restored = volume;
    if (!create(volume) || !restore(restored) || hashOf(restored) != hashOf(volume)) {
        state.SkipWithError("the volume does not come back");
        return;
    }
    bench::compare(
        state, [&] { create(volume); },
        [&] {
            benchmark::DoNotOptimize(hashOf(volume));
            writePlainFile(directory, volume);
        },
        kGoal, [&] { directory.clear(); });
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytesOf(volume)));
}
BENCHMARK(createFile)
    ->Name("Create / MD5 and write of the same bytes")
    ->UseManualTime()
    ->Iterations(10)
    ->Unit(benchmark::kMillisecond);

void restoreFile(benchmark::State& state) {
    const Directory directory;
    Volume volume = makeVolume();
    const MD5Hash hash = hashOf(volume);
    writePlainFile(directory, volume);
    if (!create(volume) || !restore(volume) || hashOf(volume) != hash) {
        state.SkipWithError("the volume does not come back");
        return;
    }
    bench::compare(
        state, [&] { restore(volume); },
        [&] {
            readPlainFile(directory, volume);
            benchmark::DoNotOptimize(hashOf(volume));
        },
        kGoal);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytesOf(volume)));
}
BENCHMARK(restoreFile)
    ->Name("Restore / read and MD5 of the same bytes")
    ->UseManualTime()
    ->Iterations(10)
    ->Unit(benchmark::kMillisecond);

/// To compare with `openssl speed -evp md5`.
void md5(benchmark::State& state) {
    const std::string bytes(16384, 'x');
    MD5Hash hash;
    for (auto _ : state) {
        MD5Hasher::GetHash(bytes.data(), bytes.size(), hash);
        benchmark::DoNotOptimize(hash);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}
BENCHMARK(md5)->Name("MD5 of 16 KiB")->Unit(benchmark::kMicrosecond);

}  // namespace
