// Ownership of what GLib and Aravis return.
#pragma once

#include <arv.h>

#include <memory>

namespace kz {

struct GObjectUnref {
    void operator()(gpointer object) const noexcept { g_object_unref(object); }
};
// One reference to a GObject.
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

struct GFree {
    void operator()(gpointer memory) const noexcept { g_free(memory); }
};
template <typename T>
using GMemory = std::unique_ptr<T[], GFree>;

// The error of one GLib call: pass Out() to it and check afterwards.
class GErrorHolder {
  public:
    GErrorHolder() = default;
    ~GErrorHolder() { g_clear_error(&m_error); }
    GErrorHolder(const GErrorHolder&) = delete;
    GErrorHolder& operator=(const GErrorHolder&) = delete;

    // Empty again, whatever an earlier call left.
    [[nodiscard]] GError** Out() {
        g_clear_error(&m_error);
        return &m_error;
    }
    explicit operator bool() const { return m_error != nullptr; }
    [[nodiscard]] const GError* Get() const { return m_error; }

  private:
    GError* m_error = nullptr;
};

}  // namespace kz
