#include "camera/camera_connection.h"

#include <algorithm>
#include <string>
#include <utility>

#include "base/log.h"
#include "base/on_exit.h"
#include "camera/camera_list.h"
#include "platform/named_mutex.h"

namespace cam {

namespace {

constexpr char kEnumerate[] = "CCameraModule::EnumDevices";
constexpr char kConnect[] = "CCameraModule::ConnectDevice";
constexpr char kSelect[] = "CCameraModule::SetDeviceValue";
constexpr char kClose[] = "CCameraModule::CloseCurCamera";
constexpr char kConnectByIp[] = "CCameraModule::ConnectCameraByIP";
constexpr char kReconnect[] = "ReConnectDevice";
constexpr char kSetParam[] = "CCameraModule::SetParam";

// The SDK's discovery must not run twice at once on one machine.
constexpr char kEnumerationMutex[] = "Corvane_EnumCamera_Mutex";

// The selection that closes the camera.
constexpr std::string_view kNoSelection = "0";

constexpr std::size_t kMaxAddressText = 16;

// "a.b.c.d" packed a<<24 | b<<16 | c<<8 | d.
std::optional<std::uint32_t> PackAddress(std::string_view text) {
    if (text.size() > kMaxAddressText) {
        return std::nullopt;
    }
    std::uint32_t address = 0;
    for (int field = 0; field < 4; ++field) {
        const auto end = text.find('.');
        if ((end == text.npos) != (field == 3)) {
            return std::nullopt;
        }
        const auto value = ParseInt(text.substr(0, end));
        if (!value || *value < 0 || *value > 255) {
            return std::nullopt;
        }
        address = address << 8 | static_cast<std::uint32_t>(*value);
        text.remove_prefix(end == text.npos ? text.size() : end + 1);
    }
    return address;
}

}  // namespace

CameraConnection::CameraConnection(CMyCamera& camera, StopGate& stopGate, SetUpGate& setUpGate,
                                   const Notices& notices, Settings& settings, ModuleEvents& events,
                                   const SdkCallbacks& callbacks, std::function<void()> replay,
                                   std::function<void()> seekLost)
    : m_camera(camera),
      m_stopGate(stopGate),
      m_setUpGate(setUpGate),
      m_notices(notices),
      m_settings(settings),
      m_events(events),
      m_replay(std::move(replay)),
      m_seekLost(std::move(seekLost)),
      m_setUp(camera, m_identity, notices, settings, events, callbacks) {}

Status CameraConnection::EnumDevices() {
    const Hold hold(*this);
    if (!hold) {
        return kInvalid;
    }
    if (m_enumerating) {
        // Nested on this thread, which holds the machine-wide mutex already.
        CAM_LOG(kLogError, m_notices.ModuleId(), kEnumerate, "Enum device is working now");
        return kOk;
    }
    const platform::NamedMutexHold machine(kEnumerationMutex);
    if (!machine.Owned()) {
        CAM_LOG(kLogError, m_notices.ModuleId(), kEnumerate,
                "Enum goes on without the mutex, sys error=%d", machine.Error());
    }
    m_enumerating = true;
    const OnExit done([this]() NO_THREAD_SAFETY_ANALYSIS { m_enumerating = false; });
    if (m_bGenTL.Get()) {
        return m_devices.EnumerateGenTL(m_notices.ModuleId(),
                                        std::string(m_szGenTLPath.Get().view()));
    }
    return m_devices.EnumeratePlain(m_notices.ModuleId());
}

Status CameraConnection::GetCameraList(char* buffer, std::int32_t capacity, std::uint32_t* length) {
    const Hold hold(*this);
    if (!hold) {
        return kInvalid;
    }
    if (m_devices.plain.Empty() && m_devices.genTL.Empty()) {
        static_cast<void>(EnumDevices());
    }
    const bool useGenTL = m_bGenTL.Get();
    const bool connected = m_camera.IsOpen();
    const CameraText serial = Serial();
    const std::uint32_t openId = m_camera.OpenId();
    const std::string_view connectedSerial = serial.view();
    const CameraList list =
        MakeCameraList(m_devices, useGenTL, connected ? &connectedSerial : nullptr);
    if (!list.connectedListed && connected && !m_settings.connectedByIp.Get() && !useGenTL) {
        // The open camera is no longer on the machine, and its loss was not reported.
        static_cast<void>(m_camera.DropLost(openId));
        m_seekLost();
    }
    *length = static_cast<std::uint32_t>(list.text.size());
    const std::size_t room = capacity > 0 ? static_cast<std::size_t>(capacity) : 0;
    std::copy_n(list.text.data(), std::min(room, list.text.size()), buffer);
    return kOk;
}

void CameraConnection::CloseCurCamera() {
    if (const Hold hold(*this); hold) {
        static_cast<void>(Close(Chosen::No));
    }
}

Status CameraConnection::Close(Chosen chosen) {
    const bool wasOpen = m_camera.IsOpen();
    const CameraText serial = Serial();
    if (const Status status = m_camera.Close(); status != kOk) {
        return status;
    }
    if (chosen == Chosen::Yes) {
        // Before the notice, inside which a loss of this camera may check whether it was overtaken.
        m_choices.Set(m_choices.Get() + 1);
    }
    m_events.GrabStartedEvent.Reset();
    if (wasOpen) {
        m_notices.ReportCameraOff(kClose, serial.view());
    }
    return kOk;
}

void CameraConnection::NoteOpened() {
    m_choices.Set(m_choices.Get() + 1);
    m_closedByUser.Set(false);
}

Status CameraConnection::ConnectDevice(const CameraDeviceInfo& record) try {
    const Hold hold(*this);
    if (!hold) {
        return kInvalid;
    }
    if (record.transportType == 0) {
        return kNoTransportType;
    }
    const SetUpGate::SetUp setUp(m_setUpGate);
    if (!setUp || Close(Chosen::No) != kOk) {
        return kInvalid;
    }
    {
        const CMyCamera::Configuration configuration(m_camera);
        if (const Status status = OpenRecord(record, kConnect); status != kOk) {
            return status;
        }
        m_setUp.Configure(kConnect);
        m_pendingSelection.Set("");
    }
    ReplaySavedParams();
    return kOk;
} catch (...) {
    return kOpenFailed;
}

Status CameraConnection::OpenRecord(const CameraDeviceInfo& record, const char* function) {
    if (const Status status = m_camera.Open(&record); status != kOk) {
        const CameraText serial(IdentityOf(record).serial);
        CAM_LOG(kLogError, m_notices.ModuleId(), function, "(%s)Open failed, error code:%x",
                serial.c_str(), status);
        return status;
    }
    NoteOpened();
    if (!KnownTransport(record)) {
        CAM_LOG(kLogError, m_notices.ModuleId(), function,
                "Open failed, camera protocol type not support");
        return kNoCamera;
    }
    m_identity.transportType.Set(record.transportType);
    m_identity.Take(IdentityOf(record));
    m_camera.SetKey(IdentityOf(record).serial);
    return kOk;
}

Status CameraConnection::OpenGenTL(const GenTLDeviceInfo& record) {
    const DeviceIdentity identity = IdentityOf(record);
    if (const Status status = m_camera.Open(&record); status != kOk) {
        CAM_LOG(kLogError, m_notices.ModuleId(), kSelect, "(%s)Open failed, error code:%x",
                CameraText(identity.serial).c_str(), status);
        return status;
    }
    NoteOpened();
    m_identity.Take(identity);
    m_camera.SetKey(identity.serial);
    return kOk;
}

Status CameraConnection::SetDeviceValue(std::string_view value) try {
    if (!m_stopGate.MayStop(m_notices.ModuleId(), kSelect)) {
        return kInvalid;
    }
    const Hold hold(*this);
    if (!hold) {
        return kInvalid;
    }
    const std::string selection(SelectionOf(value));
    if (selection == kNoSelection) {
        if (const Status status = Close(Chosen::Yes); status != kOk) {
            return status;
        }
        m_pendingSelection.Set("");
        m_closedByUser.Set(true);
    } else {
        if (m_devices.ActiveEmpty(m_bGenTL.Get()) && EnumDevices() != kOk) {
            return kOpenFailed;
        }
        if (const Status status = OpenSelected(selection); status != kOk) {
            return status;
        }
        m_events.ReconnectStopEvent.Set();
    }
    m_settings.connectedByIp.Set(false);
    return kOk;
} catch (...) {
    return kOpenFailed;
}

Status CameraConnection::OpenSelected(std::string_view serial) {
    // The record is copied: inside a notice the host may enumerate again on this thread.
    std::optional<GenTLDeviceInfo> genTL;
    std::optional<CameraDeviceInfo> plain;
    if (m_bGenTL.Get()) {
        genTL = m_devices.FindGenTL(serial);
    } else {
        plain = m_devices.FindPlain(serial);
    }
    if (!genTL && !plain) {
        return kOpenFailed;
    }

    const SetUpGate::SetUp setUp(m_setUpGate);
    if (!setUp || Close(Chosen::No) != kOk) {
        return kInvalid;
    }
    {
        const CMyCamera::Configuration configuration(m_camera);
        const Status status = plain ? OpenRecord(*plain, kSelect) : OpenGenTL(*genTL);
        if (status != kOk) {
            if (!m_camera.IsOpen()) {
                m_pendingSelection.Set(serial);
            }
            return status;
        }
        m_setUp.Configure(kSelect);
        m_pendingSelection.Set("");
    }
    ReplaySavedParams();
    return kOk;
}

Status CameraConnection::RetryPendingSelection() {
    // Read under the lock: while this waited for it, the host may have made another choice.
    const Hold hold(*this);
    if (!hold) {
        return kInvalid;
    }
    return m_camera.IsOpen() ? kOk : SetDeviceValue(m_pendingSelection.Get().view());
}

Status CameraConnection::ConnectIP(bool open) {
    if (m_settings.connectionMode.Get() != kConnectByAddress) {
        return kOk;
    }
    if (open) {
        const Status status = ConnectCameraByIP();
        if (status == kOk) {
            m_settings.connectedByIp.Set(true);
        }
        return status;
    }
    const Hold hold(*this);
    if (!hold || !m_stopGate.MayStop(m_notices.ModuleId(), kSetParam)) {
        return kInvalid;
    }
    const Status status = Close(Chosen::Yes);
    if (status == kOk) {
        m_settings.connectedByIp.Set(false);
    }
    return status;
}

Status CameraConnection::ConnectCameraByIP() try {
    if (!m_stopGate.MayStop(m_notices.ModuleId(), kConnectByIp)) {
        return kInvalid;
    }
    const Hold hold(*this);
    const auto cameraIp = m_settings.cameraIp.Get();
    const auto localIp = m_settings.localIp.Get();
    if (!hold || cameraIp.empty() || localIp.empty()) {
        return kInvalid;
    }
    const SetUpGate::SetUp setUp(m_setUpGate);
    if (!setUp || Close(Chosen::No) != kOk) {
        return kInvalid;
    }
    const auto cameraAddress = PackAddress(cameraIp.view());
    const auto localAddress = PackAddress(localIp.view());
    if (!cameraAddress || !localAddress) {
        CAM_LOG(kLogError, m_notices.ModuleId(), kConnectByIp,
                "Bad address, camera [%s], local [%s]", cameraIp.c_str(), localIp.c_str());
        return kInvalid;
    }
    CameraDeviceInfo record{};
    record.transportType = KZ_TRANSPORT_GIGE;
    record.gige.currentIp = *cameraAddress;
    record.gige.netExportIp = *localAddress;

    const CMyCamera::Configuration configuration(m_camera);
    const Status opened = m_camera.Open(&record);
    m_closedByUser.Set(false);
    SetLines();
    if (opened != kOk) {
        CAM_LOG(kLogError, m_notices.ModuleId(), kConnectByIp, "(%s)Open failed, error code:%x",
                cameraIp.c_str(), opened);
        return opened;
    }
    NoteOpened();
    m_setUp.ConfigureByAddress(kConnectByIp, IdentityOf(record));
    m_pendingSelection.Set("");
    return kOk;
} catch (...) {
    return kOpenFailed;
}

Status CameraConnection::SetSerial(std::string_view serial) {
    if (m_camera.IsOpen() && serial != Serial().view()) {
        const Hold hold(*this);
        if (!hold || !m_stopGate.MayStop(m_notices.ModuleId(), kSetParam)) {
            return kInvalid;
        }
        if (const Status status = Close(Chosen::Yes); status != kOk) {
            return status;
        }
    }
    m_identity.serial.Set(serial);
    return kOk;
}

Status CameraConnection::UseGenTL(bool use) {
    if (use == m_bGenTL.Get()) {
        return kOk;
    }
    if (!m_stopGate.MayStop(m_notices.ModuleId(), kSetParam)) {
        return kInvalid;
    }
    {
        const Hold hold(*this);
        if (!hold) {
            return kInvalid;
        }
        m_bGenTL.Set(use);
        if (m_camera.IsOpen() && Close(Chosen::Yes) != kOk) {
            m_bGenTL.Set(!use);
            return kInvalid;
        }
        if (!use) {
            m_identity.serial.Set("");
        }
    }
    m_notices.ReportCameraSource(kSetParam, use ? kSourceGenTL : kSourcePlain);
    return kOk;
}

// A replayed entry may open a camera in turn; that open replays nothing.
void CameraConnection::ReplaySavedParams() {
    if (m_replaying) {
        return;
    }
    m_replaying = true;
    const OnExit done([this]() NO_THREAD_SAFETY_ANALYSIS { m_replaying = false; });
    m_replay();
}

bool CameraConnection::Reopen(const CameraText& serial) {
    // Held for the whole attempt, so that it does not reopen what the host opens meanwhile.
    const Hold hold(*this);
    if (!hold) {
        return false;
    }
    if (m_camera.IsOpen()) {
        return true;
    }
    if (m_settings.connectionMode.Get() == kConnectByAddress) {
        if (ConnectIP(true) != kOk) {
            return false;
        }
        CAM_LOG(kLogError, m_notices.ModuleId(), kReconnect, "(%s)Camera reconnect success",
                serial.c_str());
        return true;
    }
    const CameraDeviceInfo saved = SavedDevice();
    if (saved.transportType != 0 && ConnectDevice(saved) == kOk) {
        // The last enumeration lacks the camera. A reader of the list would take it for lost, and a
        // save would not find its record.
        if (!m_devices.FindPlain(m_camera.Key())) {
            static_cast<void>(EnumDevices());
        }
        return true;
    }
    static_cast<void>(EnumDevices());
    if (SetDeviceValue(serial.view()) != kOk) {
        return false;
    }
    CAM_LOG(kLogError, m_notices.ModuleId(), kReconnect, "(%s)Camera reconnect success",
            serial.c_str());
    m_notices.ReportCameraSource(kReconnect, kSourceCameraBack);
    return true;
}

CameraText CameraConnection::SoughtSerial() const {
    return CameraText(Serial().view().substr(0, sizeof KZGigEDeviceInfo::serialNumber));
}

Status CameraConnection::FindDevice(std::string_view serial,
                                    std::optional<CameraDeviceInfo>& found) const {
    const Hold hold(*this);
    if (!hold) {
        return kInvalid;
    }
    found = m_devices.FindPlain(serial);
    return kOk;
}

CameraDeviceInfo CameraConnection::SavedDevice() const {
    const LockGuard hold(m_savedDeviceLock);
    return m_savedDevice;
}

void CameraConnection::SetSavedDevice(const CameraDeviceInfo& record) {
    const LockGuard hold(m_savedDeviceLock);
    m_savedDevice = record;
}

}  // namespace cam
