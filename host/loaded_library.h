// Functions of libraries that the module brought into the process.
#pragma once

namespace host {

// The exported function of a library ("KZCameraControl") that is loaded already; null where the
// library is not loaded or has no such function.
[[nodiscard]] void (*FindLoadedFunction(const char* library, const char* function))();

template <typename Function>
[[nodiscard]] Function* FindLoaded(const char* library, const char* function) {
    return reinterpret_cast<Function*>(FindLoadedFunction(library, function));
}

}  // namespace host
