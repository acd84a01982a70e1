// Named shared-memory regions for images, so that the host maps them instead of copying.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "imaging/spare_memory.h"
#include "module/framework/status_codes.h"
#include "platform/shared_mapping.h"

namespace cam {

// Precedes the image in a region; the host reads it.
struct SharedRegionHeader {
    std::uint64_t dataSize;  // requested by the latest allocation, at most Room()
    std::uint8_t reserved0;  // 0
    std::uint8_t unwritten0[5];
    std::uint16_t headerLength;  // offset of the image
    char name[64];
    std::uint8_t unwritten1[48];
};
static_assert(sizeof(SharedRegionHeader) == 128);
static_assert(offsetof(SharedRegionHeader, headerLength) == 14);
static_assert(offsetof(SharedRegionHeader, name) == 16);

// One region. Open: mapped, `size` above 0. Closed: `size` 0; the name is kept, to be reused if it
// is free.
struct SharedMemoryMappingInfo {
    platform::SharedMapping mapping;
    std::uint32_t size = 0;  // bytes mapped, including the header
    bool nameInUse = false;  // the latest open failed because of it
    char name[platform::SharedMapping::kMaxName] = {};

    // Bytes available for an image.
    [[nodiscard]] std::uint32_t Room() const {
        constexpr std::uint32_t kHeader = sizeof(SharedRegionHeader);
        return size > kHeader ? size - kHeader : 0;
    }
    // Start of the image in an open region.
    [[nodiscard]] std::uint8_t* Data() const {
        return reinterpret_cast<std::uint8_t*>(mapping.View() + sizeof(SharedRegionHeader));
    }
};

// The regions of one module, listed by key. The front of a list is reused next, its back was handed
// out last. A list grows up to the node number - the larger of the host's and its own - and from
// then on its regions are recycled in rotation.
//
// Not synchronised: the owner serialises the calls. Never throws.
class CModuleSharedMemoryBase {
  public:
    // A new region takes prepared memory from `spare`, which outlives this object.
    explicit CModuleSharedMemoryBase(SpareMemory& spare);
    // Closes every region.
    virtual ~CModuleSharedMemoryBase();
    CModuleSharedMemoryBase(const CModuleSharedMemoryBase&) = delete;
    CModuleSharedMemoryBase& operator=(const CModuleSharedMemoryBase&) = delete;

    // Hands out a region with at least `size` bytes for an image. `outData` receives the start of
    // the image, valid until the region is released, recycled or this object destroyed; `outName`
    // the name, which lives as long as the region's record. kInvalid: size 0 or a null pointer;
    // kNoRegion: the region could not be created.
    [[nodiscard]] virtual Status AllocateSharedMemory(std::uint32_t moduleId, std::uint32_t size,
                                                      std::uint8_t** outData, const char** outName,
                                                      std::int32_t key);

    // Closes the region of that name, which is reopened next. An unknown name of this module is
    // ignored. kInvalid: no name, or another module's; kBadRegionName: not a region name.
    [[nodiscard]] virtual Status ReleaseSharedMemory(std::uint32_t moduleId, const char* name);

    // Raises the node number to the decimal number in `text`, which ends at a NUL or after `length`
    // characters; it is never lowered. kInvalid: not a number.
    [[nodiscard]] virtual Status SetNodeNum(const char* text, std::uint32_t length);

    // The node number as decimal text, valid until the next call.
    [[nodiscard]] virtual Status GetNodeNum(const char** outText, std::uint32_t* outLength);

  protected:
    // Whether the region that owns this very name pointer is open with its image at `data`.
    [[nodiscard]] bool IsOpenRegion(const std::uint8_t* data, const char* name) const;

  private:
    using Record = std::unique_ptr<SharedMemoryMappingInfo>;

    // The regions of one key.
    struct Regions {
        std::vector<Record> records;
        std::uint32_t namesGiven = 0;
    };

    // The record to hand out, for which the list keeps a place; null when there is none.
    [[nodiscard]] Record TakeRecord(Regions& regions, std::uint32_t moduleId, std::int32_t key);
    // False when no name is left for the record.
    [[nodiscard]] bool GiveNewName(Regions& regions, std::uint32_t moduleId, std::int32_t key,
                                   SharedMemoryMappingInfo& record) const;
    [[nodiscard]] Status OpenForSize(std::uint32_t moduleId, std::uint32_t size,
                                     SharedMemoryMappingInfo& record) const;
    [[nodiscard]] Status CreateOpenMapping(std::uint32_t moduleId,
                                           SharedMemoryMappingInfo* record) const;
    [[nodiscard]] int CreateMapping(SharedMemoryMappingInfo& record, std::uint64_t size) const;
    [[nodiscard]] static Status CloseMapping(std::uint32_t moduleId,
                                             SharedMemoryMappingInfo* record);

    SpareMemory& m_spare;
    std::int32_t m_nodeNumber = 1;
    std::string m_guid;
    std::string m_nodeNumberText;
    std::map<std::int32_t, Regions> m_registry;
};

}  // namespace cam
