// GLib ends the process when it cannot start a thread, and Aravis starts one for each device and
// each stream.
#pragma once

#include <exception>
#include <thread>

namespace kz {

// Whether a thread can be started: checked before calling Aravis for something that needs one.
[[nodiscard]] inline bool ThreadCanBeStarted() noexcept {
    try {
        std::thread([] {}).join();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace kz
