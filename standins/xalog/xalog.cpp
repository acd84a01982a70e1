#include "module/log/xalog.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

#include "standins/xalog/log_writer.h"
#include "standins/xalog/process.h"
#include "standins/xalog/xalog_host.h"

namespace {

constexpr std::int32_t kDefaultLevel = 4;

// Constant-initialised and never destroyed: queried for every line, at any time of the process.
constinit std::atomic<std::int32_t> g_level{kDefaultLevel};

// Never destroyed: threads may log while the process's statics are being destroyed. Null when it
// could not be allocated; then nothing is written.
constinit std::atomic<xalog::LogWriter*> g_writer{nullptr};

xalog::LogWriter* NewWriter() noexcept {
    try {
        return new xalog::LogWriter;
    } catch (...) {
        return nullptr;
    }
}

template <typename Work>
void IfThereIsAWriter(Work&& work) noexcept {
    if (xalog::LogWriter* const writer = g_writer.load(); writer != nullptr) {
        work(*writer);
    }
}

void WriteAtTheEnd(bool othersAreGone) noexcept {
    IfThereIsAWriter([&](xalog::LogWriter& writer) { writer.WriteRemaining(othersAreGone); });
}
void BeforeFork() noexcept {
    IfThereIsAWriter([](xalog::LogWriter& writer) { writer.LockForFork(); });
}
void AfterForkInParent() noexcept {
    IfThereIsAWriter([](xalog::LogWriter& writer) { writer.UnlockForFork(); });
}
void AfterForkInChild() noexcept {
    IfThereIsAWriter([](xalog::LogWriter& parents) {
        try {
            g_writer.store(xalog::LogWriter::InForkedChild(parents));
        } catch (...) {
            g_writer.store(nullptr);
        }
    });
}

xalog::LogWriter* Writer() noexcept {
    // On first use, which may be before this library's own statics are made.
    [[maybe_unused]] static const bool made = [] {
        xalog::LogWriter* const writer = NewWriter();
        g_writer.store(writer);
        if (writer != nullptr) {
            xalog::WatchProcess({WriteAtTheEnd, BeforeFork, AfterForkInParent, AfterForkInChild});
        }
        return true;
    }();
    return g_writer.load();
}

// When the library is loaded, before any query of the level.
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

// Most messages fit the stack; a longer one is formatted a second time, on the heap.
constexpr std::size_t kUsualMessage = 1024;

void Print(xalog::LogWriter& writer, std::int32_t level, const char* format, va_list arguments) {
    char usual[kUsualMessage + 1];
    va_list again;
    va_copy(again, arguments);
    const int formatted = std::vsnprintf(usual, sizeof usual, format, arguments);
    // If the text cannot be formatted (a wide character without a counterpart), the format itself
    // is logged.
    const bool unformatted = formatted < 0;
    std::size_t size = static_cast<std::size_t>(
        unformatted ? std::snprintf(usual, sizeof usual, "%s", format) : formatted);
    size = std::min(size, xalog::kLongestMessage);

    char* message = usual;
    std::unique_ptr<char[]> longer;
    if (size > kUsualMessage) {
        longer.reset(new (std::nothrow) char[size + 1]);
        if (longer == nullptr) {
            size = kUsualMessage;  // a truncated line is better than none
        } else {
            message = longer.get();
            if (unformatted) {
                std::snprintf(message, size + 1, "%s", format);
            } else {
                std::vsnprintf(message, size + 1, format, again);
            }
        }
    }
    va_end(again);
    size = xalog::MakeOneLine(message, size);
    message[size] = '\0';
    writer.Write(level, message, size);
}

// Logging never fails for its caller, and no exception crosses into a program with another runtime.
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

void XalogHost_SetProbe(XalogSink probe, void* user) {
    WithWriter([&](xalog::LogWriter& writer) { writer.SetProbe(probe, user); });
}

void XalogHost_Flush() {
    WithWriter([](xalog::LogWriter& writer) { writer.Flush(); });
}

}  // extern "C"
