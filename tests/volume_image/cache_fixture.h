#pragma once

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include <trelis/volume_image/volume_image_cache.h>

using Cache = trelis::VolumeImageCache;
using Id = const std::wstring&;

/// What is stored and restored; at first every pixel has the value of the pixel offset.
struct Image {
    explicit Image(int value, int z = 3) : volume(1, 2, z, 0.5, 0.25, 3), offset(value) {
        std::fill(volume.begin(), volume.end(), static_cast<unsigned short>(value));
    }
    bool create(Id id) const { return Cache::Create(id, series, volume, s, offset, m, b); }
    bool restore(Id id) { return Cache::Restore(id, series, volume, s, offset, m, b, error); }

    std::wstring series = L"S", error;
    QVolume<unsigned short> volume;
    double s = 1.5, m = 2.5, b = -1024;  ///< pixel slope, rescale slope and intercept
    int offset;
};

/// Works in a new cache directory whose name is not ASCII.
class VolumeImageCacheTest : public testing::Test {
  protected:
    VolumeImageCacheTest() {
        base_ += std::to_string(std::chrono::steady_clock::now().time_since_epoch().count());
        wideBase_ = base_.wstring() + L"\u00e4\u4e2d\U0001F9E0";
        std::filesystem::create_directories(base_ += u8"\u00e4\u4e2d\U0001F9E0");
        EXPECT_EQ(Cache::Initialize(wideBase_), 0);
        std::filesystem::current_path(base_ / "VolumeImageCache");
    }
    ~VolumeImageCacheTest() override {
        std::filesystem::current_path(base_.parent_path());
        std::filesystem::remove_all(base_);
    }

    static std::string read(const char* name) {
        return {std::istreambuf_iterator(std::ifstream(name, std::ios::binary).rdbuf()), {}};
    }
    static void write(const char* name, const std::string& bytes, int minutesAgo = 0,
                      std::uintmax_t zeros = 0) {
        std::ofstream(name, std::ios::binary) << bytes;
        std::filesystem::resize_file(name, bytes.size() + zeros);
        const auto now = std::filesystem::file_time_type::clock::now();
        std::filesystem::last_write_time(name, now - std::chrono::minutes(minutesAgo));
    }
    static auto fileCount() { return std::distance(std::filesystem::directory_iterator("."), {}); }

    std::filesystem::path base_ = std::filesystem::temp_directory_path() / "trelis-";
    std::wstring wideBase_;
};
