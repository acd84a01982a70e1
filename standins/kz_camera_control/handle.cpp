#include "standins/kz_camera_control/handle.h"

#include <utility>

namespace kz {

CameraHandle::CameraHandle(Identity identity, Opener opener,
                           std::shared_ptr<CallInterceptor> interceptor)
    : m_identity(std::move(identity)),
      m_opener(std::move(opener)),
      m_interceptor(std::move(interceptor)) {}

Code CameraHandle::Open(const Call& call, std::uint32_t accessMode) {
    return Serialised(call, [&]() -> Code {
        if (m_device) {
            return KZ_CC_E_CALL_ORDER;
        }
        const Code code = m_opener(accessMode, m_callbacks->Open(), m_device);
        if (code != KZ_CC_OK) {
            CloseDevice();
        }
        return code;
    });
}

Code CameraHandle::Close(const Call& call) {
    return SerialisedStop(call, [&]() -> Code {
        if (!m_device) {
            return KZ_CC_E_CALL_ORDER;
        }
        CloseDevice();
        return KZ_CC_OK;
    });
}

Code CameraHandle::Destroy(const Call& call) {
    return SerialisedStop(call, [&]() -> Code {
        CloseDevice();
        m_callbacks->Shutdown();
        m_destroyed = true;
        return KZ_CC_OK;
    });
}

Code CameraHandle::StartGrabbing(const Call& call) {
    return WithDevice(call, [&](Device& device) -> Code {
        if (m_grabbing) {
            return KZ_CC_E_CALL_ORDER;
        }
        const Code code = device.Start();
        m_grabbing = code == KZ_CC_OK;
        return code;
    });
}

Code CameraHandle::StopGrabbing(const Call& call) {
    return SerialisedStop(call, [&]() -> Code {
        if (!m_device) {
            return KZ_CC_E_CALL_ORDER;
        }
        if (!m_grabbing) {
            return KZ_CC_OK;
        }
        m_grabbing = false;
        return m_device->Stop();
    });
}

Code CameraHandle::RegisterImage(const Call& call, KZImageCallback callback, void* user) {
    return Serialised(call, [&]() -> Code {
        m_callbacks->SetImage(callback, user);
        return KZ_CC_OK;
    });
}

Code CameraHandle::RegisterException(const Call& call, KZExceptionCallback callback, void* user) {
    return Serialised(call, [&]() -> Code {
        m_callbacks->SetException(callback, user);
        return KZ_CC_OK;
    });
}

Code CameraHandle::RegisterEvent(const Call& call, const char* name, KZEventCallback callback,
                                 void* user) {
    return WithDevice(call, [&](Device& device) -> Code {
        const Code code = callback == nullptr ? KZ_CC_OK : device.EnableEvent(name);
        if (code == KZ_CC_OK) {
            m_callbacks->SetEvent(name, callback, user);
        }
        return code;
    });
}

Code CameraHandle::Unserialised(const Call& call) const {
    return m_interceptor ? m_interceptor->Enter(call) : KZ_CC_OK;
}

void CameraHandle::CloseDevice() {
    m_device = nullptr;
    m_grabbing = false;
    m_callbacks->Close();
}

}  // namespace kz
