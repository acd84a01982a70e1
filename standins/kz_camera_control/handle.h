// The object behind one KZHandle.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "standins/kz_camera_control/call_interceptor.h"
#include "standins/kz_camera_control/camera.h"
#include "standins/kz_camera_control/handle_callbacks.h"

namespace kz {

// Created -> open -> grabbing -> open -> created -> destroyed. Calls in another order return
// KZ_CC_E_CALL_ORDER. One lock serialises the calls; it is held while stopping waits for the frame
// callback in progress, so the caller of a stop must not hold what the callback waits for.
class CameraHandle {
  public:
    // Opens the camera that the handle was made for.
    using Opener = std::function<Code(std::uint32_t accessMode, DeviceSink sink,
                                      std::unique_ptr<Device>& device)>;

    // What the handle was created for; either form may name it.
    struct Identity {
        std::string serial;
        std::uint32_t ip = 0;  // 0: no GigE camera
    };

    // `interceptor` is null for a camera whose calls are not intercepted.
    CameraHandle(Identity identity, Opener opener, std::shared_ptr<CallInterceptor> interceptor);

    [[nodiscard]] const Identity& MadeFor() const { return m_identity; }

    Code Open(const Call& call, std::uint32_t accessMode);
    Code Close(const Call& call);
    // Every call on a destroyed handle returns KZ_CC_E_HANDLE.
    Code Destroy(const Call& call);
    Code StartGrabbing(const Call& call);
    Code StopGrabbing(const Call& call);

    Code RegisterImage(const Call& call, KZImageCallback callback, void* user);
    Code RegisterException(const Call& call, KZExceptionCallback callback, void* user);
    Code RegisterEvent(const Call& call, const char* name, KZEventCallback callback, void* user);

    // `body(device)`, for an open device.
    template <typename Body>
    Code WithDevice(const Call& call, Body&& body) {
        return Serialised(
            call, [&]() -> Code { return m_device ? body(*m_device) : KZ_CC_E_CALL_ORDER; });
    }

    // For calls that a frame callback makes while another thread may be stopping: not serialised.
    Code Unserialised(const Call& call) const;
    // What such a call that gave `length` bytes says that it gave.
    [[nodiscard]] std::uint32_t Claimed(std::uint32_t length) const {
        return m_interceptor ? m_interceptor->Claimed(length) : length;
    }

  private:
    template <typename Body>
    Code Serialised(const Call& call, Body&& body) {
        const std::lock_guard lock(m_mutex);
        if (m_destroyed) {
            return KZ_CC_E_HANDLE;
        }
        const Code answer = Unserialised(call);
        return answer == KZ_CC_OK ? body() : answer;
    }
    // The same for a call that waits for the frame callback, which must not wait for itself.
    template <typename Body>
    Code SerialisedStop(const Call& call, Body&& body) {
        if (m_callbacks->InFrameCallback()) {
            return KZ_CC_E_CALL_ORDER;
        }
        return Serialised(call, [&]() -> Code {
            const Code code = body();
            if (m_interceptor && m_interceptor->StopsWaitForNotices()) {
                m_callbacks->WaitForNotice();
            }
            return code;
        });
    }
    void CloseDevice();

    const Identity m_identity;
    const Opener m_opener;
    const std::shared_ptr<CallInterceptor> m_interceptor;
    const std::shared_ptr<HandleCallbacks> m_callbacks = std::make_shared<HandleCallbacks>();

    std::mutex m_mutex;  // guards the members below
    std::unique_ptr<Device> m_device;
    bool m_grabbing = false;
    bool m_destroyed = false;
};

}  // namespace kz
