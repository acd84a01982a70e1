// The library exports only these two functions.
#include "module/exports.h"

#include <memory>
#include <new>

#include "base/log.h"
#include "module/camera_module.h"
#include "module/framework/module_frame.h"

namespace {

constexpr char kCreate[] = "CreateModule";
constexpr std::int32_t kOneCamera = 1;

std::unique_ptr<cam::CCameraModule> NewModule() {
    try {
        return std::unique_ptr<cam::CCameraModule>(new (std::nothrow) cam::CCameraModule);
    } catch (...) {
        return nullptr;
    }
}

}  // namespace

extern "C" {

CAbstractUserModule* CreateModule(void* handle) {
    if (handle == nullptr) {
        return nullptr;
    }
    CAM_LOG(cam::kLogDebug, cam::kNoModuleId, kCreate, "CameraModuleDebug:NEW CREAT");
    std::unique_ptr<cam::CCameraModule> module = NewModule();
    if (module == nullptr) {
        CQ_M_SetLastError(handle, cam::kNoResources);
        return nullptr;
    }
    CAM_LOG(cam::kLogDebug, cam::kNoModuleId, kCreate, "CameraModuleDebug: CREAT OVER");
    CAM_LOG(cam::kLogDebug, cam::kNoModuleId, kCreate, "CameraModuleDebug: INIT START");
    module->m_hModule = handle;
    if (const cam::Status status = module->Init(); status != cam::kOk) {
        CQ_M_SetLastError(handle, status);
        return nullptr;
    }
    CAM_LOG(cam::kLogDebug, cam::kNoModuleId, kCreate, "CameraModuleDebug:INIT END");
    CAM_LOG(cam::kLogDebug, cam::kNoModuleId, kCreate, "CameraModuleDebug:CAMERA NUM start");
    CQ_M_NotifyIncGlobalCameraNum(handle, kOneCamera, kGlobalCameraNumPattern);
    CAM_LOG(cam::kLogDebug, cam::kNoModuleId, kCreate, "CameraModuleDebug:CAMERA NUM end");
    CAM_LOG(cam::kLogDebug, cam::kNoModuleId, kCreate,
            "CameraModuleDebug:CQ_M_SetNotifyEventCallback start");
    CQ_M_SetNotifyEventCallback(handle, &cam::CCameraModule::NotifyEvent, module.get());
    CAM_LOG(cam::kLogDebug, cam::kNoModuleId, kCreate,
            "CameraModuleDebug:CQ_M_SetNotifyEventCallback end");
    return module.release();
}

void DestroyModule(void* handle, CAbstractUserModule* module) {
    if (module == nullptr) {
        return;
    }
    CQ_M_NotifyDecGlobalCameraNum(handle, kOneCamera, kGlobalCameraNumPattern);
    DeleteModule(module);
}

}  // extern "C"
