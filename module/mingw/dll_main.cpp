// Frees what the statically linked run-time library would leave in the host at an unload:
// winpthreads' record of the unloading thread, which holds two handles, and the 70 KiB that
// libstdc++ keeps for exceptions. Does nothing at a load, nor at process exit, where the system has
// stopped the other threads wherever they were.
#include <windows.h>

namespace __gnu_cxx {
void __freeres();
}

extern "C" {

extern const IMAGE_TLS_DIRECTORY _tls_used;

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID processEnds) {
    if (reason == DLL_PROCESS_DETACH && processEnds == nullptr) {
        // As the system does for every thread that ends.
        const auto* callback =
            reinterpret_cast<const PIMAGE_TLS_CALLBACK*>(_tls_used.AddressOfCallBacks);
        for (; *callback != nullptr; ++callback) {
            (*callback)(library, DLL_THREAD_DETACH, nullptr);
        }
        __gnu_cxx::__freeres();
    }
    return TRUE;
}

}  // extern "C"
