#include "host/loaded_library.h"

#include <dlfcn.h>

#include "platform/library.h"

namespace host {

void (*FindLoadedFunction(const char* library, const char* function))() {
    void* const handle =
        dlopen(platform::LibraryFileName(library).c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle == nullptr) {
        return nullptr;
    }
    auto* const found = reinterpret_cast<void (*)()>(dlsym(handle, function));
    dlclose(handle);  // whoever loaded it keeps it
    return found;
}

}  // namespace host
