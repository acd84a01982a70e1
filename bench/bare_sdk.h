// The benchmark's end of the camera SDK.
#pragma once

#include <functional>

#include "camera/sdk/kz_camera_control.h"

namespace bare_sdk {

struct Callback {
    KZImageCallback function = nullptr;
    void* user = nullptr;
};

const char* Serial();
// What the module registered last; called by the benchmark as the SDK would.
Callback ImageCallback();
void OnSoftwareTrigger(std::function<void()> onTrigger);

}  // namespace bare_sdk
