// Wrapper of every entry into the library.
#pragma once

#include "standins/module_frame/framework.h"

namespace module_frame {

// No exception crosses into a module or host, which may use another runtime.
template <typename Work>
[[nodiscard]] Status Guarded(Work&& work) noexcept {
    try {
        return work();
    } catch (...) {
        return kModuleFrameFailed;
    }
}

// For an entry that returns no status.
template <typename Work>
void Attempt(Work&& work) noexcept {
    static_cast<void>(Guarded([&]() -> Status {
        work();
        return 0;
    }));
}

}  // namespace module_frame
