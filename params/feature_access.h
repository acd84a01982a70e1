// The features of the open camera, as the host reads and writes them.
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

// Features are written one at a time. While another thread sets the camera up, every call waits
// until that has ended, so that the set-up does not undo what it writes; a thread of the SDK gives
// way.
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

    // The feature that `key` names, as text; kUnreadableFeature where it cannot be read. The status
    // is 0 but for a camera that is lost.
    [[nodiscard]] Status Read(std::string_view key, std::string& text);
    // kNoCamera: none is open; 0 for a feature that the camera does not have; kInvalid: a text that
    // is no number where one is wanted, a number beyond the feature's type, a stream that could not
    // be stopped, or a call that had to give way; else the camera's own status, which is logged.
    [[nodiscard]] Status Write(std::string_view key, std::string_view value);

    // "TriggerOn", "TriggerOff".
    [[nodiscard]] Status SetTriggerMode(bool on);
    // "SaveParams": the camera saves its features in its user set. kNoCamera: it did not.
    [[nodiscard]] Status SaveUserSet();
    // "RealTimeImgAcq".
    [[nodiscard]] Status SetRealTimeMode(bool on);

  private:
    // What was last written, so that the same value is not written again; it counts only for the
    // set-up it was written in, because a camera that is opened has values of its own.
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
    // Stops a stream that must rest while the named feature changes.
    [[nodiscard]] Status StopGrabbingForParam(std::string_view name) REQUIRES(m_parameterLock);
    [[nodiscard]] Status GaveWay(const char* function, std::string_view key) const;

    CMyCamera& m_camera;
    const CameraConnection& m_connection;
    const StopGate& m_stopGate;
    SetUpGate& m_setUpGate;
    FrameStore& m_store;
    const Notices& m_notices;
    ModuleEvents& m_events;

    Lock m_parameterLock{LockRank::Parameter, "parameter"};
    WrittenValue m_lastExposure GUARDED_BY(m_parameterLock);
    WrittenValue m_lastGain GUARDED_BY(m_parameterLock);
};

}  // namespace cam
