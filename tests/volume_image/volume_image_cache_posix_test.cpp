#include <csignal>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <tests/support/vectors.h>
#include <tests/volume_image/cache_fixture.h>

namespace {

/// Restores, removes and creates at random. False when a volume is not as it was created.
bool useCache(unsigned seed, int count) {
    Random random(seed);
    bool good = true;
    for (; good && count > 0; --count) {
        Image image(0, 1000);
        image.restore(std::to_wstring(random.integer(1, 3)));
        good = image.error.empty() && image.volume == Image(image.offset, 1000).volume;
        Cache::Remove(std::to_wstring(random.integer(1, 3)));
        Image(random.integer(0, 65535), 1000).create(std::to_wstring(random.integer(1, 3)));
    }
    return good;
}

TEST_F(VolumeImageCacheTest, NeverShowsAWrongVolumeToProcessesThatShareItAndAreKilled) {
    // A limit of no size: each creation cleans away the files of the others.
    Cache::SetConfiguration({72, 0, 0, 0});
    for (unsigned i = 0; i < 40; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            _exit(useCache(i, 1000000) ? 0 : 1);
        }
        EXPECT_TRUE(useCache(i + 1000, 3));
        // It ends by itself only when it saw a wrong volume.
        EXPECT_EQ(waitpid(child, nullptr, WNOHANG), 0);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
}

TEST_F(VolumeImageCacheTest, MeetsAFullDiskOddPathsAndOddFilesWithoutHarm) {
    rlimit limit = {500, RLIM_INFINITY};
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_TRUE(!Image(5, 1000).create(L"1") && fileCount() == 1);
    limit.rlim_cur = RLIM_INFINITY;
    setrlimit(RLIMIT_FSIZE, &limit);
    for (const int bad : {0xD800, 0xDFFF, 0x110000, 0}) {
        EXPECT_EQ(Cache::Initialize(wideBase_ + static_cast<wchar_t>(bad)), ENOENT);
    }
    mkfifo("1.cache", 0644);
    Image image(5);
    EXPECT_TRUE(!image.restore(L"1") && image.error.empty() && Cache::Remove(L"1"));
    // What has no wide name is cleaned up all the same.
    write("\xC3(\xF0\x9F.old", "", 73 * 60);
    EXPECT_TRUE(image.create(L"2") && fileCount() == 2);
}

}  // namespace
