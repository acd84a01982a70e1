#include "module/camera_module.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <new>

#include "imaging/region_name.h"
#include "module/framework/param_list.h"
#include "module/log/log.h"
#include "platform/code_page.h"
#include "platform/shared_mapping.h"

namespace cam {

namespace {

constexpr std::chrono::milliseconds kGrabKeeperPause{200};
constexpr std::chrono::milliseconds kFrameInProgressWait{3000};

// The SDK knows the path by the text that it was loaded with, in the system's code page.
void UnloadGenTL(const char* path) noexcept {
    try {
        KZ_CC_UnloadGenTLLibrary(platform::Utf8ToSystem(path).c_str());
    } catch (...) {
        KZ_CC_UnloadGenTLLibrary(path);
    }
}

}  // namespace

CCameraModule::CCameraModule()
    : m_thGrabbing([this] { KeepGrabbing(); }, &WakeEvent),
      m_thImageProcessing([this] { StartImageProcessingThread(); }),
      m_thReconnect([this] { ReConnectDevice(); }, &ReconnectStopEvent) {}

CCameraModule::~CCameraModule() {
    DeInit();
    const auto path = m_szGenTLPath.Get();
    if (m_bGenTL.Get() && !path.empty()) {
        UnloadGenTL(path.c_str());
        CAM_LOG(kLogInfo, ModuleId(), "CCameraModule::~CCameraModule", "UnloadGenTLLibrary %s",
                path.c_str());
    }
    EventDeinit.Close();
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
    m_nModuleId.Set(moduleId);
    m_camera.SetModuleId(moduleId);
    m_localImages.SetModuleId(moduleId);

    platform::RemoveObjectsOfDeadProcesses(&ProcessOfRegion);
    if (const Status status = CreateEvents(); status != kOk) {
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
        static_cast<void>(EnumDevices());
        if (const Status status = ApplyDefaultConfig(); status != kOk) {
            return status;
        }
    }
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "Init end");
    return kOk;
}

Status CCameraModule::CreateEvents() {
    Status status = kOk;
    for (platform::Event* event :
         {&ImageArrivedEvent, &ReconnectStopEvent, &GrabStartedEvent, &WakeEvent, &EventDeinit}) {
        if (!event->Create()) {
            status |= kNoResources;
        }
    }
    EventDeinit.Set();
    WakeEvent.Reset();
    return status;
}

Status CCameraModule::StartWorkers() {
    m_callbackGate.Open(this);
    m_thImageProcessing.Allow();
    m_thReconnect.Allow();
    return m_thGrabbing.Start() && m_thImageProcessing.Start() ? kOk : kNoResources;
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

void CCameraModule::KeepGrabbing() {
    std::uint32_t lostOpen = 0;
    while (!m_thGrabbing.StopRequested()) {
        const std::uint32_t openId = m_camera.OpenId();
        Status resumed = kOk;
        {
            const platform::LockGuard hold(m_parameterLock);
            resumed = m_camera.ResumeGrabbing(ImageArrivedEvent, GrabStartedEvent);
        }
        if (resumed == KZ_CC_E_DEVICE_LOST) {
            // A camera lost before its open had registered the exception callback: nobody else
            // reports the loss. If the callback is on its way after all, waiting one round lets it
            // report first.
            if (lostOpen == openId && m_lossSeen.Get() != openId) {
                CAM_LOG(kLogError, ModuleId(), "CCameraModule::KeepGrabbing",
                        "(%s)Camera lost, found when grabbing was to start",
                        m_serial.Get().c_str());
                HandleDisconnect(openId);
            }
            lostOpen = openId;
        }
        WakeEvent.WaitFor(kGrabKeeperPause);
    }
}

Status CCameraModule::StopGrabbingForParam(std::string_view name) {
    static constexpr std::string_view kStructural[] = {
        "Height", "Width", "PixelFormat", "GevSCPSPacketSize", "AcquisitionBurstFrameCount",
        "GevSCPD"};
    if (!m_camera.IsGrabbing() ||
        std::find(std::begin(kStructural), std::end(kStructural), name) == std::end(kStructural)) {
        return kOk;
    }
    if (m_camera.StopGrabbing() != kOk) {
        return kInvalid;
    }
    GrabStartedEvent.Reset();
    return kOk;
}

std::uint32_t CCameraModule::DeInit() {
    static constexpr char kFunction[] = "CCameraModule::DeInit";
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "DeInit start");
    m_thImageProcessing.Forbid();
    m_thImageProcessing.RequestStop();
    m_thGrabbing.RequestStop();
    if (m_thImageProcessing.Stop()) {
        CAM_LOG(kLogInfo, ModuleId(), kFunction, "m_thImageProcessing joined");
    }
    if (m_thGrabbing.Stop()) {
        CAM_LOG(kLogInfo, ModuleId(), kFunction, "m_thGrabbing joined");
    }
    static_cast<void>(m_camera.RegisterImageCallBack(nullptr, this));
    static_cast<void>(m_camera.StopGrabbing());
    if (EventDeinit.IsOpen() && !EventDeinit.WaitFor(kFrameInProgressWait)) {
        CAM_LOG(kLogError, ModuleId(), kFunction, "EventDeinit wait 3000 ms time out");
    }
    CloseCurCamera();
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "CloseCurCamera finish");
    m_thReconnect.Forbid();
    StopLastReconnect();
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "StopLastReconnect finish");
    m_callbackGate.CloseAndWait();
    if (m_camera.IsOpen()) {
        // A reconnect attempt was faster than its stop.
        CloseCurCamera();
    }
    m_localImages.Clear();
    ClearImageQueue();
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "ClearImage finish");
    for (platform::Event* event :
         {&ImageArrivedEvent, &ReconnectStopEvent, &GrabStartedEvent, &WakeEvent}) {
        event->Close();
    }
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "CloseHandle finish");
    m_savedData.SetParams(nullptr);
    CAM_LOG(kLogInfo, ModuleId(), kFunction, "delete m_pLoadParamRecord finish");
    return kOk;
}

std::uint32_t CCameraModule::NotifyEvent(std::int32_t event, void*, void* context) {
    if (context == nullptr) {
        return kOk;
    }
    if (event == kNotifyRelationsChanged) {
        try {
            static_cast<CCameraModule*>(context)->m_receivers.LookUpReceivers();
        } catch (...) {
            CAM_LOG(kLogError, static_cast<CCameraModule*>(context)->ModuleId(),
                    "CCameraModule::NotifyEvent", "Receivers not updated, out of memory");
        }
    }
    return kNotifyAnswer;
}

}  // namespace cam
