#include <trelis/foundation/detail/parallel.h>

#include <atomic>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/reporter.h>

namespace {

using trelis::detail::parallelFor;
using trelis::detail::ScopedThreadCount;

/// Threads that have done an item and still live; the calling thread is one of them for good.
std::atomic<int> livingThreads = 0;

void noteThread() {
    struct Presence {
        Presence() { ++livingThreads; }
        ~Presence() { --livingThreads; }
    };
    thread_local const Presence presence;
}

class ParallelLoop : public testing::TestWithParam<unsigned> {
  protected:
    ParallelLoop() { noteThread(); }
    ScopedThreadCount threads_{GetParam()};
    QProgressReporterNull nobody_;
};

TEST_P(ParallelLoop, DoesEveryItemOnceAndReportsRisingFractions) {
    for (const std::size_t count : {0U, 1U, 2U, 100U}) {
        std::vector<std::atomic<int>> done(count);
        RecordingReporter reporter;
        parallelFor(count, reporter, [&](std::size_t i) { ++done[i]; });
        for (const auto& times : done) {
            EXPECT_EQ(times, 1);
        }
        ASSERT_EQ(reporter.fractions().size(), count);
        for (std::size_t i = 0; i < count; ++i) {
            EXPECT_EQ(reporter.fractions()[i], static_cast<double>(i) / static_cast<double>(count));
        }
    }
}

TEST_P(ParallelLoop, AbortedAtAnyReportThrowsOnceReportsNoMoreAndLeavesNoThread) {
    constexpr int kCount = 30;
    for (int abortAt = 1; abortAt <= kCount; ++abortAt) {
        RecordingReporter reporter(abortAt);
        std::atomic<int> done = 0;
        const auto body = [&](std::size_t) {
            noteThread();
            ++done;
        };
        EXPECT_THROW(parallelFor(kCount, reporter, body), QAbortPressed);
        EXPECT_EQ(static_cast<int>(reporter.fractions().size()), abortAt);
        EXPECT_GE(done, abortAt);
        EXPECT_LE(done, abortAt + static_cast<int>(GetParam()));
        EXPECT_EQ(livingThreads, 1);
    }
}

TEST_P(ParallelLoop, PassesOnAnExceptionOfTheBodyAndOfTheReporter) {
    const auto fail = [](std::size_t) { throw std::out_of_range("item"); };
    EXPECT_THROW(parallelFor(20, nobody_, fail), std::out_of_range);
    const auto abort = [](std::size_t) { throw QAbortPressed(); };
    EXPECT_THROW(parallelFor(20, nobody_, abort), QAbortPressed);
    class Failing : public QProgressReporterNull {
        void ReportProgress(double) override { throw std::runtime_error("display"); }
    } failing;
    EXPECT_THROW(parallelFor(20, failing, [](std::size_t) {}), std::runtime_error);
}

INSTANTIATE_TEST_SUITE_P(Threads, ParallelLoop, testing::Values(1U, 2U, 7U));

}  // namespace
