#include "standins/module_frame/framework.h"

#include <cstddef>
#include <cstdlib>

#include "standins/module_frame/config_file.h"
#include "standins/module_frame/files.h"

namespace module_frame {

Framework& TheFramework() {
    static Framework* const framework = new Framework;
    return *framework;
}

Framework::Framework() {
    SetConfigFolder(std::getenv("MODULE_FRAME_CONFIG_DIR"));
}

void* Framework::AddHandle(std::int32_t moduleId, std::int32_t createCause) {
    const std::lock_guard lock(m_mutex);
    // An opaque id, never reused: a handle used after its end is refused.
    m_lastHandle += alignof(std::max_align_t);
    void* const handle = reinterpret_cast<void*>(m_lastHandle);
    Handle& added = m_handles[handle];
    added.moduleId = moduleId;
    added.createCause = createCause;
    return handle;
}

void Framework::RemoveHandle(void* handle) {
    const std::lock_guard lock(m_mutex);
    m_handles.erase(handle);
}

void Framework::SetConfigFolder(const char* folder) {
    const std::lock_guard lock(m_mutex);
    m_configFolder = folder == nullptr ? "" : folder;
}

std::optional<Values> Framework::ReadConfig(const std::string& file) const {
    std::string path;
    {
        const std::lock_guard lock(m_mutex);
        path = JoinFolder(m_configFolder, file);
    }
    if (!FileExists(path)) {
        return Values();
    }
    const std::optional<std::string> text = ReadFile(path);
    if (!text) {
        return std::nullopt;
    }
    return ParseConfig(*text);
}

}  // namespace module_frame
