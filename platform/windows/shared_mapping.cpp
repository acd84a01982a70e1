#include "platform/shared_mapping.h"

#include <windows.h>

#include <utility>

namespace platform {
namespace {

int LastError() {
    return static_cast<int>(GetLastError());
}

// Takes the page faults now. Each page is rewritten with its own content, because after a mere read
// the first write would fault again.
void Populate(std::byte* view, std::uint64_t size, bool writable) {
    SYSTEM_INFO system{};
    GetSystemInfo(&system);
    for (std::uint64_t offset = 0; offset < size; offset += system.dwPageSize) {
        volatile std::byte* const page = view + offset;
        const std::byte held = *page;
        if (writable) {
            *page = held;
        }
    }
}

std::uint64_t ViewSize(const void* view) {
    MEMORY_BASIC_INFORMATION information{};
    VirtualQuery(view, &information, sizeof(information));
    return information.RegionSize;
}

}  // namespace

const int SharedMapping::kNameInUse = ERROR_ALREADY_EXISTS;
const bool SharedMapping::kCanNameLater = false;

int SharedMapping::Create(const char* name, std::uint64_t size) {
    UnmapAndClose();
    if (size == 0 || !StoreName(name)) {
        return ERROR_INVALID_PARAMETER;
    }
    const HANDLE mapping =
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE,
                           static_cast<DWORD>(size >> 32), static_cast<DWORD>(size), m_name);
    // Set on success too: the handle then refers to an older object, with its size and readers.
    const int error = LastError();
    if (mapping == nullptr) {
        return error == ERROR_INVALID_HANDLE ? kNameInUse : error;  // an object of another kind
    }
    if (error == ERROR_ALREADY_EXISTS) {
        CloseHandle(mapping);
        return kNameInUse;
    }
    m_handle = reinterpret_cast<long long>(mapping);
    m_size = size;
    m_open = true;
    m_owner = true;
    return 0;
}

int SharedMapping::CreateUnnamed(std::uint64_t) {
    UnmapAndClose();
    return ERROR_NOT_SUPPORTED;
}

int SharedMapping::GiveName(const char*) {
    return ERROR_NOT_SUPPORTED;
}

int SharedMapping::Open(const char* name) {
    UnmapAndClose();
    if (!StoreName(name)) {
        return ERROR_INVALID_PARAMETER;
    }
    const HANDLE mapping = OpenFileMappingA(FILE_MAP_READ, FALSE, m_name);
    if (mapping == nullptr) {
        return LastError();
    }
    m_handle = reinterpret_cast<long long>(mapping);
    m_open = true;
    return 0;
}

int SharedMapping::Map() {
    if (m_view != nullptr) {
        return 0;
    }
    if (!IsOpen()) {
        return ERROR_INVALID_HANDLE;
    }
    // An unknown size is 0, which maps the whole object.
    void* const view = MapViewOfFile(reinterpret_cast<HANDLE>(m_handle),
                                     m_owner ? FILE_MAP_ALL_ACCESS : FILE_MAP_READ, 0, 0, m_size);
    if (view == nullptr) {
        return LastError();
    }
    m_view = static_cast<std::byte*>(view);
    if (m_size == 0) {
        m_size = ViewSize(view);
    }
    Populate(m_view, m_size, m_owner);
    return 0;
}

int SharedMapping::Unmap() {
    std::byte* const view = std::exchange(m_view, nullptr);
    return view == nullptr || UnmapViewOfFile(view) ? 0 : LastError();
}

int SharedMapping::Close() {
    if (!IsOpen()) {
        return 0;
    }
    const HANDLE mapping = reinterpret_cast<HANDLE>(std::exchange(m_handle, kNoHandle));
    m_open = false;
    m_owner = false;
    return CloseHandle(mapping) ? 0 : LastError();
}

void RemoveObjectsOfDeadProcesses(OwnerOfName) noexcept {}

}  // namespace platform
