// Configures a newly opened camera for acquisition.
#pragma once

#include "base/module_events.h"
#include "base/notices.h"
#include "base/settings.h"
#include "camera/camera_identity.h"
#include "camera/my_camera.h"
#include "camera/sdk/kz_camera_control.h"

namespace cam {

// The module's entries for the SDK; `user` is passed to each of them.
struct SdkCallbacks {
    KZImageCallback image;
    KZExceptionCallback exception;
    KZEventCallback event;
    void* user;
};

// The steps that follow an open, in the order that cameras and hosts rely on. Called under the
// connection lock during a set-up. `function` is the caller's name for log lines. Failures are
// logged and ignored.
class CameraSetUp {
  public:
    CameraSetUp(CMyCamera& camera, CameraIdentity& identity, const Notices& notices,
                Settings& settings, ModuleEvents& events, const SdkCallbacks& callbacks)
        : m_camera(camera),
          m_identity(identity),
          m_notices(notices),
          m_settings(settings),
          m_events(events),
          m_callbacks(callbacks) {}

    // For a camera opened by its record.
    void Configure(const char* function);
    // For a camera opened by address: the model is read from the camera, because `identity` has
    // none.
    void ConfigureByAddress(const char* function, DeviceIdentity identity);

    // Sets the I/O lines of the camera's kind.
    void SetLines();

  private:
    void LoadUserSet(const char* function);
    void KeepHeartbeat(const char* function);
    void StopForConfiguration(const char* function);
    void SetTriggerModeOn(const char* function);
    void RegisterFrameCallBacks(const char* function);
    void RegisterEventCallBack();
    void ReenterRealTimeMode();
    void Start(const char* function);

    [[nodiscard]] CameraText Serial() const { return m_identity.serial.Get(); }

    CMyCamera& m_camera;
    CameraIdentity& m_identity;
    const Notices& m_notices;
    Settings& m_settings;
    ModuleEvents& m_events;
    const SdkCallbacks m_callbacks;
};

}  // namespace cam
