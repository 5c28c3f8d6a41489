#include <gtest/gtest.h>

#include <trelis/dose/dvh_data.h>

#include <windows.h>

namespace {

// A thread of the system starts with fewer bits in its x87 unit than those of the run-time library.
TEST(Numbers, DoNotDependOnWhatStartedTheThread) {
    trelis::DvhData here;
    here.bins.assign(1000, 1.0);
    here.binWidth = 123456.789;
    trelis::DvhData there = here;
    here.Naturalize();
    const auto naturalize = [](void* dvh) -> DWORD {
        static_cast<trelis::DvhData*>(dvh)->Naturalize();
        return 0;
    };
    const HANDLE thread = CreateThread(nullptr, 0, naturalize, &there, 0, nullptr);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    EXPECT_EQ(here.bins, there.bins);
    EXPECT_DOUBLE_EQ(there.bins[1], 5355344863124.8008 * 2 / 3);
}

}  // namespace
