// When cameras are left open, threads of the library run until the process ends, so it is never
// unloaded.
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
