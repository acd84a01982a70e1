// What programs of MSVC's interface take of Windows here, declared by hand: there is no SDK of its
// maker's on the machine that compiles them.
#pragma once

#include <cstddef>
#include <cstdint>

using Handle = void*;

struct ThreadEntry {  // THREADENTRY32
    std::uint32_t size;
    std::uint32_t usage;
    std::uint32_t thread;
    std::uint32_t process;
    std::int32_t priorities[2];
    std::uint32_t flags;
};

struct ProcessMemory {  // PROCESS_MEMORY_COUNTERS
    std::uint32_t size;
    std::uint32_t pageFaults;
    std::size_t workingSet[2];
    std::size_t pools[4];
    std::size_t pagefileUsage;
    std::size_t peakPagefileUsage;
};

extern "C" {

// kernel32
Handle LoadLibraryExA(const char* path, Handle file, std::uint32_t flags);
int FreeLibrary(Handle library);
void* GetProcAddress(Handle library, const char* name);
Handle GetModuleHandleA(const char* name);
std::uint32_t GetModuleFileNameA(Handle library, char* path, std::uint32_t size);
std::uint32_t GetLastError();
const char* GetCommandLineA();
[[noreturn]] void ExitProcess(unsigned code);
void Sleep(std::uint32_t milliseconds);
std::uint64_t GetTickCount64();
Handle OpenFileMappingA(std::uint32_t access, int inherit, const char* name);
void* MapViewOfFile(Handle mapping, std::uint32_t access, std::uint32_t high, std::uint32_t low,
                    std::size_t size);
int HeapValidate(Handle heap, std::uint32_t flags, const void* block);
int CloseHandle(Handle handle);
Handle CreateEventA(void* security, int manual, int set, const char* name);
Handle GetCurrentProcess();
std::uint32_t GetCurrentProcessId();
int GetProcessHandleCount(Handle process, std::uint32_t* count);
Handle CreateToolhelp32Snapshot(std::uint32_t flags, std::uint32_t process);
int Thread32First(Handle snapshot, ThreadEntry* entry);
int Thread32Next(Handle snapshot, ThreadEntry* entry);
int K32GetProcessMemoryInfo(Handle process, ProcessMemory* memory, std::uint32_t size);

// msvcrt
int printf(const char* format, ...);
int sprintf(char* text, const char* format, ...);
int sscanf(const char* text, const char* format, ...);
int _vsnprintf(char* text, std::size_t size, const char* format, __builtin_va_list arguments);
int strcmp(const char* left, const char* right);
int strncmp(const char* left, const char* right, std::size_t size);
std::size_t strlen(const char* text);
const char* strstr(const char* text, const char* part);
char* strrchr(const char* text, int character);
char* strncpy(char* to, const char* from, std::size_t size);
void* memcpy(void* to, const void* from, std::size_t size);
Handle _get_heap_handle();
std::int64_t _spawnl(int mode, const char* program, const char* argument0, ...);

// Asked for by the compiler wherever doubles are used.
extern int _fltused;

}  // extern "C"

inline constexpr std::uint32_t kLoadFromDllFolder = 0x100;  // LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR
inline constexpr std::uint32_t kLoadFromDefaultFolders =
    0x1000;  // LOAD_LIBRARY_SEARCH_DEFAULT_DIRS
inline constexpr std::uint32_t kMapRead = 4;
inline constexpr int kSpawnAndWait = 0;
