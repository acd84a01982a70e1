// The interface behind a handle: a device of one kind, real or simulated. The SDK functions
// (kz_camera_control.cpp) handle handles, callbacks and the waits for them; a device handles one
// camera.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "camera/sdk/kz_camera_control.h"
#include "standins/kz_camera_control/feature_record.h"

namespace kz {

using Code = std::uint32_t;

// Where a device delivers what comes from the camera, on its own threads. The sink does not throw
// and may be used until the device is destroyed.
struct DeviceSink {
    // Runs the module's frame callback: one call at a time, `pixels` and `info` valid during the
    // call. False: no callback is registered.
    std::function<bool(const std::uint8_t* pixels, const FrameOutInfo* info)> frame;
    // Both only queue: the callback comes later, on the event thread of the handle, so that it may
    // destroy the device. Loss of the device is reported once, as KZ_EXCEPTION_DISCONNECTED.
    std::function<void(std::uint32_t messageType)> exception;
    std::function<void(const char* eventName)> event;
};

// One opened camera. Any thread may call; the SDK functions serialise all calls of one handle, the
// destructor included. Every call on a lost camera returns KZ_CC_E_DEVICE_LOST within a bounded
// time.
class Device {
  public:
    virtual ~Device() = default;

    // Frames go to the sink between Start and Stop. Stop returns, with any status, when the
    // device's thread has left the sink and will not enter it for this acquisition again; the
    // destructor stops too. Start and Stop alternate and are never called from inside the sink.
    virtual Code Start() = 0;
    virtual Code Stop() = 0;

    virtual Code NodeType(const char* name, KZNodeType& type) = 0;
    virtual Code GetInt(const char* name, KZIntValue& value) = 0;
    virtual Code SetInt(const char* name, std::uint32_t value) = 0;
    virtual Code GetFloat(const char* name, KZFloatValue& value) = 0;
    virtual Code SetFloat(const char* name, float value) = 0;
    virtual Code GetEnum(const char* name, KZEnumValue& value) = 0;
    virtual Code SetEnum(const char* name, std::uint32_t value) = 0;
    virtual Code SetEnumByString(const char* name, const char* entry) = 0;
    virtual Code GetBool(const char* name, bool& value) = 0;
    virtual Code SetBool(const char* name, bool value) = 0;
    virtual Code GetString(const char* name, KZStringValue& value) = 0;
    virtual Code SetString(const char* name, const char* value) = 0;
    virtual Code Execute(const char* name) = 0;

    virtual std::int32_t OptimalPacketSize() = 0;
    virtual Code SetTransmissionType(const KZTransmissionType& type) = 0;
    virtual Code MatchInfo(KZMatchInfo& info) = 0;

    // Asks the camera to send the named event from now on; KZ_CC_E_NODE_MISSING when it has none.
    virtual Code EnableEvent(const char* name) = 0;

    // Shows the features in the camera's order, or the one of that name; null: all.
    virtual Code Describe(const char* name, const FeatureVisitor& visit) = 0;
};

// The cameras of one kind. Each source is one object for the life of the library.
class DeviceSource {
  public:
    virtual ~DeviceSource() = default;

    // Enumerates the cameras and adds their records.
    virtual Code Enumerate(std::uint32_t transportMask, std::vector<CameraDeviceInfo>& found) = 0;

    // True when this source knows the camera of the record - by its serial number, or, for a GigE
    // record without one, by its IP address. A record may come from an earlier process, before any
    // enumeration.
    virtual bool Knows(const CameraDeviceInfo& record) = 0;

    // Opens it; `device` is filled on success.
    virtual Code Open(const CameraDeviceInfo& record, std::uint32_t accessMode, DeviceSink sink,
                      std::unique_ptr<Device>& device) = 0;

    // Who controls the camera of the record.
    virtual CameraState StateOf(const CameraDeviceInfo& record) = 0;

    // As Device::Describe, for a camera that any program may control, without taking control of it.
    // `camera`: serial number or IP address.
    virtual Code DescribeBeside(const char* camera, const char* name,
                                const FeatureVisitor& visit) = 0;
};

// GigE Vision and USB3 Vision cameras through Aravis, on Linux; elsewhere a source without cameras.
std::unique_ptr<DeviceSource> MakeRealCameraSource();

}  // namespace kz
