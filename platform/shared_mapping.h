// A block of memory that other processes can map by its name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace platform {

// Owner of one named mapping and this process's view of it. The name exists while the mapping is
// open: on Linux the object is unlinked when it closes. Errors are system error numbers (errno,
// GetLastError), 0 for success.
class SharedMapping {
  public:
    static constexpr std::size_t kMaxName = 64;  // with the terminator

    // Create's result when only the name is unavailable; another name may work.
    static const int kNameInUse;

    // Whether the system can name memory that exists already. Without it CreateUnnamed fails.
    static const bool kCanNameLater;

    SharedMapping() = default;
    ~SharedMapping();
    SharedMapping(SharedMapping&& other) noexcept;
    SharedMapping& operator=(SharedMapping&& other) noexcept;

    // Creates the named object with `size` bytes, all zero and backed by memory from the start, so
    // that lack of memory is an error here and not a fault at the first write. Readable by this
    // user only. On Linux an object of this user left under the name is replaced; anything else
    // there, and on Windows an object that anybody still holds open, is kNameInUse. Closes an open
    // mapping first.
    [[nodiscard]] int Create(const char* name, std::uint64_t size);

    // As Create, but the object has no name, so that no other process sees it. Refused unless as
    // much memory again stays free.
    [[nodiscard]] int CreateUnnamed(std::uint64_t size);

    // Names a mapped object that has no name, as Create would have named it. If this fails, the
    // object stays unnamed.
    [[nodiscard]] int GiveName(const char* name);

    // Opens an object that another owner created, for reading; does not unlink it. Closes an open
    // mapping first. On Linux opens only objects of this user.
    [[nodiscard]] int Open(const char* name);

    // Maps the whole object, once per Create or Open, and populates its pages, so that the first
    // frame does not pay for them. The view of an object opened for reading must not be written. On
    // Linux a mapped object holds no file descriptor.
    [[nodiscard]] int Map();

    // Both are harmless when there is nothing to undo.
    [[nodiscard]] int Unmap();
    [[nodiscard]] int Close();

    [[nodiscard]] bool IsOpen() const noexcept { return m_open; }
    [[nodiscard]] std::byte* View() const noexcept { return m_view; }

    // For an object opened for reading on Windows: 0 until it is mapped, then rounded up to pages.
    [[nodiscard]] std::uint64_t Size() const noexcept { return m_size; }

  private:
    static constexpr long long kNoHandle = -1;

    [[nodiscard]] bool StoreName(const char* name) noexcept;
    void UnmapAndClose() noexcept;
    int CloseDescriptor() noexcept;  // Linux

    long long m_handle = kNoHandle;  // a file descriptor, until mapped and named, or a HANDLE
    std::byte* m_view = nullptr;
    std::uint64_t m_size = 0;
    bool m_open = false;
    bool m_owner = false;
    char m_name[kMaxName] = {};
};

// The id of the process that created the object of that name; nothing for other names.
using OwnerOfName = std::optional<std::uint32_t> (*)(std::string_view name);

// Removes this user's objects that SharedMapping::Create made in processes that are gone, as their
// names tell. A process of another container that shares the objects' folder counts as alive while
// it has an object. Anything uncertain or not removable is left. On Windows the system removes such
// objects itself and this does nothing.
void RemoveObjectsOfDeadProcesses(OwnerOfName ownerOf) noexcept;

}  // namespace platform
