// The simulator's hook into the SDK's functions: every call on a simulated camera passes here
// first.
#pragma once

#include <string>

#include "standins/kz_camera_control/camera.h"

namespace kz {

// One call of an SDK function.
struct Call {
    const char* function;
    // The call with its arguments, for calls that change something; empty for reads.
    std::string journalLine;
};

class CallInterceptor {
  public:
    virtual ~CallInterceptor() = default;

    // What a conversion or decoding that gave `length` bytes says that it gave.
    [[nodiscard]] virtual std::uint32_t Claimed(std::uint32_t length) const = 0;

    // Runs inside the call, on its thread, with the handle's lock held if the function takes it;
    // may block. Other than 0: the call returns this and does nothing.
    virtual Code Enter(const Call& call) = 0;

    // Whether stopping, closing and destroying wait for exception and event callbacks, too.
    [[nodiscard]] virtual bool StopsWaitForNotices() const = 0;
};

}  // namespace kz
