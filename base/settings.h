// The module's settings as the host reads and writes them. Several threads read them, so numbers
// are relaxed atomics and texts carry their own lock.
#pragma once

#include <cstdint>

#include "base/relaxed.h"
#include "base/text.h"

namespace cam {

// A path as the host passes it.
inline constexpr std::size_t kPathTextSize = 260;
inline constexpr std::size_t kAddressTextSize = 64;

// How the camera is chosen ("Type").
inline constexpr std::int32_t kConnectBySelection = 0;
inline constexpr std::int32_t kConnectByAddress = 1;

// A longer wait for a triggered frame, in seconds, is a mistake and becomes the default.
inline constexpr std::int32_t kMaxSoftTriggerWait = 1000;
inline constexpr std::int32_t kDefaultSoftTriggerWait = 2;

struct Settings {
    // Acquisition
    Relaxed<std::int32_t> imageCacheNum{50};  // capacity of the frame queue
    Relaxed<std::int32_t> softTriggerWaitTime{kDefaultSoftTriggerWait};  // seconds
    Relaxed<bool> triggerProcessRunStatus{true};
    Relaxed<bool> triggerStringEnable{false};       // stored only
    Relaxed<bool> dropImageWhenTriggerFail{false};  // stored only

    // Connection
    Relaxed<std::int32_t> connectionMode{kConnectBySelection};
    Relaxed<bool> autoConnect{false};  // by address: reconnect after loss
    Relaxed<bool> connectedByIp{false};
    SharedText<kAddressTextSize> cameraIp;
    SharedText<kAddressTextSize> localIp;      // of the network card that reaches the camera
    Relaxed<std::int32_t> reconnectTime{100};  // seconds
    Relaxed<std::int32_t> waitForConnectingTime{1000};  // milliseconds

    // I/O lines: the camera kind is the line set of CMyCamera::ReverseElecLevel
    Relaxed<std::int32_t> cameraMold{1};
    Relaxed<std::int32_t> ioEnableElectricalLevel{2};  // 1: inverted

    // Pictures from a folder
    Relaxed<bool> debugMode{false};
    Relaxed<bool> autoSwitch{true};
    SharedText<kPathTextSize> fileFolderName;
    Relaxed<std::int32_t> debugImageSource{1};  // this and the next three are stored only
    Relaxed<std::int32_t> debugImageBufferCount{0};
    Relaxed<std::int32_t> executeInterval{0};
    SharedText<kPathTextSize> localPicture;
};

}  // namespace cam
