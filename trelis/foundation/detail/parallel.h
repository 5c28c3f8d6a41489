#pragma once

#include <cstddef>
#include <functional>

#include <trelis/export.h>
#include <trelis/foundation/progress.h>

namespace trelis::detail {

/// Calls body(i) once for every i below `count`, on the calling thread and on others that are gone
/// when it returns. Which thread takes which item, and in what order, is open.
///
/// After each item one thread at a time calls progress.ReportProgress(items finished before /
/// count). `QAbortPressed` from there or from the body stops the loop, and a fresh one is thrown
/// here; of any other exceptions the first is thrown again here. No thread starts an item after
/// that.
///
/// A thread gets at least `itemsPerThread` items, so that small jobs stay on the calling thread.
TRELIS_API void parallelFor(std::size_t count, FProgressReportingBody& progress,
                            const std::function<void(std::size_t)>& body,
                            std::size_t itemsPerThread = 1);

/// While it lives, loops started by this thread use `threadCount` threads instead of one for each
/// processor. For tests.
class TRELIS_API ScopedThreadCount {
  public:
    explicit ScopedThreadCount(unsigned threadCount);
    ~ScopedThreadCount();
    ScopedThreadCount(const ScopedThreadCount&) = delete;
    ScopedThreadCount& operator=(const ScopedThreadCount&) = delete;

  private:
    unsigned previous_;
};

}  // namespace trelis::detail
