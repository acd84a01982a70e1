// A block of memory that other processes can map by its name.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

// Owner of one named mapping and this process's view of it. The name lives as long as the
// mapping is open: on Linux the object is unlinked when it closes.
// Errors are system error numbers (errno, GetLastError), 0 for success.
class SharedMapping {
  public:
    static constexpr std::size_t kMaxName = 64;  // with the terminator

    SharedMapping() = default;
    ~SharedMapping();
    SharedMapping(const SharedMapping&) = delete;
    SharedMapping& operator=(const SharedMapping&) = delete;

    // Makes the named object with room for `size` bytes, all zero and backed by memory from the
    // start, so that a full machine is an error here and not a fault at the first write. Readable
    // by this user only. An object of that name left behind is replaced on Linux; on Windows one
    // that anybody still holds open is in the way, ERROR_ALREADY_EXISTS. An open mapping is closed
    // first.
    [[nodiscard]] int Create(const char* name, std::uint64_t size);

    // Opens an object that another owner made, for reading; it is not unlinked by this one. An open
    // mapping is closed first.
    [[nodiscard]] int Open(const char* name);

    // Maps the whole object and populates its pages, so that the first frame does not pay for them.
    // The view of an object that was opened for reading must not be written.
    [[nodiscard]] int Map();

    // Both are harmless when there is nothing to undo.
    [[nodiscard]] int Unmap();
    [[nodiscard]] int Close();

    [[nodiscard]] bool IsOpen() const noexcept { return m_handle != kNoHandle; }
    [[nodiscard]] std::byte* View() const noexcept { return m_view; }

    // Of an object opened for reading on Windows: 0 until it is mapped, then rounded up to pages.
    [[nodiscard]] std::uint64_t Size() const noexcept { return m_size; }

  private:
    static constexpr long long kNoHandle = -1;

    [[nodiscard]] bool StoreName(const char* name) noexcept;
    void UnmapAndClose() noexcept;

    long long m_handle = kNoHandle;  // a file descriptor or a HANDLE
    std::byte* m_view = nullptr;
    std::uint64_t m_size = 0;
    bool m_owner = false;
    char m_name[kMaxName] = {};
};

// Removes the regions whose names carry the process id of a process that is gone. A region name is
// "{module-key-pid-{guid}-index}"; only names of exactly that form are touched. On Windows the
// system removes them itself and this does nothing.
void SweepRegionsOfDeadProcesses();

}  // namespace platform
