// The logging library `Xalog` as the module uses it. Every function may be called from any thread.
#pragma once

#include <cstdint>

extern "C" {

// False: a line of this level would be dropped, so its arguments need not be formed.
bool Xalog_ShouldLog(std::int32_t level);

// Writes one line, printf-style; the library adds time and line end.
[[gnu::format(printf, 2, 3)]] void Xalog_LogPrint(std::int32_t level, const char* format, ...);

// The current level: lines below it are dropped.
std::int32_t Xalog_GetCurrentLevel();
void Xalog_ResetLevel(std::int32_t level);

}  // extern "C"
