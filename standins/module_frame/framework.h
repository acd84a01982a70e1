// The state of the framework: the modules' handles and the host's settings for all of them.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "module/framework/module_frame.h"
#include "standins/callback_slot.h"
#include "standins/module_frame/call_table.h"
#include "standins/module_frame/module_frame_host.h"
#include "standins/module_frame/values.h"

namespace module_frame {

using Status = std::uint32_t;

struct NotifyTarget {
    NotifyEventCallback callback = nullptr;
    void* context = nullptr;
};

struct Handle {
    std::int32_t moduleId = 0;
    std::int32_t createCause = 0;
    Status lastError = 0;
    NotifyTarget notify;
    ValueHistory values;
};

class Framework {
  public:
    Framework();

    [[nodiscard]] void* AddHandle(std::int32_t moduleId, std::int32_t createCause);
    void RemoveHandle(void* handle);

    // Runs `use` on the handle under the lock; kModuleFrameBadArgument if there is no such handle.
    // `use` must not call out.
    template <typename Use>
    [[nodiscard]] Status WithHandle(void* handle, Use&& use) {
        const std::lock_guard lock(m_mutex);
        const auto found = m_handles.find(handle);
        if (found == m_handles.end()) {
            return kModuleFrameBadArgument;
        }
        use(found->second);
        return 0;
    }

    void SetConfigFolder(const char* folder);

    // The parameters of a file in the configuration folder: an empty list if it is missing, nothing
    // if it is damaged.
    [[nodiscard]] std::optional<Values> ReadConfig(const std::string& file) const;

    CallTable calls;
    standins::CallbackSlot<ModuleFrameObserver> observer;
    std::atomic<std::int32_t> globalCameraNum{0};
    std::atomic<std::uint32_t> bufferNodeNum{0};

  private:
    mutable std::mutex m_mutex;  // guards all below; never held while a module or host is called
    std::map<void*, Handle> m_handles;
    std::uintptr_t m_lastHandle = 0;
    std::string m_configFolder;
};

// The process's instance. Leaked on purpose: modules may report while statics are being destroyed.
[[nodiscard]] Framework& TheFramework();

}  // namespace module_frame
