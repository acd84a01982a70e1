#include "imaging/shared_memory_base.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include "base/log.h"
#include "base/text.h"
#include "imaging/region_name.h"
#include "module/framework/module_frame.h"
#include "platform/system.h"

namespace cam {

namespace {

// Logged by callers without a module id.
constexpr auto kNoModule = static_cast<std::uint32_t>(kNoModuleId);

constexpr char kAllocate[] = "CModuleSharedMemoryBase::AllocateSharedMemory";

// A tenth more than requested, so that a slightly larger frame fits later.
std::uint64_t MappedSize(std::uint32_t size) {
    return static_cast<std::uint64_t>(size * 1.1 + static_cast<double>(sizeof(SharedRegionHeader)));
}

void WriteHeader(const SharedMemoryMappingInfo& record) {
    auto* const header = reinterpret_cast<SharedRegionHeader*>(record.mapping.View());
    header->reserved0 = 0;
    header->headerLength = sizeof(SharedRegionHeader);
    std::memcpy(header->name, record.name, sizeof(header->name));
}

}  // namespace

CModuleSharedMemoryBase::CModuleSharedMemoryBase(SpareMemory& spare)
    : m_spare(spare), m_guid(platform::NewGuidText()) {}

CModuleSharedMemoryBase::~CModuleSharedMemoryBase() {
    for (auto& [key, regions] : m_registry) {
        for (const auto& record : regions.records) {
            static_cast<void>(CloseMapping(kNoModule, record.get()));
        }
    }
}

Status CModuleSharedMemoryBase::AllocateSharedMemory(std::uint32_t moduleId, std::uint32_t size,
                                                     std::uint8_t** outData, const char** outName,
                                                     std::int32_t key) try {
    if (size == 0 || outData == nullptr || outName == nullptr) {
        return kInvalid;
    }
    Regions& regions = m_registry[key];
    Record taken = TakeRecord(regions, moduleId, key);
    if (taken == nullptr) {
        return kNoRegion;
    }
    SharedMemoryMappingInfo& record = *taken;
    if (record.Room() < size && OpenForSize(moduleId, size, record) != kOk) {
        // On Windows a name is in use as long as the host has the old region open; another name
        // helps only then. A record that cannot be opened is dropped with `taken`.
        if (!record.nameInUse || !GiveNewName(regions, moduleId, key, record) ||
            OpenForSize(moduleId, size, record) != kOk) {
            return kNoRegion;
        }
    }
    reinterpret_cast<SharedRegionHeader*>(record.mapping.View())->dataSize = size;
    *outData = record.Data();
    *outName = record.name;
    regions.records.push_back(std::move(taken));
    return kOk;
} catch (...) {
    CAM_LOG(kLogError, static_cast<int>(moduleId), kAllocate, "catch exception");
    return kNoRegion;
}

CModuleSharedMemoryBase::Record CModuleSharedMemoryBase::TakeRecord(Regions& regions,
                                                                    std::uint32_t moduleId,
                                                                    std::int32_t key) {
    std::vector<Record>& records = regions.records;
    std::uint32_t globalNumber = 0;
    if (CQ_M_GetBufferNodeNum(&globalNumber) != kOk) {
        globalNumber = 0;
    }
    const auto limit = std::max(globalNumber, static_cast<std::uint32_t>(m_nodeNumber));
    const bool released = !records.empty() && records.front()->size == 0;
    if (released || records.size() >= limit) {
        Record first = std::move(records.front());
        records.erase(records.begin());
        return first;
    }
    records.reserve(records.size() + 1);
    auto made = std::make_unique<SharedMemoryMappingInfo>();
    return GiveNewName(regions, moduleId, key, *made) ? std::move(made) : nullptr;
}

// The index in a name counts the names given, which is the number of regions while none was lost
// and none got a second name: the host may still use the name of a region that is gone. Names that
// were cut may repeat, and two images would share one memory.
bool CModuleSharedMemoryBase::GiveNewName(Regions& regions, std::uint32_t moduleId,
                                          std::int32_t key, SharedMemoryMappingInfo& record) const {
    const std::string name =
        RegionName(static_cast<std::int32_t>(moduleId), key,
                   static_cast<std::int32_t>(platform::CurrentProcessId()), m_guid.c_str(),
                   static_cast<std::int32_t>(regions.namesGiven++));
    if (std::any_of(regions.records.begin(), regions.records.end(),
                    [&name](const auto& other) { return other->name == name; })) {
        CAM_LOG(kLogError, static_cast<int>(moduleId), kAllocate, "No region name left");
        return false;
    }
    record.name[name.copy(record.name, sizeof(record.name) - 1)] = '\0';
    CAM_LOG(kLogDebug, static_cast<int>(moduleId), kAllocate, "Map view of file, name=%s",
            record.name);
    return true;
}

Status CModuleSharedMemoryBase::OpenForSize(std::uint32_t moduleId, std::uint32_t size,
                                            SharedMemoryMappingInfo& record) const {
    if (record.size != 0) {
        static_cast<void>(CloseMapping(moduleId, &record));
    }
    record.size = size;
    if (CreateOpenMapping(moduleId, &record) != kOk) {
        static_cast<void>(CloseMapping(moduleId, &record));
        return kNoRegion;
    }
    WriteHeader(record);
    return kOk;
}

Status CModuleSharedMemoryBase::CreateOpenMapping(std::uint32_t moduleId,
                                                  SharedMemoryMappingInfo* record) const {
    constexpr char kFunction[] = "CModuleSharedMemoryBase::CreateOpenMapping";
    if (record == nullptr) {
        return kInvalid;
    }
    if (record->size == 0 || record->name[0] == '\0') {
        CAM_LOG(kLogError, static_cast<int>(moduleId), kFunction,
                "CreateOpenMapping fail,size=%d, len=%d", static_cast<int>(record->size),
                static_cast<int>(std::strlen(record->name)));
        return kInvalid;
    }
    // The host reads sizes as signed 32-bit numbers.
    constexpr std::uint64_t kLargest = std::numeric_limits<std::int32_t>::max();
    const std::uint64_t mappedSize = MappedSize(record->size);
    const bool fits = mappedSize <= kLargest;
    const int createError = fits ? CreateMapping(*record, mappedSize) : 0;
    record->nameInUse = createError == platform::SharedMapping::kNameInUse;
    if (!fits || createError != 0) {
        // The system's error number is not part of this line; its place is always 0.
        CAM_LOG(kLogError, static_cast<int>(moduleId), kFunction,
                "Create file mapping, name=%s, size=%llu, error=%d", record->name,
                static_cast<unsigned long long>(mappedSize), 0);
        static_cast<void>(CloseMapping(moduleId, record));
        return kNoRegion;
    }
    record->size = static_cast<std::uint32_t>(mappedSize);
    if (const int error = record->mapping.Map(); error != 0) {
        CAM_LOG(kLogError, static_cast<int>(moduleId), kFunction,
                "Map view of file failed, name=%s, sys error=%d", record->name, error);
        static_cast<void>(CloseMapping(moduleId, record));
        return kNoRegion;
    }
    m_spare.Prepare(mappedSize);
    return kOk;
}

int CModuleSharedMemoryBase::CreateMapping(SharedMemoryMappingInfo& record,
                                           std::uint64_t size) const {
    if (m_spare.Take(size, record.mapping) && record.mapping.GiveName(record.name) == 0) {
        return 0;
    }
    return record.mapping.Create(record.name, size);
}

Status CModuleSharedMemoryBase::CloseMapping(std::uint32_t moduleId,
                                             SharedMemoryMappingInfo* record) {
    constexpr char kFunction[] = "CModuleSharedMemoryBase::CloseMapping";
    if (record == nullptr || record->size == 0) {
        return kInvalid;
    }
    const int unmapError = record->mapping.Unmap();
    if (unmapError != 0) {
        CAM_LOG(kLogError, static_cast<int>(moduleId), kFunction,
                "Unmap view of file failed, name=%s, sys error=%d", record->name, unmapError);
    }
    const int closeError = record->mapping.Close();
    if (closeError != 0) {
        CAM_LOG(kLogError, static_cast<int>(moduleId), kFunction,
                "Close file mapping failed, name=%s, sys error=%d", record->name, closeError);
    }
    record->size = 0;
    return static_cast<Status>(closeError != 0 ? closeError : unmapError);
}

Status CModuleSharedMemoryBase::ReleaseSharedMemory(std::uint32_t moduleId, const char* name) {
    if (name == nullptr) {
        return kInvalid;
    }
    const std::optional<RegionOwner> owner = ParseRegionName(name);
    if (!owner) {
        CAM_LOG(kLogError, kNoModuleId, "CModuleSharedMemoryBase::ParseSharedName", "%s parse fail",
                name);
        return kBadRegionName;
    }
    if (owner->moduleId != static_cast<std::int32_t>(moduleId)) {
        CAM_LOG(kLogError, kNoModuleId, "CModuleSharedMemoryBase::ReleaseSharedMemory",
                "Module[%d] want release sharedmemory[%s]", static_cast<int>(moduleId), name);
        return kInvalid;
    }
    const auto found = m_registry.find(owner->key);
    if (found == m_registry.end() || found->second.records.empty()) {
        return kOk;
    }
    std::vector<Record>& records = found->second.records;
    const auto hasName = [name](const auto& record) {
        return std::strcmp(record->name, name) == 0;
    };
    // It is usually the one handed out last.
    const auto last = std::prev(records.end());
    const auto record =
        hasName(*last) ? last : std::find_if(records.begin(), records.end(), hasName);
    if (record != records.end()) {
        static_cast<void>(CloseMapping(kNoModule, record->get()));
        std::rotate(records.begin(), record, std::next(record));
    }
    return kOk;
}

Status CModuleSharedMemoryBase::SetNodeNum(const char* text, std::uint32_t length) {
    constexpr char kFunction[] = "CModuleSharedMemoryBase::SetNodeNum";
    if (text == nullptr) {
        return kInvalid;
    }
    const std::string_view number(text, std::find(text, text + length, '\0') - text);
    const bool blank = number.find_first_not_of(kBlanks) == number.npos;
    const std::optional<std::int32_t> value = blank ? 0 : ParseInt(number);
    if (!value) {
        CAM_LOG(kLogError, kNoModuleId, kFunction, "Parse node num fail ,data[%.*s]",
                static_cast<int>(number.size()), number.data());
        return kInvalid;
    }
    if (*value > m_nodeNumber) {
        m_nodeNumber = *value;
        CAM_LOG(kLogWarning, kNoModuleId, kFunction, "Set node num [%d]", m_nodeNumber);
    } else {
        CAM_LOG(kLogWarning, kNoModuleId, kFunction,
                "The current num of nodes [%d] exceeds the set num [%d]", m_nodeNumber, *value);
    }
    return kOk;
}

Status CModuleSharedMemoryBase::GetNodeNum(const char** outText, std::uint32_t* outLength) try {
    if (outText == nullptr) {
        return kInvalid;
    }
    std::uint32_t globalNumber = 0;
    if (CQ_M_GetBufferNodeNum(&globalNumber) != kOk) {
        CAM_LOG(kLogError, kNoModuleId, "CModuleSharedMemoryBase::GetNodeNum",
                "Get global node num fail");
        globalNumber = 0;
    }
    m_nodeNumberText =
        std::to_string(std::max(globalNumber, static_cast<std::uint32_t>(m_nodeNumber)));
    *outText = m_nodeNumberText.c_str();
    if (outLength != nullptr) {
        *outLength = static_cast<std::uint32_t>(m_nodeNumberText.size());
    }
    return kOk;
} catch (...) {
    return kInvalid;
}

bool CModuleSharedMemoryBase::IsOpenRegion(const std::uint8_t* data, const char* name) const {
    return std::any_of(m_registry.begin(), m_registry.end(), [&](const auto& entry) {
        return std::any_of(
            entry.second.records.begin(), entry.second.records.end(), [&](const auto& record) {
                return record->name == name && record->size != 0 && record->Data() == data;
            });
    });
}

}  // namespace cam
