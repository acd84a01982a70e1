// The host side of the framework stand-in: what a platform does with the modules it loads. The
// module never sees this. Plain C types only, so that host and library may differ in their runtime.
// Every function may be called from any thread; paths are UTF-8. For an invalid handle these
// functions, and those that modules call, return kModuleFrameBadArgument.
#pragma once

#include <cstdint>

#include "module/framework/module_frame.h"

extern "C" {

// Called on the thread of the module that reports, with no lock of the stand-in held: a callback
// may call back into the module and into this library. Any pointer may be null.
struct ModuleFrameObserver {
    void* user;
    // CQ_M_ReportData; `text` is not NUL-terminated.
    void (*onReport)(void* user, void* handle, std::uint32_t code, const char* text,
                     std::uint32_t length);
    // CQ_M_SetBinayData; `data` is not NUL-terminated.
    void (*onBinaryData)(void* user, std::int32_t kind, const char* key, const char* data,
                         std::uint32_t length);
    // CQ_M_TryRunProcedureOnceById; 0 accepts. If null, every procedure refuses with
    // kModuleFrameRefused.
    std::uint32_t (*onTryRunProcedure)(void* user, std::int32_t procedureId, const char* text,
                                       std::int32_t reserved);
};

inline constexpr std::uint32_t kModuleFrameRefused = 0xE1000001;  // no procedure took the run
inline constexpr std::uint32_t kModuleFrameBadArgument = 0xE1000002;
inline constexpr std::uint32_t kModuleFrameNoFile = 0xE1000003;  // not readable, writable or whole
inline constexpr std::uint32_t kModuleFrameFailed = 0xE1000004;  // no memory, no thread

// A handle for one module to be created. `createCause` 2 asks it not to enumerate cameras. Destroy
// the handle after the module.
void* ModuleFrame_CreateHandle(std::int32_t moduleId, std::int32_t createCause);
void ModuleFrame_DestroyHandle(void* handle);

// One observer per process, copied; null removes it. Returns when no thread is inside the old one
// any more (called from inside a callback, it does not wait for that callback).
void ModuleFrame_SetObserver(const ModuleFrameObserver* observer);

// The folder of "GlobalCameraModuleAlgorithm.xml"; default: the environment's
// MODULE_FRAME_CONFIG_DIR, else the program's working folder, as for null. A missing file reads as
// an empty list, a damaged one as kModuleFrameNoFile.
void ModuleFrame_SetConfigFolder(const char* folder);

// The result of CQ_M_GetBufferNodeNum; default 0.
void ModuleFrame_SetBufferNodeNum(std::uint32_t number);

// Calls the module's notify callback from a thread of the framework and returns its result;
// kModuleFrameBadArgument when the module has none. Not while the module is being destroyed.
std::uint32_t ModuleFrame_RunNotifyEvent(void* handle, std::int32_t event, void* argument);

// What modules reported to the framework.
std::uint32_t ModuleFrame_LastError(void* handle);
std::int32_t ModuleFrame_GlobalCameraNum();
// Calls of one framework function ("CQ_M_ReportData") since the process started.
std::uint64_t ModuleFrame_CallCount(const char* function);

// The next `count` calls of `function` are counted, return `status` and do nothing; 0 ends this.
void ModuleFrame_FailCalls(const char* function, std::uint32_t status, std::int32_t count);

// Sets one value of the module through slot 3. The framework remembers per handle each value that
// the module accepted, in the order of the last setting, and the base class's SaveModuleData saves
// those; so send commands, which a load must not repeat, to the module directly. "AddRelateProc"
// and "DelRelateProc" are only passed on: modules save their relations themselves. A text too long
// for the record, or a 257th name, is refused with kModuleFrameBadArgument.
std::uint32_t ModuleFrame_SetParam(void* handle, CAbstractUserModule* module, const char* key,
                                   const char* value);

// A solution in a readable text file. Save calls the module through slot 5 and replaces the file as
// a whole; load passes the record to the module through slot 6, its binary data valid until that
// call returns, and makes the loaded values the remembered ones. Returns the module's status,
// kModuleFrameNoFile for a file that is missing, damaged or not writable (the module is then not
// called to load), or kModuleFrameBadArgument for a malformed record.
std::uint32_t ModuleFrame_SaveSolution(void* handle, CAbstractUserModule* module, const char* path);
std::uint32_t ModuleFrame_LoadSolution(void* handle, CAbstractUserModule* module, const char* path);

}  // extern "C"
