// The benchmark's end of the camera SDK.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

#include "camera/sdk/kz_camera_control.h"

namespace bare_sdk {

struct Callback {
    KZImageCallback function = nullptr;
    void* user = nullptr;
};

// The first camera's.
const char* Serial();
// How many cameras an enumeration lists; 1 at first.
void ListCameras(std::uint32_t count);
// How long a pixel conversion keeps its thread busy; it writes the whole destination.
void ConversionsTake(std::chrono::milliseconds duration);
// What the module registered last; called by the benchmark as the SDK would.
Callback ImageCallback();
void OnSoftwareTrigger(std::function<void()> onTrigger);

}  // namespace bare_sdk
