#include "host/machine.h"

#include <windows.h>

namespace host {

MachineLimits AskMachine() {
    MachineLimits limits;
    MEMORYSTATUSEX memory{};
    memory.dwLength = sizeof memory;
    if (GlobalMemoryStatusEx(&memory) != 0) {
        limits.sharedMemory = memory.ullAvailPageFile;
    }
    return limits;
}

void LowerThreadPriority() {
    SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_BELOW_NORMAL);
}

}  // namespace host
