// The module object that the host holds: its pieces and how they are connected.
#pragma once

#include <cstdint>

#include "base/lock_order.h"
#include "base/module_events.h"
#include "base/notices.h"
#include "base/settings.h"
#include "camera/callback_gate.h"
#include "camera/camera_connection.h"
#include "camera/grab_keeper.h"
#include "camera/my_camera.h"
#include "camera/reconnection.h"
#include "camera/sdk/kz_camera_control.h"
#include "camera/set_up_gate.h"
#include "camera/stop_gate.h"
#include "imaging/frame_delivery.h"
#include "imaging/frame_intake.h"
#include "imaging/frame_store.h"
#include "imaging/local_images.h"
#include "imaging/receiver_registry.h"
#include "module/framework/module_frame.h"
#include "module/framework/status_codes.h"
#include "params/feature_access.h"
#include "params/keys.h"
#include "params/saved_data.h"

namespace cam {

class CCameraModule final : public UserModule<CCameraModule> {
  public:
    CCameraModule();
    ~CCameraModule();  // NOLINT(modernize-use-override): on Windows it overrides nothing

    // The host's operations; called from any host thread, several at once. None throws.
    std::uint32_t GetParam(const char* key, char* value, std::int32_t size,
                           std::uint32_t* length) override;
    std::uint32_t SetParam(const char* key, const char* value, std::int32_t size) override;
    std::uint32_t GetCurrentConfig(ModuleParamList* list) override;
    std::uint32_t SaveModuleData(SAVE_MODULE_DATA_PARAM* record) override;
    std::uint32_t LoadModuleData(SAVE_MODULE_DATA_PARAM* record) override;
    std::uint32_t Init() override;
    // Harmless when repeated or after a failed Init. When it returns, no thread of the module runs
    // and no callback reaches it. It waits for both, so do not call it from inside a notice.
    std::uint32_t DeInit() override;

    // The framework's notify event; `context` is the module.
    static std::uint32_t NotifyEvent(std::int32_t event, void* argument, void* context);

  private:
    // The SDK's callbacks; `user` is the module.
    static void ImageCallBack(std::uint8_t* data, FrameOutInfo* info, void* user);
    static void cbException(std::uint32_t messageType, void* user);
    static void EventCallBack(KZEventInfo* event, void* user);

    [[nodiscard]] std::int32_t ModuleId() const { return m_notices.ModuleId(); }

    [[nodiscard]] Status InitOrThrow();
    [[nodiscard]] Status StartWorkers();
    [[nodiscard]] Status ApplyDefaultConfig();

    // In order of construction; a piece knows only those above it, and is given a function where it
    // has to reach one below.
    lock_order::Domain m_locks{this, sizeof *this};

    // What every piece uses
    Notices m_notices;
    Settings m_settings;
    ModuleEvents m_events;
    StopGate m_stopGate;
    SetUpGate m_setUpGate{m_stopGate};

    // The camera: its handle, which one is open, what happens when it is lost
    CMyCamera m_camera{m_stopGate};
    CameraConnection m_connection;
    Reconnection m_reconnection;
    GrabKeeper m_grabKeeper;

    // Its frames: from the SDK's callback through the store to the host
    ReceiverRegistry m_receivers;
    LocalImages m_localImages;
    FrameStore m_frames;
    FrameIntake m_intake;
    FrameDelivery m_delivery;

    // What the host reads, writes, saves and loads
    FeatureAccess m_features;
    SavedData m_savedData;
    Keys m_keys;

    CallbackGate m_callbackGate;  // open from Init to DeInit
};

}  // namespace cam
