// A module whose creation fails, and that says why.
#include "module/framework/module_frame.h"
#include "module/framework/status_codes.h"

extern "C" {

[[gnu::visibility("default")]] CAbstractUserModule* CreateModule(void* handle);
[[gnu::visibility("default")]] void DestroyModule(void* handle, CAbstractUserModule* module);

CAbstractUserModule* CreateModule(void* handle) {
    CQ_M_SetLastError(handle, cam::kNoResources);
    return nullptr;
}

void DestroyModule(void*, CAbstractUserModule*) {}

}  // extern "C"
