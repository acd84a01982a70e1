// The framework as hosts call it.
#include "standins/module_frame/module_frame_host.h"

#include <memory>
#include <string_view>
#include <thread>

#include "standins/module_frame/files.h"
#include "standins/module_frame/guarded.h"
#include "standins/module_frame/solution_file.h"

using module_frame::Attempt;
using module_frame::Guarded;
using module_frame::Handle;
using module_frame::NotifyTarget;
using module_frame::Solution;
using module_frame::Status;
using module_frame::TheFramework;

namespace {

Status SetParam(void* handle, CAbstractUserModule& module, const char* key, const char* value) {
    const std::string_view name(key);
    const std::string_view text(value);
    bool room = false;
    const Status known = TheFramework().WithHandle(handle, [&](const Handle& h) {
        room = module_frame::IsRelation(name) || h.values.HasRoomFor(name);
    });
    if (known != 0 || !room || name.empty() || !module_frame::FitsName(name) ||
        !module_frame::FitsValue(text)) {
        return kModuleFrameBadArgument;
    }
    const Status status = module.SetParam(key, value, static_cast<std::int32_t>(text.size()));
    if (status != 0) {
        return status;
    }
    return TheFramework().WithHandle(handle, [&](Handle& h) { h.values.Remember(name, text); });
}

Status SaveSolution(CAbstractUserModule& module, const char* path) {
    const auto record = std::make_unique<SAVE_MODULE_DATA_PARAM>();
    if (const Status status = module.SaveModuleData(record.get()); status != 0) {
        return status;
    }
    const std::optional<Solution> solution = module_frame::SolutionOfRecord(*record);
    if (!solution) {
        return kModuleFrameBadArgument;
    }
    return module_frame::ReplaceFile(path, module_frame::FormatSolution(*solution))
               ? 0
               : kModuleFrameNoFile;
}

Status LoadSolution(void* handle, CAbstractUserModule& module, const char* path) {
    const std::optional<std::string> text = module_frame::ReadFile(path);
    const std::optional<Solution> solution =
        text ? module_frame::ParseSolution(*text) : std::nullopt;
    if (!solution) {
        return kModuleFrameNoFile;
    }
    const auto record = std::make_unique<SAVE_MODULE_DATA_PARAM>();
    module_frame::FillRecord(*solution, *record);
    // Before the module loads, because values that the host sets meanwhile are newer.
    const Status known = TheFramework().WithHandle(
        handle, [&](Handle& h) { h.values.ReplaceAll(solution->params); });
    return known != 0 ? known : module.LoadModuleData(record.get());
}

}  // namespace

extern "C" {

void* ModuleFrame_CreateHandle(std::int32_t moduleId, std::int32_t createCause) {
    void* handle = nullptr;
    Attempt([&] { handle = TheFramework().AddHandle(moduleId, createCause); });
    return handle;
}

void ModuleFrame_DestroyHandle(void* handle) {
    Attempt([&] { TheFramework().RemoveHandle(handle); });
}

void ModuleFrame_SetObserver(const ModuleFrameObserver* observer) {
    Attempt([&] {
        TheFramework().observer.Replace(observer == nullptr ? ModuleFrameObserver{} : *observer);
    });
}

void ModuleFrame_SetConfigFolder(const char* folder) {
    Attempt([&] { TheFramework().SetConfigFolder(folder); });
}

void ModuleFrame_SetBufferNodeNum(std::uint32_t number) {
    Attempt([&] { TheFramework().bufferNodeNum.store(number); });
}

std::uint32_t ModuleFrame_RunNotifyEvent(void* handle, std::int32_t event, void* argument) {
    return Guarded([&]() -> Status {
        NotifyTarget target;
        const Status known =
            TheFramework().WithHandle(handle, [&](const Handle& h) { target = h.notify; });
        if (known != 0 || target.callback == nullptr) {
            return kModuleFrameBadArgument;
        }
        Status answer = kModuleFrameFailed;
        std::thread caller([&] {
            answer = Guarded([&] { return target.callback(event, argument, target.context); });
        });
        caller.join();
        return answer;
    });
}

std::uint32_t ModuleFrame_LastError(void* handle) {
    return Guarded([&]() -> Status {
        Status lastError = 0;
        const Status known =
            TheFramework().WithHandle(handle, [&](const Handle& h) { lastError = h.lastError; });
        return known != 0 ? known : lastError;
    });
}

std::int32_t ModuleFrame_GlobalCameraNum() {
    std::int32_t number = 0;
    Attempt([&] { number = TheFramework().globalCameraNum.load(); });
    return number;
}

std::uint64_t ModuleFrame_CallCount(const char* function) {
    std::uint64_t calls = 0;
    if (function != nullptr) {
        Attempt([&] { calls = TheFramework().calls.Calls(function); });
    }
    return calls;
}

void ModuleFrame_FailCalls(const char* function, std::uint32_t status, std::int32_t count) {
    if (function != nullptr) {
        Attempt([&] { TheFramework().calls.FailNext(function, status, count); });
    }
}

std::uint32_t ModuleFrame_SetParam(void* handle, CAbstractUserModule* module, const char* key,
                                   const char* value) {
    return Guarded([&]() -> Status {
        return module == nullptr || key == nullptr || value == nullptr
                   ? kModuleFrameBadArgument
                   : SetParam(handle, *module, key, value);
    });
}

std::uint32_t ModuleFrame_SaveSolution(void* handle, CAbstractUserModule* module,
                                       const char* path) {
    return Guarded([&]() -> Status {
        if (module == nullptr || path == nullptr ||
            TheFramework().WithHandle(handle, [](const Handle&) {}) != 0) {
            return kModuleFrameBadArgument;
        }
        return SaveSolution(*module, path);
    });
}

std::uint32_t ModuleFrame_LoadSolution(void* handle, CAbstractUserModule* module,
                                       const char* path) {
    return Guarded([&]() -> Status {
        if (module == nullptr || path == nullptr ||
            TheFramework().WithHandle(handle, [](const Handle&) {}) != 0) {
            return kModuleFrameBadArgument;
        }
        return LoadSolution(handle, *module, path);
    });
}

}  // extern "C"
