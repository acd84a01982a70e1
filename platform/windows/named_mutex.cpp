#include "platform/named_mutex.h"

#include <windows.h>

#include "platform/windows/wide_text.h"

namespace platform {

NamedMutexHold::NamedMutexHold(const std::string& name) : m_name(name) {
    const std::wstring wideName = ToWide(name, CP_UTF8);
    HANDLE mutex = OpenMutexW(MUTEX_ALL_ACCESS, FALSE, wideName.c_str());
    if (mutex == nullptr) {
        mutex = CreateMutexW(nullptr, FALSE, wideName.c_str());
    }
    if (mutex == nullptr) {
        m_error = static_cast<int>(GetLastError());
        return;
    }
    const DWORD result = WaitForSingleObject(mutex, INFINITE);
    // Abandoned: the former holder died. What the mutex serialises has no state that could be left
    // half updated.
    if (result == WAIT_OBJECT_0 || result == WAIT_ABANDONED) {
        m_handle = reinterpret_cast<long long>(mutex);
    } else {
        m_error = static_cast<int>(GetLastError());
        CloseHandle(mutex);
    }
}

NamedMutexHold::~NamedMutexHold() {
    if (Owned()) {
        const HANDLE mutex = reinterpret_cast<HANDLE>(m_handle);
        ReleaseMutex(mutex);
        CloseHandle(mutex);
    }
}

}  // namespace platform
