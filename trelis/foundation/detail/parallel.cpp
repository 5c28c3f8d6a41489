#include <trelis/foundation/detail/parallel.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace trelis::detail {

namespace {

/// Threads per loop started by this thread; 0 means one for each processor.
thread_local unsigned threadCountOverride = 0;

std::size_t threadCountFor(std::size_t count, std::size_t itemsPerThread) {
    const std::size_t available = threadCountOverride != 0
                                      ? threadCountOverride
                                      : std::max(1U, std::thread::hardware_concurrency());
    return std::clamp<std::size_t>(count / std::max<std::size_t>(1, itemsPerThread), 1, available);
}

/// What the threads of one loop share.
class Loop {
  public:
    Loop(std::size_t count, FProgressReportingBody& progress,
         const std::function<void(std::size_t)>& body)
        : count_(count), progress_(progress), body_(body) {}

    /// Takes items until none is left or the loop has stopped. No exception leaves.
    void work() noexcept {
        while (!stopped_) {
            const std::size_t item = next_++;
            if (item >= count_) {
                return;
            }
            try {
                body_(item);
            } catch (...) {
                const std::lock_guard lock(mutex_);
                stop();
                return;
            }
            report();
        }
    }

    void throwWhatStoppedIt() const {
        if (failure_ != nullptr) {
            std::rethrow_exception(failure_);
        }
        if (cancelled_) {
            throw QAbortPressed();
        }
    }

  private:
    void report() {
        const std::lock_guard lock(mutex_);
        if (stopped_) {
            return;
        }
        const std::size_t finishedBefore = finished_++;
        try {
            progress_.ReportProgress(static_cast<double>(finishedBefore) /
                                     static_cast<double>(count_));
        } catch (...) {
            stop();
        }
    }

    /// Ends the loop on the exception being handled. The caller holds the lock.
    void stop() {
        stopped_ = true;
        try {
            throw;
        } catch (const QAbortPressed&) {
            cancelled_ = true;
        } catch (...) {
            if (failure_ == nullptr) {
                failure_ = std::current_exception();
            }
        }
    }

    const std::size_t count_;
    FProgressReportingBody& progress_;
    const std::function<void(std::size_t)>& body_;
    std::atomic<std::size_t> next_{0};
    std::atomic<bool> stopped_{false};
    std::mutex mutex_;
    bool cancelled_ = false;
    std::size_t finished_ = 0;
    std::exception_ptr failure_;
};

}  // namespace

void parallelFor(std::size_t count, FProgressReportingBody& progress,
                 const std::function<void(std::size_t)>& body, std::size_t itemsPerThread) {
    Loop loop(count, progress, body);
    {
        std::vector<std::jthread> threads;
        const std::size_t extraThreads = threadCountFor(count, itemsPerThread) - 1;
        threads.reserve(extraThreads);
        try {
            while (threads.size() < extraThreads) {
                threads.emplace_back([&loop] { loop.work(); });
            }
        } catch (const std::exception&) {
            // The system has no more threads or memory for them: those that are there do the work.
        }
        loop.work();
    }
    loop.throwWhatStoppedIt();
}

ScopedThreadCount::ScopedThreadCount(unsigned threadCount) : previous_(threadCountOverride) {
    threadCountOverride = threadCount;
}

ScopedThreadCount::~ScopedThreadCount() { threadCountOverride = previous_; }

}  // namespace trelis::detail
