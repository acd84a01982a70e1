// A framework of MSVC's interface, with no more to it than the host of this folder and a module
// need.
#include "standins/module_frame/module_frame_host.h"
#include "system.h"

int _fltused = 0;

namespace {

struct ModuleHandle {
    std::int32_t id;
    std::int32_t cause;
    NotifyEventCallback callback;
    void* context;
    char names[8][64];
    char values[8][64];
    std::int32_t count;
};

ModuleHandle g_handles[4];
std::int32_t g_handleCount = 0;
std::int32_t g_cameras = 0;
ModuleFrameObserver g_observer;

ModuleHandle& Of(void* handle) {
    return *static_cast<ModuleHandle*>(handle);
}

}  // namespace

CAbstractUserModule::CAbstractUserModule() = default;
CAbstractUserModule::~CAbstractUserModule() {
    Of(m_hModule).callback = nullptr;
}
std::uint32_t CAbstractUserModule::Reserved() {
    return 0;
}
std::uint32_t CAbstractUserModule::GetParam(const char*, char*, std::int32_t, std::uint32_t*) {
    return 1;
}
std::uint32_t CAbstractUserModule::SetParam(const char*, const char*, std::int32_t) {
    return 1;
}
std::uint32_t CAbstractUserModule::GetCurrentConfig(ModuleParamList*) {
    return 1;
}
std::uint32_t CAbstractUserModule::SaveModuleData(SAVE_MODULE_DATA_PARAM* record) {
    const ModuleHandle& handle = Of(m_hModule);
    for (record->params.nNum = 0; record->params.nNum < handle.count; ++record->params.nNum) {
        const std::int32_t i = record->params.nNum;
        memcpy(record->params.entries[i].name, handle.names[i], sizeof handle.names[i]);
        memcpy(record->params.entries[i].value, handle.values[i], sizeof handle.values[i]);
    }
    return 0;
}
std::uint32_t CAbstractUserModule::LoadModuleData(SAVE_MODULE_DATA_PARAM*) {
    return 1;
}
std::uint32_t CAbstractUserModule::Init() {
    return 1;
}
std::uint32_t CAbstractUserModule::DeInit() {
    return 1;
}

extern "C" {

std::uint32_t CQ_M_GetModuleId(void* handle, std::int32_t* moduleId) {
    *moduleId = Of(handle).id;
    return 0;
}
std::uint32_t CQ_M_GetCreateModuleCause(void* handle, std::int32_t* cause) {
    *cause = Of(handle).cause;
    return 0;
}
std::uint32_t CQ_M_GetDefaultConfigByFile(void*, const char*, ModuleParamList* list, std::int32_t) {
    list->nNum = 0;
    return 0;
}
std::uint32_t CQ_M_GetCurrentConfigByFile(void*, const char*, ModuleParamList* list, std::int32_t) {
    list->nNum = 0;
    return 0;
}
std::uint32_t CQ_M_SetLastError(void*, std::uint32_t) {
    return 0;
}
std::uint32_t CQ_M_NotifyIncGlobalCameraNum(void*, std::int32_t count, std::uint32_t pattern) {
    g_cameras += pattern == kGlobalCameraNumPattern ? count : 0;
    return 0;
}
std::uint32_t CQ_M_NotifyDecGlobalCameraNum(void*, std::int32_t count, std::uint32_t pattern) {
    g_cameras -= pattern == kGlobalCameraNumPattern ? count : 0;
    return 0;
}
std::uint32_t CQ_M_SetNotifyEventCallback(void* handle, NotifyEventCallback callback,
                                          void* context) {
    Of(handle).callback = callback;
    Of(handle).context = context;
    return 0;
}
std::uint32_t CQ_M_GetModuleNodeInfo(std::int32_t, ModuleNodeInfo*) {
    return 0;
}
std::uint32_t CQ_M_GetBufferNodeNum(std::uint32_t* number) {
    *number = 0;
    return 0;
}
std::uint32_t CQ_M_ReportData(void* handle, std::uint32_t code, const char* text,
                              std::uint32_t length) {
    g_observer.onReport(g_observer.user, handle, code, text, length);
    return 0;
}
std::uint32_t CQ_M_TryRunProcedureOnceById(std::int32_t procedure, const char* text,
                                           std::int32_t reserved) {
    return g_observer.onTryRunProcedure(g_observer.user, procedure, text, reserved);
}
std::uint32_t CQ_M_SetBinayData(std::int32_t, const char*, const char*, std::uint32_t) {
    return 0;
}

void* ModuleFrame_CreateHandle(std::int32_t moduleId, std::int32_t createCause) {
    ModuleHandle& handle = g_handles[g_handleCount++];
    handle.id = moduleId;
    handle.cause = createCause;
    return &handle;
}
void ModuleFrame_DestroyHandle(void*) {}
void ModuleFrame_SetObserver(const ModuleFrameObserver* observer) {
    if (observer != nullptr) {
        g_observer = *observer;
    }
}
std::uint32_t ModuleFrame_RunNotifyEvent(void* handle, std::int32_t event, void* argument) {
    return Of(handle).callback(event, argument, Of(handle).context);
}
std::int32_t ModuleFrame_GlobalCameraNum() {
    return g_cameras;
}
std::uint32_t ModuleFrame_SetParam(void* handle, CAbstractUserModule* module, const char* key,
                                   const char* value) {
    ModuleHandle& of = Of(handle);
    strncpy(of.names[of.count], key, sizeof of.names[0] - 1);
    strncpy(of.values[of.count++], value, sizeof of.values[0] - 1);
    return module->SetParam(key, value, static_cast<std::int32_t>(strlen(value)));
}

int Entry(void*, std::uint32_t, void*) {
    return 1;
}

}  // extern "C"
