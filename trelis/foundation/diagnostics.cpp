#include <trelis/foundation/diagnostics.h>

#include <atomic>
#include <cstdarg>
#include <cstdlib>

#include <trelis/foundation/detail/platform.h>
#include <trelis/foundation/detail/wide_format.h>

namespace {

constexpr std::size_t kTraceBufferLength = 1024;

std::atomic<void (*)(const wchar_t*)> debugOutputSink{nullptr};

}  // namespace

void Crash(const wchar_t* message) noexcept {
    trelis::detail::writeFatalMessage(message);
    if (const auto sink = debugOutputSink.load()) {
        sink(message);
    }
    std::abort();
}

void TrelisTrace(const wchar_t* format, ...) noexcept {
    const auto sink = debugOutputSink.load();
    const bool debugger = trelis::detail::isDebuggerListening();
    if (sink == nullptr && !debugger) {
        return;
    }
    wchar_t message[kTraceBufferLength];
    std::va_list arguments;
    va_start(arguments, format);
    trelis::detail::formatWide(message, kTraceBufferLength, format, arguments);
    va_end(arguments);
    if (debugger) {
        trelis::detail::writeDebugOutput(message);
    }
    if (sink != nullptr) {
        sink(message);
    }
}

void SetDebugOutput(void (*sink)(const wchar_t* message)) { debugOutputSink.store(sink); }
