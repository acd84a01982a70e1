#include "params/saved_data.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <new>
#include <optional>
#include <utility>

#include "base/log.h"
#include "base/text.h"
#include "params/param_list.h"
#include "params/value_text.h"

namespace cam {

namespace {

constexpr char kSave[] = "CCameraModule::SaveModuleData";
constexpr char kLoad[] = "CCameraModule::LoadModuleData";
constexpr std::string_view kDeviceItem = "ConnectDeviceInfo";
constexpr std::string_view kCameraName = "CameraName";
constexpr std::string_view kRelation = "AddRelateProc";

constexpr auto kValueSize = static_cast<std::int32_t>(kFrameworkValueSize);

// How often a load checks whether the camera grabs.
constexpr std::chrono::milliseconds kGrabLook{5};

template <std::size_t Size>
void PutText(char (&field)[Size], std::string_view text) {
    const FixedText<Size> bounded(text);
    std::memcpy(field, bounded.c_str(), Size);
}

std::unique_ptr<ModuleParamList> CopyOf(const ModuleParamList& params) {
    return std::unique_ptr<ModuleParamList>(new (std::nothrow) ModuleParamList(params));
}

// For the replay when the camera is opened, which chooses no camera and relates nothing.
void RemoveNames(ModuleParamList& params) {
    for (ModuleParamEntry& entry : EntriesOf(params)) {
        const std::string_view name = FieldText(entry.name);
        if (EqualsIgnoringCase(name, kRelation) || EqualsIgnoringCase(name, kCameraName)) {
            PutText(entry.name, "");
        }
    }
}

std::string_view BytesOf(const CameraDeviceInfo& device) {
    return {reinterpret_cast<const char*>(&device), sizeof device};
}

}  // namespace

SavedData::SavedData(const CMyCamera& camera, CameraConnection& connection,
                     Reconnection& reconnection, const ReceiverRegistry& receivers,
                     const StopGate& stopGate, const Notices& notices, const Settings& settings,
                     ModuleEvents& events, SetParamFunction setParam)
    : m_camera(camera),
      m_connection(connection),
      m_reconnection(reconnection),
      m_receivers(receivers),
      m_stopGate(stopGate),
      m_notices(notices),
      m_settings(settings),
      m_events(events),
      m_setParam(std::move(setParam)) {}

SavedData::Params SavedData::Kept() const {
    const LockGuard hold(m_lock);
    return m_pLoadParamRecord;
}

void SavedData::Keep(Params params) {
    const LockGuard hold(m_lock);
    m_pLoadParamRecord.swap(params);
}

Status SavedData::Save(SAVE_MODULE_DATA_PARAM& record, const std::function<void()>& saveFramework) {
    const Params kept = Kept();
    // A module whose camera is away saves what it last had, not the framework's current values.
    const bool restore = kept != nullptr && !m_camera.IsOpen() && !m_connection.ClosedByUser();
    std::unique_ptr<ModuleParamList> copy;
    if (restore) {
        record.params = *kept;
    } else {
        saveFramework();
        copy = CopyOf(record.params);
        if (copy == nullptr) {
            return kNoResources;
        }
    }

    std::optional<CameraDeviceInfo> device;
    if (m_camera.IsOpen() && !m_connection.UsesGenTL()) {
        if (const Status status = m_connection.FindDevice(m_camera.Key(), device); status != kOk) {
            return status;
        }
    }

    if (restore) {
        RestoreRelations(record.params);
    } else {
        AppendRelations(record.params, *copy);
        Keep(std::move(copy));
    }
    record.hasModuleData = 1;
    record.binaryCount = 0;
    if (device) {
        ModuleBinaryItem& item = record.binaries[0];
        PutText(item.name, kDeviceItem);
        item.data = HandOut(*device);
        item.length = sizeof *device;
        record.binaryCount = 1;
    }
    return kOk;
}

bool SavedData::Append(ModuleParamList& params, std::string_view id) const {
    const std::uint32_t index = EntryCount(params);
    if (index >= kFrameworkMaxEntries) {
        CAM_LOG(kLogError, m_notices.ModuleId(), kSave, "Relation %s not saved, the list is full",
                std::string(id).c_str());
        return false;
    }
    PutText(params.entries[index].name, kRelation);
    PutText(params.entries[index].value, id);
    params.nNum = static_cast<std::int32_t>(index + 1);
    return true;
}

// After the current values, and nameless in their copy.
void SavedData::AppendRelations(ModuleParamList& params, ModuleParamList& copy) const {
    for (const std::string& id : m_receivers.Ids()) {
        if (Append(params, id) && Append(copy, id)) {
            PutText(copy.entries[copy.nNum - 1].name, "");
        }
    }
}

// Each goes into its nameless entry of the kept list; those registered since then go to the end.
void SavedData::RestoreRelations(ModuleParamList& params) const {
    const std::uint32_t kept = EntryCount(params);
    for (const std::string& id : m_receivers.Ids()) {
        ModuleParamEntry* const end = params.entries + kept;
        ModuleParamEntry* const place =
            std::find_if(params.entries, end, [&id](const ModuleParamEntry& entry) {
                return FieldText(entry.name).empty() && FieldText(entry.value) == id;
            });
        if (place != end) {
            PutText(place->name, kRelation);
        } else {
            static_cast<void>(Append(params, id));
        }
    }
}

const CameraDeviceInfo* SavedData::HandOut(const CameraDeviceInfo& device) {
    const LockGuard hold(m_lock);
    for (const CameraDeviceInfo& known : m_handedOut) {
        if (BytesOf(known) == BytesOf(device)) {
            return &known;
        }
    }
    return &m_handedOut.emplace_back(device);
}

void SavedData::Load(const SAVE_MODULE_DATA_PARAM& record) {
    std::unique_ptr<ModuleParamList> copy = CopyOf(record.params);
    if (copy != nullptr) {
        RemoveNames(*copy);
    } else {
        CAM_LOG(kLogError, m_notices.ModuleId(), kLoad, "Saved parameters not kept, out of memory");
    }
    try {
        Keep(std::move(copy));
    } catch (...) {
        Forget();  // out of memory for the shared count
    }
    m_reconnection.StopLastReconnect();
    for (const ModuleParamEntry& entry : EntriesOf(record.params)) {
        const FixedText<kFrameworkNameSize> name(FieldText(entry.name));
        static_cast<void>(m_setParam(name.c_str(), entry.value, kValueSize));
    }
    TakeSavedDevice(record);
    m_reconnection.StartReconnect();
    WaitForSavedCamera();
}

void SavedData::TakeSavedDevice(const SAVE_MODULE_DATA_PARAM& record) {
    // Only the first item's name is checked.
    if (record.binaryCount <= 0 || FieldText(record.binaries[0].name) != kDeviceItem) {
        return;
    }
    const std::int32_t count = std::min(record.binaryCount, kFrameworkMaxBinaryItems);
    for (std::int32_t i = 0; i < count; ++i) {
        const ModuleBinaryItem& item = record.binaries[i];
        if (item.length == sizeof(CameraDeviceInfo) && item.data != nullptr) {
            CameraDeviceInfo device;
            std::memcpy(&device, item.data, sizeof device);
            m_connection.SetSavedDevice(device);
            return;
        }
    }
}

void SavedData::WaitForSavedCamera() {
    using Clock = std::chrono::steady_clock;
    const std::int32_t limit = m_settings.waitForConnectingTime.Get();
    CAM_LOG(kLogError, m_notices.ModuleId(), kLoad, "Wait for camera connecting, time=%d ms",
            limit);
    const CameraText serial = m_connection.SoughtSerial();
    CAM_LOG(kLogError, m_notices.ModuleId(), kLoad, "Camera serial number: %s", serial.c_str());
    const std::int32_t mode = m_settings.connectionMode.Get();
    const bool expected = (mode == kConnectBySelection && !serial.empty()) ||
                          (mode == kConnectByAddress && m_settings.connectedByIp.Get());
    if (!expected) {
        return;
    }
    // By polling, because the grab keeper's event is set while no camera is open, too. A thread
    // that the search waits for must not wait here: it would keep the search from opening the
    // camera.
    const Clock::time_point start = Clock::now();
    const Clock::time_point deadline = start + std::chrono::milliseconds(std::max(limit, 0));
    while (!m_camera.IsGrabbing() && Clock::now() < deadline && !m_stopGate.OthersMayWait()) {
        m_events.WakeEvent.WaitFor(kGrabLook);
    }
    const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    CAM_LOG(kLogError, m_notices.ModuleId(), kLoad,
            "Wait for camera[%s] connecting finished, grabing=%s, real wait time=%d ms",
            serial.c_str(), m_camera.IsGrabbing() ? "true" : "false",
            static_cast<int>(waited.count()));
}

void SavedData::Replay() {
    const Params params = Kept();
    if (params == nullptr) {
        return;
    }
    const CameraText serial = m_connection.Serial();
    for (const ModuleParamEntry& match : EntriesOf(*params)) {
        if (!EqualsIgnoringCase(FieldText(match.name), "SerialNumber") ||
            !EqualsIgnoringCase(FieldText(match.value), serial.view())) {
            continue;
        }
        for (const ModuleParamEntry& entry : EntriesOf(*params)) {
            const FixedText<kFrameworkNameSize> name(FieldText(entry.name));
            if (name.view() == "UseGenTL") {
                m_connection.ReplayGenTL(
                    !EqualsIgnoringCase(FieldText(entry.value), SwitchText(false)));
            } else if (!name.empty() && !EqualsIgnoringCase(name.view(), kCameraName)) {
                // A replay configures the camera that was opened; it never chooses another. Entries
                // without a name are skipped for the same reason.
                static_cast<void>(m_setParam(name.c_str(), entry.value, kValueSize));
            }
        }
    }
}

}  // namespace cam
