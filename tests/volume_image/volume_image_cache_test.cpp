#include <trelis/volume_image/volume_image_cache.h>

#include <tuple>

#include <gtest/gtest.h>

#include <tests/volume_image/cache_fixture.h>
#include <trelis/foundation/diagnostics.h>

namespace {

using namespace std::string_literals;

/// The file of image "1.2" of series "S" with the pixels "cdcdgfcdcdcd".
const std::string sampleFile =
    "TRL6\1\0\0\0\2\0\0\0\3\0\0\0\0\0\0\0\0\0\xE0?\0\0\0\0\0\0\xD0?\0\0\0\0\0\0\x08@"
    "\0\0\0\0\0\0\4@\0\0\0\0\0\0\x90\xC0\0\0\0\0\0\0\xF8?\x63\x64\0\0"s +
    "1.2" + std::string(61, '\0') + "S" + std::string(63, '\0') +
    "\x63\x1F\x2B\xFE\x8C\xD5\x75\x0B\x6D\xA2\xB6\x10\x3F\xCD\xD6\xE7" + "cdcdgfcdcdcd";

/// Used before any test has begun.
Image idle(1);
const bool idleAtFirst = !idle.create(L"1") && !Cache::Remove(L"1") && !idle.restore(L"_") &&
                         Cache::GetTotalSize() == 0 && Cache::Initialize(L"") == 3;

TEST_F(VolumeImageCacheTest, IsIdleAtFirstReadsItsConfigurationAndFailsToInitialiseWithoutChange) {
    EXPECT_TRUE(idleAtFirst && idle.error == L"Volume cache not initialized");
    Cache::SetConfiguration({1, 0x02030405, 3, 0xFFFFFFFF});
    const std::string content = read("VolumeCacheParameters.bin");
    EXPECT_EQ(content, "\1\0\0\0\5\4\3\2\3\0\0\0\xFF\xFF\xFF\xFF"s);
    EXPECT_EQ(Cache::Initialize(wideBase_ + Cache::GetDirectory().back()), 0);
    write("VolumeCacheParameters.bin", content.substr(1));
    write("VolumeImageCache", "a file");
    EXPECT_EQ(Cache::Initialize(Cache::GetDirectory()), 183);
    EXPECT_EQ(Cache::GetConfiguration().cleanTargetMB, 0x02030405U);
    EXPECT_EQ(Cache::Initialize(wideBase_), 0);
    const auto [age, target, trigger, reserved] = Cache::GetConfiguration();
    EXPECT_TRUE(age == 72 && target == 5000 && trigger == 7500 && reserved == 300);
}

TEST_F(VolumeImageCacheTest, WritesTheFileByteForByteOnceAndSaysWhatIsWrongWithADamagedOne) {
    Image sample(0x6463);
    sample.volume.SetPixel(0, 0, 1, 0x6667);
    EXPECT_TRUE(sample.create(L"1.2") && !Image(8).create(L"1.2") && fileCount() == 1);
    EXPECT_EQ(read("1.2.cache"), sampleFile);
    const std::tuple<std::size_t, std::size_t, std::string, std::wstring> cases[] = {
        {0, 0, "", L""},
        {0, 224, "", L"Cannot read header"},
        {211, 13, "", L"Cannot read header"},
        {0, 4, "trL\xE9", L"Bad type tag 'trL\u00e9' (expected 'TRL6')"},
        {7, 1, "\xFF", L"Size (4278190081,2,3) is in mismatch with expectations (1,2,3)"},
        {15, 1, "\xFF", L"Size (1,2,-16777213) is in mismatch with expectations (1,2,3)"},
        {68, 1, "\xE9", L"Image ID \u00e9.2 is in mismatch with expected value 1.2"},
        {132, 2, "xy", L"Series ID xy is in mismatch with expected value S"},
        {223, 1, "", L"Size 223 differs from image size 224 (1*2*3)"},
        {68, 65, "x"s.append(63, '\0').append("y"),
         L"Image ID x is in mismatch with expected value 1.2"},
        {132, 92, "y"s.append(90, '\0'), L"Series ID y is in mismatch with expected value S"},
        {223, 1, "xx", L"Size 225 differs from image size 224 (1*2*3)"},
        {223, 1, "z",
         L"MD5 checksum failure. Expected 631F2BFE8CD5750B6DA2B6103FCDD6E7, got "
         L"72C0FD1C9A2FB43D8A565CF35AEF8AE6"}};
    for (const auto& [from, count, bytes, fault] : cases) {
        write("1.2.cache", std::string(sampleFile).replace(from, count, bytes));
        Image image(5);
        image.error = L"an earlier fault";
        image.s = image.m = image.b = image.volume.MinMax().minimum;
        EXPECT_EQ(image.restore(L"1.2"), fault.empty());
        EXPECT_EQ(image.error,
                  fault.empty() ? L"" : L"File " + Cache::GetDirectory() + L"1.2.cache: " + fault);
        const bool atPixels = fault.empty() || fault.starts_with(L"MD5");
        EXPECT_EQ(image.s + image.m * image.b, atPixels ? 1.5 - 2.5 * 1024 : 30) << from;
        EXPECT_EQ(image.volume.MinMax().minimum, atPixels ? image.offset : 5) << from;
    }
    EXPECT_TRUE(Cache::Remove(L"1.2") && !Cache::Remove(L"1.2"));
}

TEST_F(VolumeImageCacheTest, RejectsInvalidIdentifiersAndVolumesBeforeAnyFileIsTouched) {
    write("old.cache", "", 99 * 60);
    Image image(5, 0);
    for (const std::wstring& id : {L""s, L"a/b"s, L"a_b"s, L"\u00e9"s, std::wstring(65, L'x')}) {
        image.series = id;
        EXPECT_FALSE(image.create(L"1") || image.restore(L"1") || Cache::Remove(id));
        EXPECT_EQ(image.error, L"Invalid series ID " + id);
        image.series = L"{-.09azAZ}" + std::wstring(54, L'x');
        EXPECT_FALSE(image.create(id) || image.restore(id));
        EXPECT_EQ(image.error, L"Invalid image ID " + id);
    }
    Image bare(5);
    for (const int size : {-1, 2, 0x7F7F7F7F}) {
        bare.volume.SetSizeNoAllocation(size, size, size);
        EXPECT_FALSE(bare.create(L"1"));
    }
    EXPECT_TRUE(fileCount() == 1 && std::filesystem::exists("old.cache"));
    EXPECT_TRUE(image.create(image.series) && image.restore(image.series));
    // The number of bytes is beyond 64 bits.
    write("1.2.cache", std::string(sampleFile).replace(4, 12, 12, '\x7F'));
    EXPECT_FALSE(bare.restore(L"1.2"));
    EXPECT_TRUE(bare.error.ends_with(L"9223372036854775807 (2139062143*2139062143*2139062143)"));
}

std::wstring traces;

TEST_F(VolumeImageCacheTest, DeletesTheTooOldAndOfTheOthersTheOldestWhenTheyTakeTooMuch) {
    Cache::SetConfiguration({72, 3000, 6000, 0});
    write("1.foreign", "", 0, 3000ULL << 20);
    write("2.cache", "", 72 * 60 - 1, 5000ULL << 20);
    write("3.Tmp.cache", "", 72 * 60 - 2, 9000ULL << 20);
    write("4.tmp", "", 72 * 60 + 1);
    std::filesystem::rename("VolumeCacheParameters.bin", "volumeCACHEparameters.bin");
    write("volumeCACHEparameters.bin", "", 99 * 60);
    std::filesystem::create_directory("directory");
    std::error_code windowsMayRefuse;
    std::filesystem::last_write_time("directory", {}, windowsMayRefuse);
    // Each size counts modulo 2^32.
    EXPECT_EQ(Cache::GetTotalSize(), (904U + 808U) << 20);
    SetDebugOutput([](const wchar_t* message) { traces += message; });
    EXPECT_TRUE(Image(5).create(L"new"));
    SetDebugOutput(nullptr);
    const std::wstring removed = L"CleanCacheFileDirectory: Removed '" + Cache::GetDirectory();
    const std::wstring start = L"trelis::VolumeImageCache::";
    EXPECT_EQ(traces.substr(0, traces.rfind(L'~')),
              start + removed + L"4.tmp' (too old)\n" + start + removed + L"2.cache'\n" + start +
                  L"CreateUniqueVolumeCacheTempFile: Created unique temp cache file '" +
                  Cache::GetDirectory());
    EXPECT_TRUE(traces.ends_with(L".TMP'\n"));
    EXPECT_EQ(fileCount(), 5);
}

TEST_F(VolumeImageCacheTest, PassesOverWhatItCannotDeleteAndFailsWithoutATemporaryFile) {
    Cache::SetConfiguration({72, 0, 0, 0});
    for (const char* name : {"1.cache", "2.cache", "3.cache"}) {
        write(name, "12345", '9' - *name);
    }
    traces.clear();
    SetDebugOutput([](const wchar_t* message) {
        traces += message;
        std::filesystem::remove("2.cache");
    });
    EXPECT_TRUE(Image(5).create(L"new"));
    EXPECT_FALSE(std::filesystem::exists("3.cache"));
    std::filesystem::current_path(base_);
    std::filesystem::remove_all("VolumeImageCache");
    EXPECT_FALSE(Image(5).create(L"new"));
    SetDebugOutput(nullptr);
    const std::wstring start = L"trelis::VolumeImageCache::";
    for (const std::wstring& message :
         {start + L"CleanCacheFileDirectory: Remove failed (file currently locked?) '" +
              Cache::GetDirectory() + L"2.cache'\n",
          start + L"CreateUniqueVolumeCacheTempFile: Failed to create unique temp cache file!\n"}) {
        EXPECT_NE(traces.find(message), std::wstring::npos) << traces.size();
    }
}

TEST_F(VolumeImageCacheTest, CountsHoursAndMegabytesBeyond32Bits) {
    for (const Cache::Configuration& configuration :
         {Cache::Configuration{1193047, 5000, 7500, 0}, {72, 0, 4097, 0}, {72, 4097, 1, 0}}) {
        Cache::SetConfiguration(configuration);
        write("old.cache", "", 60, 2U << 20);
        EXPECT_TRUE(Image(5).create(L"new") && Cache::Remove(L"new"));
        EXPECT_TRUE(std::filesystem::exists("old.cache")) << configuration.maxAgeHours;
    }
}

}  // namespace
