// Identity of the open camera, or of the one that was open last.
#pragma once

#include "base/relaxed.h"
#include "base/text.h"
#include "camera/device_tables.h"
#include "camera/my_camera.h"

namespace cam {

// Written by the thread that opens a camera, read by every thread; survives closing.
struct CameraIdentity {
    SharedText<kCameraTextSize> serial;
    SharedText<kCameraTextSize> model;
    SharedText<kCameraTextSize> manufacturer;
    Relaxed<std::uint32_t> transportType{0};

    void Take(const DeviceIdentity& identity) {
        serial.Set(identity.serial);
        manufacturer.Set(identity.manufacturer);
        model.Set(identity.model);
    }
};

}  // namespace cam
