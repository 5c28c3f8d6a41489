#include <gtest/gtest.h>

#include <tests/volume_image/cache_fixture.h>
#include <trelis/foundation/diagnostics.h>

#include <windows.h>

namespace {

TEST_F(VolumeImageCacheTest, WorksInADirectoryOf240CharactersAndRefusesALongerOneWithoutChange) {
    const std::wstring longestId(64, L'x');
    const std::wstring rest = L"\\VolumeImageCache\\";
    const std::size_t missing = 240 - rest.size() - wideBase_.size();
    const std::wstring half = L"\\" + std::wstring(missing / 2 - 1, L'\u4e2d');
    const std::wstring base =
        wideBase_ + half + L"\\" + std::wstring(missing - half.size() - 1, L'y');
    std::filesystem::create_directories(base);
    std::filesystem::create_directory(base + L"z");
    ASSERT_EQ(Cache::Initialize(base), 0);
    EXPECT_EQ(Cache::GetDirectory().size(), 240);
    Cache::SetConfiguration({1, 2, 3, 4});
    EXPECT_EQ(Cache::Initialize(base + L"z"), ERROR_FILENAME_EXCED_RANGE);
    EXPECT_FALSE(std::filesystem::exists(base + L"z\\VolumeImageCache"));
    EXPECT_EQ(Cache::GetDirectory(), base + rest);
    Image image(5);
    EXPECT_TRUE(image.create(longestId) && !image.create(longestId) && image.restore(longestId));
    EXPECT_EQ(Cache::GetTotalSize(), 224);
    Cache::SetConfiguration({72, 0, 0, 0});
    EXPECT_TRUE(image.create(L"2") && !image.restore(longestId) && image.restore(L"2"));
    EXPECT_TRUE(Cache::Initialize(base) == 0 && Cache::GetConfiguration().cleanTargetMB == 0);
    EXPECT_TRUE(Cache::Remove(L"2"));
}

TEST_F(VolumeImageCacheTest, RefusesPathsThatAreNoTextAndTakesNamesOfDevicesAndOtherSeparators) {
    for (const wchar_t bad : {L'\xD800', L'\xDFFF', L'\0'}) {
        EXPECT_EQ(Cache::Initialize(wideBase_ + bad), ERROR_INVALID_NAME);
    }
    EXPECT_EQ(Cache::Initialize(wideBase_ + L"\\missing"), ERROR_PATH_NOT_FOUND);
    Image image(5);
    // By their plain paths these are devices, not files.
    for (const std::wstring id : {L"NUL", L"con", L"COM1"}) {
        EXPECT_TRUE(image.create(id) && image.restore(id)) << image.error.size();
        EXPECT_TRUE(fileCount() == 1 && Cache::Remove(id) && fileCount() == 0);
    }
    std::filesystem::current_path(base_.parent_path());
    EXPECT_EQ(Cache::Initialize(base_.filename().wstring() + L"/."), 0);
    EXPECT_TRUE(image.create(L"1") && image.restore(L"1"));
    EXPECT_TRUE(std::filesystem::exists(base_ / "VolumeImageCache" / "1.cache"));
}

TEST_F(VolumeImageCacheTest, DisregardsTheCaseOfLettersInNames) {
    write("One.CACHE", "12345");
    EXPECT_EQ(Cache::GetTotalSize(), 5);
    EXPECT_TRUE(!Image(5).create(L"one") && Cache::Remove(L"one"));
}

std::wstring traces;

// A handle without sharing does the same to every process, this one included.
TEST_F(VolumeImageCacheTest, PassesOverAFileThatIsHeldOpen) {
    Cache::SetConfiguration({72, 0, 0, 0});
    write("old.cache", "12345", 73 * 60);
    write("young.cache", "12345");
    const auto hold = [](const wchar_t* name) {
        return CreateFileW(name, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    };
    const HANDLE held[] = {hold(L"old.cache"), hold(L"young.cache")};
    SetDebugOutput([](const wchar_t* message) { traces += message; });
    Image image(5);
    EXPECT_TRUE(image.create(L"new"));
    SetDebugOutput(nullptr);
    EXPECT_FALSE(image.restore(L"young") || Cache::Remove(L"young") || image.create(L"young"));
    EXPECT_EQ(image.error, L"");
    for (const HANDLE file : held) {
        CloseHandle(file);
    }
    const std::wstring failed =
        L"trelis::VolumeImageCache::CleanCacheFileDirectory: "
        L"Remove failed (file currently locked?) '" +
        Cache::GetDirectory();
    EXPECT_TRUE(traces.starts_with(failed + L"old.cache'\n" + failed + L"young.cache'\n"));
    EXPECT_TRUE(Cache::Remove(L"old") && Cache::Remove(L"young"));
}

}  // namespace
