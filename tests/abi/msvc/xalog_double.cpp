// A log of MSVC's interface: the module's variable arguments are read as MSVC lays them out.
#include "module/log/xalog.h"
#include "standins/xalog/xalog_host.h"
#include "system.h"

int _fltused = 0;

namespace {

std::int32_t g_level = 4;
XalogSink g_sink = nullptr;
void* g_user = nullptr;

}  // namespace

extern "C" {

bool Xalog_ShouldLog(std::int32_t level) {
    return level >= g_level;
}
void Xalog_LogPrint(std::int32_t level, const char* format, ...) {
    char line[1024] = "";
    __builtin_va_list arguments;
    __builtin_va_start(arguments, format);
    _vsnprintf(line, sizeof line - 1, format, arguments);
    __builtin_va_end(arguments);
    if (g_sink != nullptr) {
        g_sink(level, line, g_user);
    }
}
std::int32_t Xalog_GetCurrentLevel() {
    return g_level;
}
void Xalog_ResetLevel(std::int32_t level) {
    g_level = level;
}
void XalogHost_SetStandardError(bool) {}
void XalogHost_Flush() {}
void XalogHost_SetSink(XalogSink sink, void* user) {
    g_sink = sink;
    g_user = user;
}

int Entry(void*, std::uint32_t, void*) {
    return 1;
}

}  // extern "C"
