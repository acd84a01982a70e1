#include "module/log/xalog.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

#include "standins/xalog/log_writer.h"
#include "standins/xalog/xalog_host.h"

namespace {

using xalog::kStampSize;

constexpr std::int32_t kDefaultLevel = 4;

// Constant-initialised and never destroyed: asked on every line, at any time of the process.
constinit std::atomic<std::int32_t> g_level{kDefaultLevel};

// Leaked on purpose: threads may log while the process's statics are being destroyed. Null when
// the machine had no memory for it; then nothing is written.
xalog::LogWriter* Writer() noexcept {
    static xalog::LogWriter* const writer = []() -> xalog::LogWriter* {
        try {
            return new xalog::LogWriter;
        } catch (...) {
            return nullptr;
        }
    }();
    return writer;
}

// At the loading of the library, before anyone can ask for the level.
[[maybe_unused]] const bool g_environmentRead = [] {
    if (const char* const level = std::getenv("XALOG_LEVEL"); level != nullptr) {
        char* end = nullptr;
        const long number = std::strtol(level, &end, 10);
        if (end != level) {
            g_level.store(static_cast<std::int32_t>(number), std::memory_order_relaxed);
        }
    }
    return Writer() != nullptr;
}();

// Most lines fit the stack; a longer one is formatted a second time, on the heap.
constexpr std::size_t kUsualLine = 1024;
constexpr std::size_t kLineEnd = 1;

void Print(xalog::LogWriter& writer, std::int32_t level, const char* format, va_list arguments) {
    char usual[kStampSize + kUsualLine + kLineEnd];
    va_list again;
    va_copy(again, arguments);
    const int formatted =
        std::vsnprintf(usual + kStampSize, kUsualLine + kLineEnd, format, arguments);
    // A text that cannot be formatted (a wide character without a counterpart) leaves its format.
    const bool unformatted = formatted < 0;
    std::size_t size = 0;
    if (unformatted) {
        size = static_cast<std::size_t>(
            std::snprintf(usual + kStampSize, kUsualLine + kLineEnd, "%s", format));
    } else {
        size = static_cast<std::size_t>(formatted);
    }

    char* line = usual;
    std::unique_ptr<char[]> longer;
    if (size > kUsualLine) {
        longer.reset(new (std::nothrow) char[kStampSize + size + kLineEnd]);
        if (longer == nullptr) {
            size = kUsualLine;  // better a line cut short than none
        } else {
            line = longer.get();
            if (unformatted) {
                std::snprintf(line + kStampSize, size + kLineEnd, "%s", format);
            } else {
                std::vsnprintf(line + kStampSize, size + kLineEnd, format, again);
            }
        }
    }
    va_end(again);
    writer.Write(level, line, xalog::MakeOneLine(line + kStampSize, size));
}

// Logging never fails its caller, and no exception crosses into a program of another runtime.
template <typename Work>
void WithWriter(Work&& work) noexcept {
    if (xalog::LogWriter* const writer = Writer(); writer != nullptr) {
        try {
            work(*writer);
        } catch (...) {
        }
    }
}

}  // namespace

extern "C" {

bool Xalog_ShouldLog(std::int32_t level) {
    return level >= g_level.load(std::memory_order_relaxed);
}

void Xalog_LogPrint(std::int32_t level, const char* format, ...) {
    if (format == nullptr || !Xalog_ShouldLog(level)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    WithWriter([&](xalog::LogWriter& writer) { Print(writer, level, format, arguments); });
    va_end(arguments);
}

std::int32_t Xalog_GetCurrentLevel() {
    return g_level.load(std::memory_order_relaxed);
}

void Xalog_ResetLevel(std::int32_t level) {
    g_level.store(level, std::memory_order_relaxed);
}

bool XalogHost_SetFile(const char* path) {
    bool set = false;
    WithWriter([&](xalog::LogWriter& writer) { set = writer.SetFile(path); });
    return set;
}

void XalogHost_SetStandardError(bool enabled) {
    WithWriter([&](xalog::LogWriter& writer) { writer.SetStandardError(enabled); });
}

void XalogHost_SetSink(XalogSink sink, void* user) {
    WithWriter([&](xalog::LogWriter& writer) { writer.SetSink(sink, user); });
}

void XalogHost_Flush() {
    WithWriter([](xalog::LogWriter& writer) { writer.Flush(); });
}

}  // extern "C"
