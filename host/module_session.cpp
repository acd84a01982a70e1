#include "host/module_session.h"

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "host/exit_codes.h"
#include "host/parameter_help.h"
#include "host/text.h"
#include "module/framework/status_codes.h"
#include "module/log/xalog.h"
#include "params/parameter_info.h"
#include "platform/system.h"
#include "standins/kz_camera_control/simulated_cameras.h"
#include "standins/module_frame/module_frame_host.h"
#include "standins/xalog/xalog_host.h"

namespace host {
namespace {

using CreateModuleFunction = CAbstractUserModule*(void* handle);
using DestroyModuleFunction = void(void* handle, CAbstractUserModule* module);

constexpr char kModuleName[] = "CameraModule";
constexpr std::int32_t kModuleId = 1;
constexpr std::int32_t kCreateCause = 0;
constexpr std::size_t kValueSize = 67'000;  // room for the longest list of cameras
constexpr std::uint32_t kFrameNumberField = 2;
constexpr char kDefaultSimulation[] = "gige\nusb3\ngentl\n";

void SetUpLog(const Options& options) {
    if (!options.logFile.empty() && !XalogHost_SetFile(options.logFile.c_str())) {
        throw Failure("the log file '" + options.logFile + "' cannot be opened");
    }
    // The module's log would run through the tables and progress bars of this program.
    XalogHost_SetStandardError(options.logLevel.has_value() && options.logFile.empty());
    if (options.logLevel) {
        Xalog_ResetLevel(*options.logLevel);
    }
}

std::string SimulationText(const std::string& argument) {
    if (argument == "default") {
        return kDefaultSimulation;
    }
    if (!argument.starts_with('@')) {
        return argument;
    }
    std::ifstream file(std::filesystem::path(std::u8string(argument.begin() + 1, argument.end())));
    if (!file) {
        throw Failure("the file '" + argument.substr(1) + "' cannot be read");
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void SetUpSimulation(const Options& options) {
    if (!options.simulate) {
        return;
    }
    KZSim_UseRealCameras(false);
    const std::uint32_t wrongLine = KZSim_Configure(SimulationText(*options.simulate).c_str());
    if (wrongLine != 0) {
        throw Failure(ExitCode::Usage, "line " + std::to_string(wrongLine) +
                                           " of the simulated cameras is not understood");
    }
}

// The folder part of this program's own file, with the separator; empty when it cannot be told.
std::string ProgramFolder() {
    const std::string program =
        platform::ModuleFilePath(reinterpret_cast<const void*>(&ProgramFolder));
    return program.substr(0, program.rfind(platform::kPathSeparator) + 1);
}

std::uint32_t ToNumber(std::string_view text) {
    std::uint32_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

void OnReport(void* user, void*, std::uint32_t code, const char* text, std::uint32_t length) {
    auto& observer = *static_cast<ModuleObserver*>(user);
    const std::string_view notice(text, length);
    if (code != kReportFrameArrived) {
        observer.OnNotice(code, notice);
        return;
    }
    const auto fields = SplitFields(notice, '-');
    if (fields.size() > kFrameNumberField) {
        observer.OnFrameArrived(ToNumber(fields[kFrameNumberField]));
    }
}

std::uint32_t OnTryRunProcedure(void* user, std::int32_t procedure, const char* text,
                                std::int32_t) {
    auto& observer = *static_cast<ModuleObserver*>(user);
    return observer.OnTryRunProcedure(procedure, ToNumber(text)) ? 0 : kModuleFrameRefused;
}

class DeafObserver : public ModuleObserver {
  public:
    void OnFrameArrived(std::uint32_t) override {}
    void OnNotice(std::uint32_t, std::string_view) override {}
    bool OnTryRunProcedure(std::int32_t, std::uint32_t) override { return false; }
};

DeafObserver deafObserver;

}  // namespace

Frame& Frame::operator=(Frame&& other) noexcept {
    if (this != &other) {
        HandBack();
        m_module = std::exchange(other.m_module, nullptr);
        m_record = other.m_record;
    }
    return *this;
}

void Frame::HandBack() noexcept {
    if (m_module != nullptr) {
        m_module->SetParam("FreeBuf", reinterpret_cast<const char*>(&m_record), sizeof m_record);
        m_module = nullptr;
    }
}

// The framework's side of one module: its handle and what observes it.
struct ModuleSession::Framework {
    explicit Framework(ModuleObserver& moduleObserver)
        : handle(ModuleFrame_CreateHandle(kModuleId, kCreateCause)) {
        if (handle == nullptr) {
            throw Failure("the framework gives no handle");
        }
        ModuleFrameObserver observer = {};
        observer.user = &moduleObserver;
        observer.onReport = OnReport;
        observer.onTryRunProcedure = OnTryRunProcedure;
        ModuleFrame_SetObserver(&observer);
    }
    ~Framework() {
        ModuleFrame_SetObserver(nullptr);
        ModuleFrame_DestroyHandle(handle);
    }
    Framework(const Framework&) = delete;
    Framework& operator=(const Framework&) = delete;

    void* handle;
};

ModuleSession::ModuleSession(const Options& options) : ModuleSession(options, deafObserver) {}

ModuleSession::ModuleSession(const Options& options, ModuleObserver& observer) {
    SetUpLog(options);
    SetUpSimulation(options);
    m_framework = std::make_unique<Framework>(observer);
    void* const handle = m_framework->handle;

    const std::string file = options.module.empty()
                                 ? ProgramFolder() + platform::LibraryFileName(kModuleName)
                                 : options.module;
    std::string error;
    if (!m_library.Load(file, error)) {
        throw Failure("the module cannot be loaded: " + error);
    }
    auto* const create = m_library.Find<CreateModuleFunction>("CreateModule");
    auto* const destroy = m_library.Find<DestroyModuleFunction>("DestroyModule");
    if (create == nullptr || destroy == nullptr) {
        throw Failure("'" + file + "' is no module: it does not export CreateModule and " +
                      "DestroyModule");
    }
    CAbstractUserModule* const module = create(handle);
    if (module == nullptr) {
        throw Failure("the module could not be created: " +
                      StatusText(ModuleFrame_LastError(handle)));
    }
    m_module = {module, [destroy, handle](CAbstractUserModule* old) { destroy(handle, old); }};

    if (!options.genTLPath.empty()) {
        Set("GenTLPath", options.genTLPath);
        if (Get("GenTLPath") != options.genTLPath) {
            throw Failure("there is no GenTL path '" + options.genTLPath + "'");
        }
        Set("UseGenTL", "True");
        Command("EnumCamera", "1");
    }
}

ModuleSession::~ModuleSession() = default;

std::string ModuleSession::Get(const std::string& key) {
    std::vector<char> value(kValueSize, '\0');
    std::uint32_t length = 0;
    const std::uint32_t status = m_module->GetParam(
        key.c_str(), value.data(), static_cast<std::int32_t>(kValueSize) - 1, &length);
    if (status != 0) {
        throw Failure("reading " + key + " failed: " + StatusText(status));
    }
    return value.data();
}

ChoiceList ModuleSession::Cameras() {
    return ParseChoiceList(Get("CameraName"));
}

std::uint32_t ModuleSession::TryCommand(const std::string& key, const std::string& value) {
    return m_module->SetParam(key.c_str(), value.c_str(), static_cast<std::int32_t>(value.size()));
}

void ModuleSession::Command(const std::string& key, const std::string& value) {
    if (const std::uint32_t status = TryCommand(key, value); status != 0) {
        throw Failure(key + " failed: " + StatusText(status));
    }
}

void ModuleSession::Set(const std::string& key, const std::string& value) {
    const std::uint32_t status =
        ModuleFrame_SetParam(m_framework->handle, m_module.get(), key.c_str(), value.c_str());
    if (status != 0) {
        throw Failure("setting " + key + " to '" + value + "' failed: " + StatusText(status));
    }
    // The module answers 0 for a feature that the camera lacks.
    if (cam::FindParameterInfo(key) == nullptr && IsUnreadable(Get(key))) {
        std::fprintf(stderr,
                     "camera_host: %s does not read back: a command of the camera, or it has no "
                     "such feature\n",
                     key.c_str());
    }
}

void ModuleSession::OpenCamera(const Options& options, bool orFirst) {
    if (options.address) {
        Set("Type", "1");
        Set("CameraIP", options.address->camera);
        Set("LocalIP", options.address->local);
        const std::uint32_t status =
            ModuleFrame_SetParam(m_framework->handle, m_module.get(), "ConnectIP", "True");
        if (status != 0) {
            throw Failure(ExitCode::NoCamera, "no camera could be opened at " +
                                                  options.address->camera + ": " +
                                                  StatusText(status));
        }
    } else if (!options.camera.empty() || orFirst) {
        std::string serial = options.camera;
        if (serial.empty()) {
            const ChoiceList list = Cameras();
            if (list.cameras.empty()) {
                throw Failure(ExitCode::NoCamera, "no camera was found");
            }
            serial = list.cameras.front().serial;
        }
        const std::uint32_t status =
            ModuleFrame_SetParam(m_framework->handle, m_module.get(), "CameraName", serial.c_str());
        if (status == cam::kOpenFailed) {
            throw Failure(ExitCode::NoCamera, "there is no camera '" + serial + "'");
        }
        if (status != 0) {
            throw Failure("camera '" + serial + "' could not be opened: " + StatusText(status));
        }
    }
    for (const auto& [key, value] : options.settings) {
        Set(key, value);
    }
}

void ModuleSession::RelateProcedures(std::uint64_t count) {
    for (std::uint64_t id = 1; id <= count; ++id) {
        Command("AddRelateProc", std::to_string(id));
    }
    // The module's answer is the same for every event.
    ModuleFrame_RunNotifyEvent(m_framework->handle, kNotifyRelationsChanged, nullptr);
}

std::uint32_t ModuleSession::TakeFrame(Frame& frame) {
    cam::BufferNode record;
    std::uint32_t length = 0;
    const std::uint32_t status =
        m_module->GetParam("CameraImage", reinterpret_cast<char*>(&record), sizeof record, &length);
    if (status == 0) {
        frame = Frame(*m_module, record);
    }
    return status;
}

void ModuleSession::SaveSolution(const std::string& path) {
    const std::uint32_t status =
        ModuleFrame_SaveSolution(m_framework->handle, m_module.get(), path.c_str());
    if (status != 0) {
        throw Failure("'" + path + "' could not be saved: " + StatusText(status));
    }
}

void ModuleSession::LoadSolution(const std::string& path) {
    const std::uint32_t status =
        ModuleFrame_LoadSolution(m_framework->handle, m_module.get(), path.c_str());
    if (status != 0) {
        throw Failure("'" + path + "' could not be loaded: " + StatusText(status));
    }
}

}  // namespace host
