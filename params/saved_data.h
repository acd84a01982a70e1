// What the host's solution stores of the module.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string_view>

#include "base/lock.h"
#include "base/module_events.h"
#include "base/notices.h"
#include "base/settings.h"
#include "camera/camera_connection.h"
#include "camera/my_camera.h"
#include "camera/reconnection.h"
#include "camera/sdk/kz_camera_control.h"
#include "camera/stop_gate.h"
#include "imaging/receiver_registry.h"
#include "module/framework/module_frame.h"
#include "module/framework/status_codes.h"

namespace cam {

// The parameters that were last loaded or saved are kept: they are replayed whenever their camera
// is opened, and saved again while it is away. Host threads may save and load at once.
class SavedData {
  public:
    // SetParam of the module.
    using SetParamFunction =
        std::function<Status(const char* name, const char* value, std::int32_t size)>;

    SavedData(const CMyCamera& camera, CameraConnection& connection, Reconnection& reconnection,
              const ReceiverRegistry& receivers, const StopGate& stopGate, const Notices& notices,
              const Settings& settings, ModuleEvents& events, SetParamFunction setParam);

    // Fills the record; `saveFramework` fills its parameters with the framework's present values.
    // The camera's record in it stays valid and unchanged while the module exists.
    [[nodiscard]] Status Save(SAVE_MODULE_DATA_PARAM& record,
                              const std::function<void()>& saveFramework) EXCLUDES(m_lock);
    // Writes every parameter of the record, starts the search for its camera and waits, up to
    // "WaitForConnectingTime", until it grabs.
    void Load(const SAVE_MODULE_DATA_PARAM& record) EXCLUDES(m_lock);

    // Writes the kept parameters if they are the open camera's.
    void Replay() EXCLUDES(m_lock);
    void Forget() { Keep(nullptr); }

  private:
    using Params = std::shared_ptr<const ModuleParamList>;

    [[nodiscard]] Params Kept() const EXCLUDES(m_lock);
    void Keep(Params params) EXCLUDES(m_lock);

    void AppendRelations(ModuleParamList& params, ModuleParamList& copy) const;
    void RestoreRelations(ModuleParamList& params) const;
    [[nodiscard]] bool Append(ModuleParamList& params, std::string_view id) const;
    [[nodiscard]] const CameraDeviceInfo* HandOut(const CameraDeviceInfo& device) EXCLUDES(m_lock);

    void TakeSavedDevice(const SAVE_MODULE_DATA_PARAM& record);
    void WaitForSavedCamera();

    const CMyCamera& m_camera;
    CameraConnection& m_connection;
    Reconnection& m_reconnection;
    const ReceiverRegistry& m_receivers;
    const StopGate& m_stopGate;
    const Notices& m_notices;
    const Settings& m_settings;
    ModuleEvents& m_events;
    const SetParamFunction m_setParam;

    mutable Lock m_lock{LockRank::Leaf, "saved data"};
    Params m_pLoadParamRecord GUARDED_BY(m_lock);  // null: nothing loaded or saved yet
    // One record per camera: a host thread may still read what another thread's save returned.
    std::list<CameraDeviceInfo> m_handedOut GUARDED_BY(m_lock);
};

}  // namespace cam
