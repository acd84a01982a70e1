// The module's settings as the host reads and writes them. Several threads read them, so numbers
// are relaxed atomics and texts carry their own lock.
#pragma once

#include <cstdint>

#include "module/shared_values.h"

namespace cam {

// A path as the host hands it over.
inline constexpr std::size_t kPathTextSize = 260;
inline constexpr std::size_t kAddressTextSize = 64;

// How the camera is chosen ("Type").
inline constexpr std::int32_t kConnectBySelection = 0;
inline constexpr std::int32_t kConnectByAddress = 1;

// A wait for a triggered frame above this many seconds is a mistake and becomes the default.
inline constexpr std::int32_t kMaxSoftTriggerWait = 1000;
inline constexpr std::int32_t kDefaultSoftTriggerWait = 2;

struct Settings {
    // Acquisition
    Setting<std::int32_t> imageCacheNum{50};  // most frames that wait for the host
    Setting<std::int32_t> softTriggerWaitTime{kDefaultSoftTriggerWait};  // seconds
    Setting<bool> triggerProcessRunStatus{true};
    Setting<bool> triggerStringEnable{false};       // stored only
    Setting<bool> dropImageWhenTriggerFail{false};  // stored only

    // Connection
    Setting<std::int32_t> connectionMode{kConnectBySelection};
    Setting<bool> autoConnect{false};  // by address: reconnect after a loss
    Setting<bool> connectedByIp{false};
    SharedText<kAddressTextSize> cameraIp;
    SharedText<kAddressTextSize> localIp;      // of the network card that reaches the camera
    Setting<std::int32_t> reconnectTime{100};  // seconds
    Setting<std::int32_t> waitForConnectingTime{1000};  // milliseconds

    // I/O lines: the camera kind is the line set of CMyCamera::ReverseElecLevel
    Setting<std::int32_t> cameraMold{1};
    Setting<std::int32_t> ioEnableElectricalLevel{2};  // 1: inverted

    // Pictures from a folder
    Setting<bool> debugMode{false};
    Setting<bool> autoSwitch{true};
    SharedText<kPathTextSize> fileFolderName;
    Setting<std::int32_t> debugImageSource{1};  // this and the next three are stored only
    Setting<std::int32_t> debugImageBufferCount{0};
    Setting<std::int32_t> executeInterval{0};
    SharedText<kPathTextSize> localPicture;
};

}  // namespace cam
