#include "host/loaded_library.h"

#include <windows.h>

namespace host {

void (*FindLoadedFunction(const char* library, const char* function))() {
    HMODULE const loaded = GetModuleHandleA(library);
    return loaded == nullptr ? nullptr
                             : reinterpret_cast<void (*)()>(GetProcAddress(loaded, function));
}

}  // namespace host
