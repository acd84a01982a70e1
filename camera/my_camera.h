// One handle of the camera SDK, safe to use from every thread of the module.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>

#include "base/lock.h"
#include "base/log.h"
#include "base/relaxed.h"
#include "base/text.h"
#include "camera/sdk/kz_camera_control.h"
#include "camera/stop_gate.h"
#include "module/framework/status_codes.h"
#include "platform/event.h"

namespace cam {

inline constexpr std::size_t kCameraTextSize = 64;
using CameraText = FixedText<kCameraTextSize>;

// Every operation holds the camera lock, so that the handle is never used while another thread
// opens, closes or replaces it; only the SDK is called under it. Operations return 0, the SDK's
// code unchanged, or kInvalid: no camera open, a null pointer, a thread of the SDK that gave way to
// a stop, or a frame or event thread, which must not stop the camera.
class CMyCamera {
  public:
    explicit CMyCamera(StopGate& stopGate) : m_stopGate(stopGate) {}
    ~CMyCamera();
    CMyCamera(const CMyCamera&) = delete;
    CMyCamera& operator=(const CMyCamera&) = delete;

    // Close the open camera, then open this one; a failure leaves none open. GigE cameras get the
    // SDK's optimal packet size.
    [[nodiscard]] Status Open(const CameraDeviceInfo* record);
    [[nodiscard]] Status Open(const GenTLDeviceInfo* record);
    // kOk without an open camera, too.
    [[nodiscard]] Status Close();

    // Destroys the handle of a lost camera without closing the device. `openId` is the OpenId()
    // when the loss was detected: a camera opened since then is not touched. False: gave way, and
    // the handle still exists.
    [[nodiscard]] bool DropLost(std::uint32_t openId);

    // 0 when no camera is open.
    [[nodiscard]] Status StartGrabbing();
    [[nodiscard]] Status StopGrabbing();

    [[nodiscard]] Status RegisterImageCallBack(KZImageCallback callback, void* user);
    [[nodiscard]] Status RegisterExceptionCallBack(KZExceptionCallback callback, void* user);
    [[nodiscard]] Status RegisterEventCallBack(const char* eventName, KZEventCallback callback,
                                               void* user);

    [[nodiscard]] Status SetIntValue(const char* name, std::uint32_t value);
    [[nodiscard]] Status SetFloatValue(const char* name, float value);
    [[nodiscard]] Status SetEnumValue(const char* name, std::uint32_t value);
    [[nodiscard]] Status SetEnumValueByString(const char* name, const char* entry);
    [[nodiscard]] Status SetBoolValue(const char* name, bool value);
    [[nodiscard]] Status SetStringValue(const char* name, const char* value);
    [[nodiscard]] Status SetCommandValue(const char* name);

    // Cut to `size` - 1 characters; untouched on failure.
    [[nodiscard]] Status GetStringValue(const char* name, char* destination, std::size_t size);
    [[nodiscard]] Status GetNodeInterfaceType(const char* name, KZNodeType* type);
    [[nodiscard]] Status GetIntValue(const char* name, KZIntValue* value);
    [[nodiscard]] Status GetFloatValue(const char* name, KZFloatValue* value);
    [[nodiscard]] Status GetEnumValue(const char* name, KZEnumValue* value);
    [[nodiscard]] Status GetBoolValue(const char* name, bool* value);
    [[nodiscard]] Status GetWidth(KZIntValue* value);
    [[nodiscard]] Status GetHeight(KZIntValue* value);
    [[nodiscard]] Status GetAllMatchInfo(KZMatchInfo* info);

    [[nodiscard]] Status SetTransmissionType(std::uint32_t type);

    // Sets the I/O lines of a line set (2: lines 0 to 2; 3: lines 1 to 4; others: lines 1 and 2) to
    // strobe output, inverted when `invert` is 1. Stops at the first failure, which is logged.
    Status ReverseElecLevel(std::int32_t lineSet, std::int32_t invert);

    // Multicast streaming without trigger for a live view; frames then bypass the module. The grab
    // keeper restarts the camera.
    void EnterRealTimeMode();
    void ExitRealTimeMode();

    // For the frame callback, without the camera lock: the SDK keeps the handle until the callback
    // returns.
    [[nodiscard]] Status DecodeFrame(HbDecodeParam* param);
    // For the frame callback: gives up with kInvalid while a stop or close is under way.
    [[nodiscard]] Status ConvertPixelType(PixelConvertParam* param);

    // True only once the SDK has opened the device.
    [[nodiscard]] bool IsOpen() const { return m_handle.load() != nullptr; }
    [[nodiscard]] bool IsGrabbing() const { return m_grabbing.Get(); }
    [[nodiscard]] bool InRealTimeMode() const { return m_realTime.Get(); }
    // Identifies one opening of a camera; 0 before the first and after a close. A lost camera keeps
    // its id until another is opened.
    [[nodiscard]] std::uint32_t OpenId() const { return m_openId.load(); }

    // Identifies the camera in reports and log lines; empty after Close and for a camera opened by
    // address.
    [[nodiscard]] const std::string& Key() const { return m_key.Get(); }
    void SetKey(std::string_view key) { m_key.Set(key.substr(0, kCameraTextSize - 1)); }

    void SetModuleId(std::int32_t moduleId) { m_moduleId.Set(moduleId); }

    // While one exists the grab keeper leaves the camera stopped: some features are writable only
    // then, and the camera must not stream before it is set up.
    class Configuration {
      public:
        explicit Configuration(CMyCamera& camera);
        ~Configuration();
        Configuration(const Configuration&) = delete;
        Configuration& operator=(const Configuration&) = delete;

      private:
        CMyCamera& m_camera;
    };

    // The grab keeper's StartGrabbing, also tried when no camera is open; does nothing while one is
    // being set up. Sets both events after an attempt, under the camera lock: a request to a camera
    // opened next must not take them for its own frame's. If the camera already grabs, only
    // `grabStarted` is set: its reset may come from a stop that failed or had nothing to do.
    [[nodiscard]] Status ResumeGrabbing(platform::Event& imageArrived,
                                        platform::Event& grabStarted);

  private:
    // The camera lock for a call that stops the camera, announced while it is held. A thread of the
    // SDK takes the lock first, so as not to give way to itself.
    class SCOPED_CAPABILITY StopGuard {
      public:
        explicit StopGuard(CMyCamera& camera) ACQUIRE(camera.m_lock) NO_THREAD_SAFETY_ANALYSIS;
        ~StopGuard() RELEASE() NO_THREAD_SAFETY_ANALYSIS;
        StopGuard(const StopGuard&) = delete;
        StopGuard& operator=(const StopGuard&) = delete;

        [[nodiscard]] explicit operator bool() const { return m_held; }

      private:
        CMyCamera& m_camera;
        bool m_held;
        std::optional<StopGate::Stop> m_stop;
    };

    // Runs `call` with the open handle under the camera lock.
    template <typename Call>
    [[nodiscard]] Status WithHandle(Call&& call) {
        const StopGate::Guard hold(m_stopGate, m_lock);
        const KZHandle handle = m_handle.load();
        return hold && handle != nullptr ? call(handle) : kInvalid;
    }

    // An SDK function on the open handle, none of whose pointers may be null.
    template <typename... Params, typename... Args>
    [[nodiscard]] Status Call(std::uint32_t (*function)(KZHandle, Params...), Args... args) {
        if ((IsNull(args) || ...)) {
            return kInvalid;
        }
        return WithHandle([&](KZHandle handle) { return function(handle, args...); });
    }

    template <typename Arg>
    [[nodiscard]] static bool IsNull(Arg arg) {
        if constexpr (std::is_pointer_v<Arg>) {
            return arg == nullptr;
        } else {
            return false;
        }
    }

    template <typename Record>
    [[nodiscard]] Status OpenAs(std::uint32_t (*create)(KZHandle*, const Record*),
                                const char* createName, const Record* record,
                                std::uint32_t accessMode);
    void SetOptimalPacketSize(KZHandle handle) REQUIRES(m_lock);
    void SetTriggerMode(bool on);

    void CloseHandle() REQUIRES(m_lock);

    StopGate& m_stopGate;
    ReentrantLock m_lock{LockRank::Camera, "camera"};
    std::atomic<int> m_configurations{0};
    // Written under the lock; read without it by the frame callback and for hints.
    std::atomic<KZHandle> m_handle{nullptr};
    std::atomic<std::uint32_t> m_openId{0};
    std::uint32_t m_lastOpenId GUARDED_BY(m_lock) = 0;
    Relaxed<bool> m_grabbing{false};
    Relaxed<bool> m_realTime{false};

    InternedText m_key;  // one value per camera that was ever open
    Relaxed<std::int32_t> m_moduleId{kNoModuleId};
};

}  // namespace cam
