// The host framework `ModuleFrame` as the module uses it: the base class of a user module, the
// exchanged records and the framework functions. Little-endian, 64-bit.
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr std::size_t kFrameworkNameSize = 260;
inline constexpr std::size_t kFrameworkValueSize = 1024;
inline constexpr std::uint32_t kFrameworkMaxEntries = 256;

// One parameter: NUL-terminated name and value. The tail belongs to the framework.
struct ModuleParamEntry {
    char name[kFrameworkNameSize];
    char value[kFrameworkValueSize];
    std::uint8_t frameworkData[128];
};
static_assert(sizeof(ModuleParamEntry) == 1412);
static_assert(offsetof(ModuleParamEntry, value) == 260);

struct ModuleParamList {
    std::int32_t nNum;
    ModuleParamEntry entries[kFrameworkMaxEntries];
    std::uint8_t frameworkData[128];
};
static_assert(sizeof(ModuleParamList) == 361'604);
static_assert(offsetof(ModuleParamList, entries) == 4);

struct ModuleBinaryItem {
    char name[kFrameworkNameSize];
    std::uint32_t reserved0;
    const void* data;  // owned by the side that filled the record, valid until its next save
    std::uint32_t length;
    std::uint32_t reserved1;
};
static_assert(sizeof(ModuleBinaryItem) == 280);
static_assert(offsetof(ModuleBinaryItem, data) == 264);
static_assert(offsetof(ModuleBinaryItem, length) == 272);

inline constexpr std::int32_t kFrameworkMaxBinaryItems = 64;

struct SAVE_MODULE_DATA_PARAM {
    ModuleParamList params;
    std::uint32_t reserved0;
    std::uint32_t hasModuleData;  // SaveModuleData sets it to 1
    std::uint32_t reserved1;
    std::int32_t binaryCount;
    std::uint32_t reserved2;
    ModuleBinaryItem binaries[kFrameworkMaxBinaryItems];
};
static_assert(offsetof(SAVE_MODULE_DATA_PARAM, hasModuleData) == 361'608);
static_assert(offsetof(SAVE_MODULE_DATA_PARAM, binaryCount) == 361'616);
static_assert(offsetof(SAVE_MODULE_DATA_PARAM, binaries) == 361'624);

// What CQ_M_GetModuleNodeInfo returns about a module; the module stores it and never reads it.
struct ModuleNodeInfo {
    std::uint8_t frameworkData[648];
};
static_assert(sizeof(ModuleNodeInfo) == 648);

// Base of every user module. The host calls the virtual operations on its own threads, possibly
// several at once. Every operation returns a 32-bit status, 0 for success.
//
// On Windows its binary interface is MSVC's, whichever compiler is used. MSVC's table of virtual
// functions has one entry for the destructor, GCC's has two, so for GCC slot 0 is an ordinary
// virtual function and the destructor stays out of the table. With GCC, derive from UserModule
// below and link module/framework/mingw/base_class.cpp.
class CAbstractUserModule {
  public:
    CAbstractUserModule();
    CAbstractUserModule(const CAbstractUserModule&) = delete;
    CAbstractUserModule& operator=(const CAbstractUserModule&) = delete;

#ifdef __MINGW32__
    // Slot 0. Destroys the module, frees it if `flags` has kFreeModule, and returns it.
    virtual void* DeletingDestructor(std::uint32_t flags);
#else
    virtual ~CAbstractUserModule();
#endif

    // Keeps the slot order; does nothing and returns 0.
    virtual std::uint32_t Reserved();

    // Writes the value of `key` as text (or a binary record, for keys that say so) into `value`, a
    // buffer of `size` bytes; only the few keys that say so write `length`.
    virtual std::uint32_t GetParam(const char* key, char* value, std::int32_t size,
                                   std::uint32_t* length);
    // Sets or commands `key`; `value` holds `size` bytes.
    virtual std::uint32_t SetParam(const char* key, const char* value, std::int32_t size);
    virtual std::uint32_t GetCurrentConfig(ModuleParamList* list);
    // The base fills the parameter half of the record with the framework's current values.
    virtual std::uint32_t SaveModuleData(SAVE_MODULE_DATA_PARAM* record);
    virtual std::uint32_t LoadModuleData(SAVE_MODULE_DATA_PARAM* record);
    virtual std::uint32_t Init();
    virtual std::uint32_t DeInit();

    // Stored before Init; passed to every framework function that takes a handle.
    void* m_hModule = nullptr;

#ifdef __MINGW32__
  protected:
    ~CAbstractUserModule();
#endif
};
static_assert(sizeof(CAbstractUserModule) == 16, "table of operations, then the handle");

// Base of a module, as `class M : public UserModule<M>`; destroys and frees it through slot 0.
#ifdef __MINGW32__
inline constexpr std::uint32_t kFreeModule = 1;

template <typename Module>
class UserModule : public CAbstractUserModule {
  public:
    void* DeletingDestructor(std::uint32_t flags) final {
        auto* const module = static_cast<Module*>(this);
        if ((flags & kFreeModule) != 0) {
            delete module;
        } else {
            module->~Module();
        }
        return module;
    }

  protected:
    ~UserModule() = default;
};

inline void DeleteModule(CAbstractUserModule* module) {
    module->DeletingDestructor(kFreeModule);
}
#else
template <typename Module>
using UserModule = CAbstractUserModule;

inline void DeleteModule(CAbstractUserModule* module) {
    delete module;
}
#endif

using NotifyEventCallback = std::uint32_t (*)(std::int32_t event, void* argument, void* context);

// Event 1: the relations between modules changed; look the receivers up again.
inline constexpr std::int32_t kNotifyRelationsChanged = 1;

// A module created for this cause must not enumerate cameras.
inline constexpr std::int32_t kCreateCauseNoEnumeration = 2;

// Report codes of CQ_M_ReportData.
inline constexpr std::uint32_t kReportFrameArrived = 1026;
inline constexpr std::uint32_t kReportFrameStarted = 1029;
inline constexpr std::uint32_t kReportCameraState = 1030;
inline constexpr std::uint32_t kReportCameraSource = 0xC0000000;

// Kind of data of CQ_M_SetBinayData: a camera went on or off line.
inline constexpr std::int32_t kBinaryCameraState = 11000;

inline constexpr std::uint32_t kGlobalCameraNumPattern = 0xCACACACA;
inline constexpr char kModuleConfigFile[] = "GlobalCameraModuleAlgorithm.xml";

// All return a 32-bit status, 0 for success; texts are NUL-terminated, lengths exclude the NUL.
extern "C" {
std::uint32_t CQ_M_GetModuleId(void* handle, std::int32_t* moduleId);
std::uint32_t CQ_M_GetCreateModuleCause(void* handle, std::int32_t* cause);
std::uint32_t CQ_M_GetDefaultConfigByFile(void* handle, const char* file, ModuleParamList* list,
                                          std::int32_t reserved);
std::uint32_t CQ_M_GetCurrentConfigByFile(void* handle, const char* file, ModuleParamList* list,
                                          std::int32_t reserved);
std::uint32_t CQ_M_SetLastError(void* handle, std::uint32_t status);
std::uint32_t CQ_M_NotifyIncGlobalCameraNum(void* handle, std::int32_t count,
                                            std::uint32_t pattern);
std::uint32_t CQ_M_NotifyDecGlobalCameraNum(void* handle, std::int32_t count,
                                            std::uint32_t pattern);
// The framework calls `callback` on a thread of its own.
std::uint32_t CQ_M_SetNotifyEventCallback(void* handle, NotifyEventCallback callback,
                                          void* context);
std::uint32_t CQ_M_GetModuleNodeInfo(std::int32_t moduleId, ModuleNodeInfo* info);
// The number of buffer nodes that the platform requests.
std::uint32_t CQ_M_GetBufferNodeNum(std::uint32_t* number);
std::uint32_t CQ_M_ReportData(void* handle, std::uint32_t code, const char* text,
                              std::uint32_t length);
// 0: the procedure was started.
std::uint32_t CQ_M_TryRunProcedureOnceById(std::int32_t procedureId, const char* text,
                                           std::int32_t reserved);
std::uint32_t CQ_M_SetBinayData(std::int32_t kind, const char* key, const char* data,
                                std::uint32_t length);
}  // extern "C"
