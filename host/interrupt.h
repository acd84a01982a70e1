// Ctrl-C and the request to terminate.
#pragma once

namespace host {

// From now on the first request only makes Interrupted() true, so that frames are handed back and
// the module is destroyed; a second one ends the program at once.
void WatchForInterrupt();

[[nodiscard]] bool Interrupted() noexcept;

}  // namespace host
