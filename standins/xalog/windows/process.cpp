#include "standins/xalog/process.h"

#include <windows.h>

#include <thread>

namespace xalog {
namespace {

constinit ProcessHooks processHooks{};
constinit LPTOP_LEVEL_EXCEPTION_FILTER filterBefore = nullptr;

LONG WINAPI OnUnhandledException(EXCEPTION_POINTERS* exception) {
    processHooks.ending(false);
    return filterBefore != nullptr ? filterBefore(exception) : EXCEPTION_CONTINUE_SEARCH;
}

// Runs when the system detaches the library at the end of the process.
struct OrderlyEnd {
    ~OrderlyEnd() {
        if (processHooks.ending != nullptr) {
            processHooks.ending(true);
        }
    }
} orderlyEnd;

}  // namespace

void WatchProcess(const ProcessHooks& hooks) noexcept {
    processHooks = hooks;
    // A thread can neither be joined nor left behind when a library is unloaded.
    HMODULE library = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<LPCWSTR>(&OnUnhandledException), &library);
    filterBefore = SetUnhandledExceptionFilter(&OnUnhandledException);
}

bool StartThread(void (*run)(void* argument), void* argument) noexcept {
    try {
        std::thread(run, argument).detach();
        return true;
    } catch (...) {
        return false;
    }
}

}  // namespace xalog
