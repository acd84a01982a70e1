// A shared library loaded from its file at run time.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// Move-only owner of a loaded library; the code is unloaded with it, so nothing of the library may
// be in use by then.
class DynamicLibrary {
  public:
    DynamicLibrary() = default;
    ~DynamicLibrary();
    DynamicLibrary(DynamicLibrary&& other) noexcept;
    DynamicLibrary& operator=(DynamicLibrary&& other) noexcept;

    // Loads the file at `path` (UTF-8); the libraries that it needs are searched for next to it,
    // too, but not in the current folder. On failure the owner stays empty and `error` receives the
    // system's reason.
    [[nodiscard]] bool Load(const std::string& path, std::string& error);

    [[nodiscard]] bool IsLoaded() const noexcept { return m_handle != nullptr; }

    // The exported function of that name, or null.
    template <typename Function>
    [[nodiscard]] Function* Find(const char* name) const noexcept {
        return reinterpret_cast<Function*>(Symbol(name));
    }

  private:
    using AnyFunction = void (*)();

    [[nodiscard]] AnyFunction Symbol(const char* name) const noexcept;
    void Unload() noexcept;

    void* m_handle = nullptr;
};

// The file name of the library on this system: "libX.so", "X.dll".
[[nodiscard]] std::string LibraryFileName(std::string_view name);

}  // namespace platform
