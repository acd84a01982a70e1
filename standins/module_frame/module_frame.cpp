// The framework's functions and base class, as modules call them.
#include "module/framework/module_frame.h"

#include <algorithm>

#include "standins/module_frame/framework.h"
#include "standins/module_frame/guarded.h"

using module_frame::Function;
using module_frame::Handle;
using module_frame::Status;
using module_frame::TheFramework;
using module_frame::Values;

namespace {

// Runs one framework function: counts it, makes it fail on demand, lets no exception out.
template <typename Work>
Status Called(Function function, Work&& work) noexcept {
    return module_frame::Guarded([&]() -> Status {
        const std::optional<Status> fault = TheFramework().calls.Enter(function);
        return fault ? *fault : work();
    });
}

void Overlay(Values& values, const Values& over) {
    for (const auto& each : over) {
        bool found = false;
        for (auto& value : values) {
            if (value.name == each.name) {
                value.value = each.value;
                found = true;
            }
        }
        if (!found) {
            values.push_back(each);
        }
    }
}

Status CountCameras(void* handle, std::int32_t change, std::uint32_t pattern) {
    if (pattern != kGlobalCameraNumPattern) {
        return kModuleFrameBadArgument;
    }
    return TheFramework().WithHandle(
        handle, [&](Handle&) { TheFramework().globalCameraNum.fetch_add(change); });
}

}  // namespace

CAbstractUserModule::CAbstractUserModule() = default;

// A destroyed module is no longer notified, even if its callback was not removed.
CAbstractUserModule::~CAbstractUserModule() {
    static_cast<void>(module_frame::Guarded([&] {
        return TheFramework().WithHandle(m_hModule, [](Handle& handle) { handle.notify = {}; });
    }));
}

std::uint32_t CAbstractUserModule::Reserved() {
    return 0;
}

std::uint32_t CAbstractUserModule::GetParam(const char*, char*, std::int32_t, std::uint32_t*) {
    return kModuleFrameBadArgument;  // the base has no keys
}

std::uint32_t CAbstractUserModule::SetParam(const char*, const char*, std::int32_t) {
    return kModuleFrameBadArgument;
}

std::uint32_t CAbstractUserModule::GetCurrentConfig(ModuleParamList* list) {
    return CQ_M_GetCurrentConfigByFile(m_hModule, kModuleConfigFile, list, 0);
}

std::uint32_t CAbstractUserModule::SaveModuleData(SAVE_MODULE_DATA_PARAM* record) {
    return module_frame::Guarded([&]() -> Status {
        if (record == nullptr) {
            return kModuleFrameBadArgument;
        }
        return TheFramework().WithHandle(m_hModule, [&](const Handle& handle) {
            module_frame::FillList(handle.values.All(), record->params);
        });
    });
}

std::uint32_t CAbstractUserModule::LoadModuleData(SAVE_MODULE_DATA_PARAM* record) {
    return record == nullptr ? kModuleFrameBadArgument : 0;
}

std::uint32_t CAbstractUserModule::Init() {
    return 0;
}

std::uint32_t CAbstractUserModule::DeInit() {
    return 0;
}

extern "C" {

std::uint32_t CQ_M_GetModuleId(void* handle, std::int32_t* moduleId) {
    return Called("CQ_M_GetModuleId", [&]() -> Status {
        if (moduleId == nullptr) {
            return kModuleFrameBadArgument;
        }
        return TheFramework().WithHandle(handle, [&](const Handle& h) { *moduleId = h.moduleId; });
    });
}

std::uint32_t CQ_M_GetCreateModuleCause(void* handle, std::int32_t* cause) {
    return Called("CQ_M_GetCreateModuleCause", [&]() -> Status {
        if (cause == nullptr) {
            return kModuleFrameBadArgument;
        }
        return TheFramework().WithHandle(handle, [&](const Handle& h) { *cause = h.createCause; });
    });
}

std::uint32_t CQ_M_GetDefaultConfigByFile(void* handle, const char* file, ModuleParamList* list,
                                          std::int32_t) {
    return Called("CQ_M_GetDefaultConfigByFile", [&]() -> Status {
        if (file == nullptr || list == nullptr ||
            TheFramework().WithHandle(handle, [](const Handle&) {}) != 0) {
            return kModuleFrameBadArgument;
        }
        const std::optional<Values> values = TheFramework().ReadConfig(file);
        if (!values) {
            return kModuleFrameNoFile;
        }
        module_frame::FillList(*values, *list);
        return 0;
    });
}

std::uint32_t CQ_M_GetCurrentConfigByFile(void* handle, const char* file, ModuleParamList* list,
                                          std::int32_t) {
    return Called("CQ_M_GetCurrentConfigByFile", [&]() -> Status {
        Values set;
        if (file == nullptr || list == nullptr ||
            TheFramework().WithHandle(handle, [&](const Handle& h) { set = h.values.All(); }) !=
                0) {
            return kModuleFrameBadArgument;
        }
        std::optional<Values> values = TheFramework().ReadConfig(file);
        if (!values) {
            return kModuleFrameNoFile;
        }
        Overlay(*values, set);
        module_frame::FillList(*values, *list);
        return 0;
    });
}

std::uint32_t CQ_M_SetLastError(void* handle, std::uint32_t status) {
    return Called("CQ_M_SetLastError", [&] {
        return TheFramework().WithHandle(handle, [&](Handle& h) { h.lastError = status; });
    });
}

std::uint32_t CQ_M_NotifyIncGlobalCameraNum(void* handle, std::int32_t count,
                                            std::uint32_t pattern) {
    return Called("CQ_M_NotifyIncGlobalCameraNum",
                  [&] { return CountCameras(handle, count, pattern); });
}

std::uint32_t CQ_M_NotifyDecGlobalCameraNum(void* handle, std::int32_t count,
                                            std::uint32_t pattern) {
    return Called("CQ_M_NotifyDecGlobalCameraNum",
                  [&] { return CountCameras(handle, -count, pattern); });
}

std::uint32_t CQ_M_SetNotifyEventCallback(void* handle, NotifyEventCallback callback,
                                          void* context) {
    return Called("CQ_M_SetNotifyEventCallback", [&] {
        return TheFramework().WithHandle(handle, [&](Handle& h) {
            h.notify = {callback, context};
        });
    });
}

std::uint32_t CQ_M_GetModuleNodeInfo(std::int32_t moduleId, ModuleNodeInfo* info) {
    return Called("CQ_M_GetModuleNodeInfo", [&]() -> Status {
        if (info == nullptr) {
            return kModuleFrameBadArgument;
        }
        // Procedures belong to the host and are unknown here: every id has a record, which contains
        // the id.
        *info = {};
        std::copy_n(reinterpret_cast<const std::uint8_t*>(&moduleId), sizeof(moduleId),
                    info->frameworkData);
        return 0;
    });
}

std::uint32_t CQ_M_GetBufferNodeNum(std::uint32_t* number) {
    return Called("CQ_M_GetBufferNodeNum", [&]() -> Status {
        if (number == nullptr) {
            return kModuleFrameBadArgument;
        }
        *number = TheFramework().bufferNodeNum.load();
        return 0;
    });
}

std::uint32_t CQ_M_ReportData(void* handle, std::uint32_t code, const char* text,
                              std::uint32_t length) {
    return Called("CQ_M_ReportData", [&]() -> Status {
        if ((text == nullptr && length > 0) ||
            TheFramework().WithHandle(handle, [](const Handle&) {}) != 0) {
            return kModuleFrameBadArgument;
        }
        TheFramework().observer.Run([&](const ModuleFrameObserver& observer) {
            if (observer.onReport != nullptr) {
                observer.onReport(observer.user, handle, code, text, length);
            }
        });
        return 0;
    });
}

std::uint32_t CQ_M_TryRunProcedureOnceById(std::int32_t procedureId, const char* text,
                                           std::int32_t reserved) {
    return Called("CQ_M_TryRunProcedureOnceById", [&]() -> Status {
        return TheFramework().observer.Run([&](const ModuleFrameObserver& observer) -> Status {
            return observer.onTryRunProcedure == nullptr
                       ? kModuleFrameRefused
                       : observer.onTryRunProcedure(observer.user, procedureId, text, reserved);
        });
    });
}

std::uint32_t CQ_M_SetBinayData(std::int32_t kind, const char* key, const char* data,
                                std::uint32_t length) {
    return Called("CQ_M_SetBinayData", [&]() -> Status {
        if (key == nullptr || (data == nullptr && length > 0)) {
            return kModuleFrameBadArgument;
        }
        TheFramework().observer.Run([&](const ModuleFrameObserver& observer) {
            if (observer.onBinaryData != nullptr) {
                observer.onBinaryData(observer.user, kind, key, data, length);
            }
        });
        return 0;
    });
}

}  // extern "C"
