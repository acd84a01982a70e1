#include "module/camera_module.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <new>

#include "base/log.h"
#include "base/text.h"
#include "imaging/region_name.h"
#include "params/param_list.h"
#include "platform/code_page.h"
#include "platform/shared_mapping.h"

namespace cam {

namespace {

constexpr std::chrono::milliseconds kFrameInProgressWait{3000};

// The SDK identifies the path by the text it was loaded with, in the system's code page.
void UnloadGenTL(const char* path) noexcept {
    try {
        KZ_CC_UnloadGenTLLibrary(platform::Utf8ToSystem(path).c_str());
    } catch (...) {
        KZ_CC_UnloadGenTLLibrary(path);
    }
}

}  // namespace

CCameraModule::CCameraModule()
    : m_connection(
          m_camera, m_stopGate, m_setUpGate, m_notices, m_settings, m_events,
          SdkCallbacks{&ImageCallBack, &cbException, &EventCallBack, this},
          [this] { m_savedData.Replay(); }, [this] { m_reconnection.StartReconnect(); }),
      m_reconnection(m_camera, m_connection, m_stopGate, m_notices, m_settings, m_events),
      m_grabKeeper(m_camera, m_reconnection, m_notices, m_events),
      m_frames(m_notices, m_events.ImageArrivedEvent),
      m_intake(m_camera, m_stopGate, m_frames, m_receivers, m_notices, m_settings, m_events),
      m_delivery(m_camera, m_connection, m_stopGate, m_frames, m_receivers, m_localImages,
                 m_notices, m_settings, m_events),
      m_features(m_camera, m_connection, m_stopGate, m_setUpGate, m_frames, m_notices, m_events),
      m_savedData(m_camera, m_connection, m_reconnection, m_receivers, m_stopGate, m_notices,
                  m_settings, m_events,
                  [this](const char* name, const char* value, std::int32_t size) {
                      return SetParam(name, value, size);
                  }),
      m_keys(KeyContext{m_notices, m_settings, m_events, m_camera, m_setUpGate, m_connection,
                        m_frames, m_delivery, m_localImages, m_receivers, m_features}) {}

CCameraModule::~CCameraModule() {
    DeInit();
    const auto path = m_connection.GenTLPath();
    if (m_connection.UsesGenTL() && !path.empty()) {
        UnloadGenTL(path.c_str());
        CAM_LOG(kLogInfo, ModuleId(), "CCameraModule::~CCameraModule", "UnloadGenTLLibrary %s",
                path.c_str());
    }
    m_events.EventDeinit.Close();
}

std::uint32_t CCameraModule::Init() {
    Status status = kOk;
    try {
        status = InitOrThrow();
    } catch (...) {
        status = kNoResources;
    }
    if (status != kOk) {
        CAM_LOG(kLogError, ModuleId(), "CCameraModule::Init", "Init failed.nRet:[%x]", status);
    }
    return status;
}

Status CCameraModule::InitOrThrow() {
    static constexpr char kFunction[] = "CCameraModule::Init";
    std::int32_t moduleId = 0;
    if (const Status status = CQ_M_GetModuleId(m_hModule, &moduleId); status != kOk) {
        return status;
    }
    m_notices.Attach(m_hModule, moduleId);
    m_camera.SetModuleId(moduleId);
    m_localImages.SetModuleId(moduleId);

    platform::RemoveObjectsOfDeadProcesses(&ProcessOfRegion);
    if (const Status status = m_events.Create(); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), kFunction, "Create Event failed, nRet #%x", status);
        return status;
    }
    if (const Status status = StartWorkers(); status != kOk) {
        return status;
    }

    std::int32_t cause = 0;
    if (const Status status = CQ_M_GetCreateModuleCause(m_hModule, &cause); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), kFunction, "Get create module cause failed, error code=0x%x",
                status);
        return status;
    }
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "CreateModuleCause      succ");
    if (cause != kCreateCauseNoEnumeration) {
        static_cast<void>(m_connection.EnumDevices());
        if (const Status status = ApplyDefaultConfig(); status != kOk) {
            return status;
        }
    }
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "Init end");
    return kOk;
}

Status CCameraModule::StartWorkers() {
    m_callbackGate.Open(this);
    m_delivery.Allow();
    m_reconnection.Allow();
    return m_grabKeeper.Start() && m_delivery.Start() ? kOk : kNoResources;
}

Status CCameraModule::ApplyDefaultConfig() {
    static constexpr char kFunction[] = "CCameraModule::Init";
    static constexpr std::string_view kWaitKey = "WaitForConnectingTime";
    const std::unique_ptr<ModuleParamList> list(new (std::nothrow) ModuleParamList{});
    if (list == nullptr) {
        CAM_LOG(kLogError, ModuleId(), kFunction, "Create resource failed.");
        return kNoResources;
    }
    if (const Status status =
            CQ_M_GetDefaultConfigByFile(m_hModule, kModuleConfigFile, list.get(), 0);
        status != kOk) {
        CAM_LOG(kLogError, ModuleId(), kFunction,
                "Get default config from file failed, error code=0x%x", status);
        return status;
    }
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "strValueInfoList.nNum,%d", list->nNum);
    const auto entries = EntriesOf(*list);
    const auto entry = std::find_if(entries.begin(), entries.end(), [](const auto& candidate) {
        return FieldText(candidate.name) == kWaitKey;
    });
    if (entry != entries.end()) {
        const std::string_view value = FieldText(entry->value);
        static_cast<void>(
            SetParam(kWaitKey.data(), entry->value, static_cast<std::int32_t>(value.size())));
    }
    return kOk;
}

std::uint32_t CCameraModule::DeInit() {
    static constexpr char kFunction[] = "CCameraModule::DeInit";
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "DeInit start");
    if (m_delivery.End()) {
        CAM_LOG(kLogInfo, ModuleId(), kFunction, "m_thImageProcessing joined");
    }
    if (m_grabKeeper.Stop()) {
        CAM_LOG(kLogInfo, ModuleId(), kFunction, "m_thGrabbing joined");
    }
    static_cast<void>(m_camera.RegisterImageCallBack(nullptr, this));
    static_cast<void>(m_camera.StopGrabbing());
    if (m_events.EventDeinit.IsOpen() && !m_events.EventDeinit.WaitFor(kFrameInProgressWait)) {
        CAM_LOG(kLogError, ModuleId(), kFunction, "EventDeinit wait 3000 ms time out");
    }
    m_connection.CloseCurCamera();
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "CloseCurCamera finish");
    m_reconnection.End();
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "StopLastReconnect finish");
    m_callbackGate.CloseAndWait();
    if (m_camera.IsOpen()) {
        // A reconnect attempt was faster than its stop.
        m_connection.CloseCurCamera();
    }
    m_localImages.Clear();
    m_frames.StopPreparing();
    m_frames.Clear();
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "ClearImage finish");
    m_events.Close();
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "CloseHandle finish");
    m_savedData.Forget();
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "delete m_pLoadParamRecord finish");
    return kOk;
}

std::uint32_t CCameraModule::GetParam(const char* key, char* value, std::int32_t size,
                                      std::uint32_t* length) try {
    if (key == nullptr || value == nullptr || length == nullptr) {
        return kInvalid;
    }
    Answer answer(value, size, length);
    return m_keys.Get(key, answer);
} catch (...) {
    CAM_LOG(kLogError, ModuleId(), "CCameraModule::GetParam", "Parameter not read, out of memory");
    return kNoResources;
}

std::uint32_t CCameraModule::SetParam(const char* key, const char* value, std::int32_t size) try {
    if (key == nullptr || value == nullptr) {
        return kInvalid;
    }
    return m_keys.Set(key, Value(value, size));
} catch (...) {
    CAM_LOG(kLogError, ModuleId(), "CCameraModule::SetParam", "Parameter not set, out of memory");
    return kNoResources;
}

std::uint32_t CCameraModule::GetCurrentConfig(ModuleParamList* list) {
    return CQ_M_GetCurrentConfigByFile(m_hModule, kModuleConfigFile, list, 0);
}

std::uint32_t CCameraModule::SaveModuleData(SAVE_MODULE_DATA_PARAM* record) try {
    if (record == nullptr) {
        return kInvalid;
    }
    return m_savedData.Save(*record, [&] { CAbstractUserModule::SaveModuleData(record); });
} catch (...) {
    return kNoResources;
}

std::uint32_t CCameraModule::LoadModuleData(SAVE_MODULE_DATA_PARAM* record) try {
    if (record == nullptr) {
        return kInvalid;
    }
    m_savedData.Load(*record);
    return kOk;
} catch (...) {
    return kNoResources;
}

std::uint32_t CCameraModule::NotifyEvent(std::int32_t event, void*, void* context) {
    if (context == nullptr) {
        return kOk;
    }
    // Through the gate: the framework may still be about to call a destroyed module.
    const CallbackGate::Entry entry(context);
    if (entry && event == kNotifyRelationsChanged) {
        auto& module = *static_cast<CCameraModule*>(context);
        try {
            module.m_receivers.LookUpReceivers();
        } catch (...) {
            CAM_LOG(kLogError, module.ModuleId(), "CCameraModule::NotifyEvent",
                    "Receivers not updated, out of memory");
        }
    }
    return kNotifyAnswer;
}

void CCameraModule::ImageCallBack(std::uint8_t* data, FrameOutInfo* info, void* user) {
    if (user != nullptr) {
        static_cast<CCameraModule*>(user)->m_intake.DoImageCallBack(data, info);
    }
}

void CCameraModule::cbException(std::uint32_t messageType, void* user) {
    if (const CallbackGate::Entry entry(user); entry) {
        auto& module = *static_cast<CCameraModule*>(user);
        const StopGate::Callback callback(module.m_stopGate, StopGate::Source::Exception);
        module.m_reconnection.OnException(messageType);
    }
}

void CCameraModule::EventCallBack(KZEventInfo* event, void* user) {
    if (const CallbackGate::Entry entry(user); entry) {
        auto& module = *static_cast<CCameraModule*>(user);
        const StopGate::Callback callback(module.m_stopGate, StopGate::Source::Event);
        module.m_reconnection.OnEvent(event);
    }
}

}  // namespace cam
