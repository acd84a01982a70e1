// Reading and writing features of the open camera.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/lock.h"
#include "base/module_events.h"
#include "base/notices.h"
#include "camera/camera_connection.h"
#include "camera/my_camera.h"
#include "camera/set_up_gate.h"
#include "camera/stop_gate.h"
#include "imaging/frame_store.h"
#include "module/framework/status_codes.h"

namespace cam {

// Features are written one at a time. While another thread sets the camera up, every call waits for
// it to end, so that the set-up does not undo what the call writes; a thread of the SDK gives way.
class FeatureAccess {
  public:
    FeatureAccess(CMyCamera& camera, const CameraConnection& connection, const StopGate& stopGate,
                  SetUpGate& setUpGate, FrameStore& store, const Notices& notices,
                  ModuleEvents& events)
        : m_camera(camera),
          m_connection(connection),
          m_stopGate(stopGate),
          m_setUpGate(setUpGate),
          m_store(store),
          m_notices(notices),
          m_events(events) {}

    // The feature that `key` names, as text; kUnreadableFeature if it cannot be read. Returns 0
    // unless the camera is lost.
    [[nodiscard]] Status Read(std::string_view key, std::string& text);
    // kNoCamera: no camera is open; 0: also for a feature that the camera does not have; kInvalid:
    // text that is not a number where one is expected, a number outside the feature's type, a
    // stream that could not be stopped, or a call that gave way; otherwise the camera's own status,
    // which is logged.
    [[nodiscard]] Status Write(std::string_view key, std::string_view value);

    // "TriggerOn", "TriggerOff".
    [[nodiscard]] Status SetTriggerMode(bool on);
    // "SaveParams": the camera saves its features in its user set. kNoCamera: not saved.
    [[nodiscard]] Status SaveUserSet();
    // "RealTimeImgAcq".
    [[nodiscard]] Status SetRealTimeMode(bool on);

  private:
    // The last written value, so that it is not written again; valid only until the next set-up,
    // because a newly opened camera has its own values.
    struct WrittenValue {
        float value = 0;
        std::uint32_t setUp = 0;
    };

    [[nodiscard]] Status ReadNode(const std::string& node, std::string& text);
    [[nodiscard]] Status WriteLocked(std::string_view key, std::string_view value)
        REQUIRES(m_parameterLock);
    [[nodiscard]] Status WriteNode(const std::string& node, KZNodeType type, std::string_view value)
        REQUIRES(m_parameterLock);
    [[nodiscard]] Status WriteFloat(const std::string& node, float value) REQUIRES(m_parameterLock);
    // Stops the stream if it must not run while the named feature changes.
    [[nodiscard]] Status StopGrabbingForParam(std::string_view name) REQUIRES(m_parameterLock);
    [[nodiscard]] Status GaveWay(const char* function, std::string_view key) const;

    CMyCamera& m_camera;
    const CameraConnection& m_connection;
    const StopGate& m_stopGate;
    SetUpGate& m_setUpGate;
    FrameStore& m_store;
    const Notices& m_notices;
    ModuleEvents& m_events;

    ReentrantLock m_parameterLock{LockRank::Parameter, "parameter"};
    WrittenValue m_lastExposure GUARDED_BY(m_parameterLock);
    WrittenValue m_lastGain GUARDED_BY(m_parameterLock);
};

}  // namespace cam
