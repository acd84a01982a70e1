// What the host's solution keeps of the module.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <new>
#include <optional>

#include "module/camera_module.h"
#include "module/framework/param_list.h"
#include "module/log/log.h"
#include "params/value_text.h"

namespace cam {

namespace {

constexpr char kLoad[] = "CCameraModule::LoadModuleData";
constexpr std::string_view kDeviceItem = "ConnectDeviceInfo";
constexpr std::string_view kCameraName = "CameraName";
constexpr std::string_view kRelation = "AddRelateProc";

template <std::size_t Size>
void PutText(char (&field)[Size], std::string_view text) {
    const FixedText<Size> bounded(text);
    std::memcpy(field, bounded.c_str(), Size);
}

void PutEntry(ModuleParamEntry& entry, std::string_view name, std::string_view value) {
    PutText(entry.name, name);
    PutText(entry.value, value);
}

std::unique_ptr<ModuleParamList> CopyOf(const ModuleParamList& params) {
    return std::unique_ptr<ModuleParamList>(new (std::nothrow) ModuleParamList(params));
}

}  // namespace

std::uint32_t CCameraModule::GetCurrentConfig(ModuleParamList* list) {
    return CQ_M_GetCurrentConfigByFile(m_hModule, kModuleConfigFile, list, 0);
}

std::uint32_t CCameraModule::SaveModuleData(SAVE_MODULE_DATA_PARAM* record) try {
    if (record == nullptr) {
        return kInvalid;
    }
    const SavedData::Params kept = m_savedData.GetParams();
    // A module whose camera is away saves what it last had, not the framework's present values.
    const bool restore = kept != nullptr && !m_camera.IsOpen() && !m_closedByUser.Get();
    std::unique_ptr<ModuleParamList> copy;
    if (restore) {
        record->params = *kept;
    } else {
        CAbstractUserModule::SaveModuleData(record);
        copy = CopyOf(record->params);
        if (copy == nullptr) {
            return kNoResources;
        }
    }

    std::optional<CameraDeviceInfo> device;
    if (m_camera.IsOpen() && !m_bGenTL.Get()) {
        if (!m_camera.LockUnlessStopping(m_connectionLock)) {
            return kInvalid;
        }
        const platform::LockGuard holdConnection(m_connectionLock, std::adopt_lock);
        device = FindDevice(m_camera.Key().view());
    }

    const platform::LockGuard hold(m_receivers.m_lock);
    SaveRelations(record->params, copy.get());
    if (copy != nullptr) {
        m_savedData.SetParams(std::move(copy));
    }
    record->hasModuleData = 1;
    record->binaryCount = 0;
    if (device) {
        // The host gets a copy that stays valid until the next save, whatever is enumerated.
        m_handedOutDevice = *device;
        ModuleBinaryItem& item = record->binaries[0];
        PutText(item.name, kDeviceItem);
        item.data = &m_handedOutDevice;
        item.length = sizeof m_handedOutDevice;
        record->binaryCount = 1;
    }
    return kOk;
} catch (...) {
    return kNoResources;
}

// Behind the present values, and nameless in their `copy`, which is replayed after a reconnect and
// relates nothing; without a copy `params` is the kept list, where each goes back to its place.
void CCameraModule::SaveRelations(ModuleParamList& params, ModuleParamList* copy) {
    if (copy != nullptr) {
        m_savedRelationIndex = -1;
    }
    for (const std::string& id : m_receivers.Ids()) {
        const std::int32_t index = copy != nullptr ? params.nNum : RelationIndex(params, id);
        if (static_cast<std::uint32_t>(index) >= kFrameworkMaxEntries) {
            continue;
        }
        PutEntry(params.entries[index], kRelation, id);
        if (copy != nullptr) {
            PutEntry(copy->entries[index], "", id);
            copy->nNum = ++params.nNum;
            m_savedRelationIndex = index;
        }
    }
}

// The index in the kept list at which relation `id` is saved: that of its own nameless entry or,
// for one registered since, of the last relation's (-1: there is none).
std::int32_t CCameraModule::RelationIndex(const ModuleParamList& kept, std::string_view id) const {
    const auto entries = EntriesOf(kept);
    const auto entry = std::find_if(entries.begin(), entries.end(), [&](const auto& candidate) {
        return FieldText(candidate.name).empty() && FieldText(candidate.value) == id;
    });
    return entry != entries.end() ? static_cast<std::int32_t>(entry - entries.begin())
                                  : m_savedRelationIndex;
}

std::optional<CameraDeviceInfo> CCameraModule::FindDevice(std::string_view key) const {
    for (const CameraDeviceInfo& record : m_devices.plain) {
        if (HasSerial(record, key)) {
            return record;
        }
    }
    return std::nullopt;
}

std::uint32_t CCameraModule::LoadModuleData(SAVE_MODULE_DATA_PARAM* record) try {
    if (record == nullptr) {
        return kInvalid;
    }
    KeepLoadedParams(record->params);
    StopLastReconnect();
    for (const ModuleParamEntry& entry : EntriesOf(record->params)) {
        const FixedText<kFrameworkNameSize> name(FieldText(entry.name));
        static_cast<void>(
            SetParam(name.c_str(), entry.value, static_cast<std::int32_t>(kFrameworkValueSize)));
    }
    TakeSavedDevice(*record);
    StartReconnect();
    WaitForSavedCamera();
    return kOk;
} catch (...) {
    return kNoResources;
}

void CCameraModule::KeepLoadedParams(const ModuleParamList& params) {
    std::unique_ptr<ModuleParamList> copy = CopyOf(params);
    if (copy != nullptr) {
        const platform::LockGuard hold(m_receivers.m_lock);
        m_savedRelationIndex = -1;
        std::int32_t index = 0;
        for (ModuleParamEntry& entry : EntriesOf(*copy)) {
            const std::string_view name = FieldText(entry.name);
            const bool relation = EqualsIgnoringCase(name, kRelation);
            if (relation) {
                m_savedRelationIndex = index;
            }
            // The copy is replayed after a reconnect, which chooses no camera and relates nothing.
            if (relation || EqualsIgnoringCase(name, kCameraName)) {
                PutText(entry.name, "");
            }
            ++index;
        }
    }
    m_savedData.SetParams(std::move(copy));
}

void CCameraModule::TakeSavedDevice(const SAVE_MODULE_DATA_PARAM& record) {
    // The first item's name speaks for all of them.
    if (record.binaryCount <= 0 || FieldText(record.binaries[0].name) != kDeviceItem) {
        return;
    }
    const std::int32_t count = std::min(record.binaryCount, kFrameworkMaxBinaryItems);
    for (std::int32_t i = 0; i < count; ++i) {
        const ModuleBinaryItem& item = record.binaries[i];
        if (item.length == sizeof(CameraDeviceInfo) && item.data != nullptr) {
            CameraDeviceInfo device;
            std::memcpy(&device, item.data, sizeof device);
            m_savedData.SetDevice(device);
            return;
        }
    }
}

void CCameraModule::WaitForSavedCamera() {
    using Clock = std::chrono::steady_clock;
    const std::int32_t limit = m_settings.waitForConnectingTime.Get();
    CAM_LOG(kLogError, ModuleId(), kLoad, "Wait for camera connecting, time=%d ms", limit);
    const CameraText serial = SoughtSerial();
    CAM_LOG(kLogError, ModuleId(), kLoad, "Camera serial number: %s", serial.c_str());
    const std::int32_t mode = m_settings.connectionMode.Get();
    const bool expected = (mode == kConnectBySelection && !serial.empty()) ||
                          (mode == kConnectByAddress && m_settings.connectedByIp.Get());
    if (!expected) {
        return;
    }
    const Clock::time_point start = Clock::now();
    GrabStartedEvent.WaitFor(std::chrono::milliseconds(std::max(limit, 0)));
    const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    CAM_LOG(kLogError, ModuleId(), kLoad,
            "Wait for camera[%s] connecting finished, grabing=%s, real wait time=%d ms",
            serial.c_str(), m_camera.IsGrabbing() ? "true" : "false",
            static_cast<int>(waited.count()));
}

}  // namespace cam
