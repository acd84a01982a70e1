// The module object: the map of the module. It owns the pieces and carries the sequences that need
// several of them; each sequence stands in the folder of its subject.
//
//   module/camera_module.cpp    construction, Init, DeInit, the grab keeper, the notify event
//   module/notices.cpp          what the host is told
//   camera/enumeration.cpp      EnumDevices, GetCameraList
//   camera/connection.cpp       ConnectDevice, SetDeviceValue, ConnectCameraByIP, CloseCurCamera
//   camera/reconnection.cpp     cbException, ReConnectDevice, EventCallBack
//   imaging/intake.cpp          DoImageCallBack, ConvertPixelFormat
//   imaging/delivery.cpp        GetImage, SoftTrigger, the run-by-camera loop
//   params/catalogue.cpp        GetParam
//   params/commands.cpp         SetParam
//   params/persistence.cpp      SaveModuleData, LoadModuleData
//
// Order of the locks; whoever holds one takes only those behind it:
//   GetImage -> connection -> parameter -> node-info -> image-list -> camera or buffer
// The connection lock stands ahead of so many because an open replays saved parameters, and because
// the host may call back in from its notices; only GetImage is then tried instead of taken. The
// machine-wide enumeration mutex comes behind the connection lock. The locks inside worker threads,
// local images, saved data and texts come last and alone.
//
// The frame thread does not wait for a lock that a thread may hold while it waits for the frame
// callback: CMyCamera::LockUnlessStopping takes the camera, parameter, connection and GetImage
// locks.
//
// No framework function is called under the parameter lock or one behind it, because the host may
// call back into the module from inside any of them; the one exception is the question for the
// number of buffer nodes, when intake adds one.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "camera/callback_gate.h"
#include "camera/device_tables.h"
#include "camera/my_camera.h"
#include "imaging/buf_manager.h"
#include "imaging/buffer_node.h"
#include "imaging/image_queue.h"
#include "imaging/receiver_registry.h"
#include "module/framework/module_frame.h"
#include "module/framework/status_codes.h"
#include "module/shared_values.h"
#include "module/worker_thread.h"
#include "params/local_images.h"
#include "params/saved_data.h"
#include "params/settings.h"
#include "platform/event.h"
#include "platform/lock.h"

namespace cam {

class CCameraModule final : public UserModule<CCameraModule> {
  public:
    CCameraModule();
    ~CCameraModule();  // NOLINT(modernize-use-override): on Windows it overrides nothing

    // The host's operations; any host thread, several at once. Nothing is thrown.
    std::uint32_t GetParam(const char* key, char* value, std::int32_t size,
                           std::uint32_t* length) override;
    std::uint32_t SetParam(const char* key, const char* value, std::int32_t size) override;
    std::uint32_t GetCurrentConfig(ModuleParamList* list) override;
    std::uint32_t SaveModuleData(SAVE_MODULE_DATA_PARAM* record) override;
    std::uint32_t LoadModuleData(SAVE_MODULE_DATA_PARAM* record) override;
    std::uint32_t Init() override;
    // Harmless when repeated or after a failed Init. When it returns, no thread of the module runs
    // and no callback of the SDK reaches it: it waits for both, so not from inside a notice.
    std::uint32_t DeInit() override;

    // The framework's notify event; `context` is the module.
    static std::uint32_t NotifyEvent(std::int32_t event, void* argument, void* context);

    // The SDK's callbacks; `user` is the module.
    static void ImageCallBack(std::uint8_t* data, FrameOutInfo* info, void* user);
    static void cbException(std::uint32_t messageType, void* user);
    static void EventCallBack(KZEventInfo* event, void* user);

  private:
    // The rows of the two parameter tables.
    friend struct ParamCatalogue;
    friend struct ParamCommands;

    [[nodiscard]] std::int32_t ModuleId() const { return m_nModuleId.Get(); }

    // Life cycle
    [[nodiscard]] Status InitOrThrow();
    [[nodiscard]] Status CreateEvents();
    [[nodiscard]] Status StartWorkers();
    [[nodiscard]] Status ApplyDefaultConfig();
    void KeepGrabbing();

    // Notices to the host; a failure is logged in the name of `function` and changes nothing.
    void ReportFrame(std::uint32_t frameNumber);
    void ReportFrameStarted();
    void ReportCameraOn(const char* function);
    void ReportCameraOff(const char* function, const CameraText& serial);
    void ReportCameraSource(const char* function, const char* text);
    void PublishCameraOnline(const char* function);
    void PublishCameraOffline(const char* function);

    // Enumeration and camera choice list
    [[nodiscard]] Status EnumDevices();
    [[nodiscard]] Status EnumPlainDevices() REQUIRES(m_connectionLock);
    [[nodiscard]] Status EnumGenTLDevices() REQUIRES(m_connectionLock);
    [[nodiscard]] Status GetCameraList(char* buffer, std::int32_t capacity, std::uint32_t* length);

    // Connection. `function` is whose steps these are, for log lines. After the open every failure
    // is logged and passed over.
    [[nodiscard]] Status ConnectDevice(const CameraDeviceInfo& record);
    [[nodiscard]] Status SetDeviceValue(std::string_view value);
    // Tries the choice whose open failed once more, unless a camera is open by now.
    [[nodiscard]] Status RetryPendingSelection();
    [[nodiscard]] Status ConnectCameraByIP();
    void CloseCurCamera();
    // Whether this is the frame thread, for which the SDK's stop would wait: logged in the name of
    // `function`, and nothing is opened or closed.
    [[nodiscard]] bool RefusedInFrameCallback(const char* function) const;
    [[nodiscard]] Status OpenSelected(std::string_view serial) REQUIRES(m_connectionLock);
    [[nodiscard]] Status OpenRecord(const CameraDeviceInfo& record, const char* function)
        REQUIRES(m_connectionLock);
    void TakeIdentity(const DeviceIdentity& identity);
    void Configure(const char* function) REQUIRES(m_connectionLock);
    void ConfigureByAddress(DeviceIdentity identity) REQUIRES(m_connectionLock);
    void ForgetWrittenValues() { m_setUpCount.Set(m_setUpCount.Get() + 1); }
    void LoadUserSet(const char* function);
    void KeepHeartbeat(const char* function);
    void StopForConfiguration(const char* function);
    void SetTriggerModeOn(const char* function);
    void RegisterFrameCallBacks(const char* function);
    void ReenterRealTimeMode();
    void StartConfigured(const char* function);
    void ReplaySavedParams() REQUIRES(m_connectionLock);

    // Reconnection
    // `openId` is CMyCamera::OpenId when the loss was seen.
    void HandleDisconnect(std::uint32_t openId);
    void StartReconnect();
    void StopLastReconnect();
    void ReConnectDevice();
    // The serial number as far as a GigE Vision record holds it.
    [[nodiscard]] CameraText SoughtSerial() const;
    [[nodiscard]] bool ReconnectWanted(std::string_view serial) const;
    [[nodiscard]] bool ReconnectOnce(const CameraText& serial);

    // Intake, on the SDK's frame thread. False ends the frame; the reason is logged.
    void DoImageCallBack(std::uint8_t* data, const FrameOutInfo* info);
    [[nodiscard]] bool TakeFrame(std::uint8_t* data, const FrameOutInfo& info)
        REQUIRES(m_imageQueue.m_lock);
    [[nodiscard]] bool DecodeFrame(const FrameOutInfo& info, BufferNode& source)
        REQUIRES(m_imageQueue.m_lock);
    [[nodiscard]] bool GetOutputNode(const FrameOutInfo& info, std::uint64_t length,
                                     BufferNode& output) REQUIRES(m_imageQueue.m_lock);
    [[nodiscard]] bool FillOutputNode(const FrameOutInfo& info, const BufferNode& source,
                                      std::uint64_t length, BufferNode& output)
        REQUIRES(m_imageQueue.m_lock);
    [[nodiscard]] bool AddNode(std::uint64_t size, std::uint32_t frameNumber, BufferNode& node)
        REQUIRES(m_imageQueue.m_lock);
    [[nodiscard]] bool TakeFreeNode(std::uint64_t size, CBufManager::Fit fit,
                                    std::uint32_t frameNumber, BufferNode& node)
        REQUIRES(m_imageQueue.m_lock);
    [[nodiscard]] bool ResizeNode(std::uint64_t size, std::uint32_t frameNumber, BufferNode& node)
        REQUIRES(m_imageQueue.m_lock);
    [[nodiscard]] Status ConvertPixelFormat(const BufferNode& source, BufferNode& output);

    // Delivery
    [[nodiscard]] BufferNode GetImage();
    [[nodiscard]] BufferNode GetImageLocked() REQUIRES(m_getImageLock);
    [[nodiscard]] Status ConnectPending();
    [[nodiscard]] Status WaitForTriggeredImage();
    [[nodiscard]] Status SoftTrigger();
    void StartImageProcessingThread();
    void DispatchFrames() REQUIRES(m_getImageLock);
    void SetTriggerProcessRunStatus(bool run);
    void FreeNode(const BufferNode& node);
    void ClearImageQueue();

    // Saved data
    void SaveRelations(ModuleParamList& params, ModuleParamList* copy) REQUIRES(m_receivers.m_lock);
    void KeepLoadedParams(const ModuleParamList& params);
    [[nodiscard]] std::int32_t RelationIndex(const ModuleParamList& kept, std::string_view id) const
        REQUIRES(m_receivers.m_lock);
    void TakeSavedDevice(const SAVE_MODULE_DATA_PARAM& record);
    void WaitForSavedCamera();
    [[nodiscard]] std::optional<CameraDeviceInfo> FindDevice(std::string_view key) const
        REQUIRES(m_connectionLock);

    // Stops a stream that must not run while the named feature changes; the grab keeper restarts
    // it.
    [[nodiscard]] Status StopGrabbingForParam(std::string_view name) REQUIRES(m_parameterLock);

    Setting<std::int32_t> m_nModuleId{0};

    // The camera and what it last was; the texts survive closing.
    CMyCamera m_camera;
    SharedText<kCameraTextSize> m_serial;
    SharedText<kCameraTextSize> m_model;
    SharedText<kCameraTextSize> m_manufacturer;
    Setting<std::uint32_t> m_transportType{0};
    Setting<bool> m_closedByUser{false};
    Setting<std::uint32_t> m_lossSeen{0};  // CMyCamera::OpenId of the latest loss

    Settings m_settings;
    Setting<bool> m_bGenTL{false};            // enumerate through GenTL producers
    SharedText<kPathTextSize> m_szGenTLPath;  // where they are; UTF-8

    // The connection lock: held for the whole of every enumeration, open and close.
    platform::RecursiveLock m_connectionLock ACQUIRED_AFTER(m_getImageLock);
    DeviceTables m_devices GUARDED_BY(m_connectionLock);
    bool m_enumerating GUARDED_BY(m_connectionLock) = false;
    bool m_replaying GUARDED_BY(m_connectionLock) = false;

    // The choice whose open failed; GetImage tries it again.
    SharedText<kFrameworkValueSize> m_pendingSelection;

    SavedData m_savedData;
    std::int32_t m_savedRelationIndex GUARDED_BY(m_receivers.m_lock) = -1;
    CameraDeviceInfo m_handedOutDevice GUARDED_BY(m_receivers.m_lock){};  // see SaveModuleData

    // Features are written and grabbing is restarted one at a time.
    platform::RecursiveLock m_parameterLock ACQUIRED_AFTER(m_connectionLock);
    // What was last written, so that the same value is not written again; it counts only for the
    // open camera it was written to, because the next one, or the same again, has values of its
    // own.
    struct WrittenValue {
        float value = 0;
        std::uint32_t setUp = 0;
    };
    Setting<std::uint32_t> m_setUpCount{1};
    WrittenValue m_lastExposure GUARDED_BY(m_parameterLock);
    WrittenValue m_lastGain GUARDED_BY(m_parameterLock);

    // Frames
    CBufManager m_bufManager;
    ImageQueue m_imageQueue;
    ReceiverRegistry m_receivers;
    LocalImages m_localImages;
    platform::RecursiveLock m_getImageLock;  // one GetImage, or one dispatch pass, at a time
    // Whom the frame under way is offered to; kept to reuse its room.
    std::vector<std::int32_t> m_offeredTo GUARDED_BY(m_getImageLock);

    // Opened by Init, closed by DeInit.
    platform::Event ImageArrivedEvent;   // a frame was queued, or grabbing restarted
    platform::Event ReconnectStopEvent;  // the reconnect thread's pause; set after an open
    platform::Event GrabStartedEvent;    // reset whenever grabbing is stopped on purpose
    platform::Event WakeEvent;           // the workers' pause
    platform::Event EventDeinit;         // set while no frame is in the module's hands

    CallbackGate m_callbackGate;  // for exception and event callbacks; open from Init to DeInit

    WorkerThread m_thGrabbing;
    WorkerThread m_thImageProcessing;
    WorkerThread m_thReconnect;
};

}  // namespace cam
