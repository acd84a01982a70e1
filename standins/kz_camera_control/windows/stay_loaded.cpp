// Threads of the library run until the process ends, when cameras are left open, so it is never
// unloaded from beneath them.
#include <windows.h>

namespace kz {
namespace {

bool StayLoaded() {
    HMODULE library = nullptr;
    return GetModuleHandleExW(
               GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
               reinterpret_cast<LPCWSTR>(&StayLoaded), &library) != 0;
}

[[maybe_unused]] const bool stayLoaded = StayLoaded();

}  // namespace
}  // namespace kz
