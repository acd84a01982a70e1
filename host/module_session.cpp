#include "host/module_session.h"

#include <charconv>
#include <vector>

#include "host/files.h"
#include "host/network.h"
#include "host/setting.h"
#include "host/text.h"
#include "module/framework/status_codes.h"
#include "standins/module_frame/module_frame_host.h"

namespace host {
namespace {

constexpr std::int32_t kModuleId = 1;
constexpr std::int32_t kCreateCause = 0;
constexpr std::size_t kValueSize = 67'000;  // room for the longest list of cameras
constexpr std::uint32_t kFrameNumberField = 2;

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

void OnBinaryData(void* user, std::int32_t, const char* key, const char*, std::uint32_t) {
    static_cast<ModuleObserver*>(user)->OnPublished(key);
}

std::uint32_t OnTryRunProcedure(void* user, std::int32_t procedure, const char* text,
                                std::int32_t) {
    auto& observer = *static_cast<ModuleObserver*>(user);
    return observer.OnTryRunProcedure(procedure, ToNumber(text)) ? 0 : kModuleFrameRefused;
}

ModuleObserver deafObserver;

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
        observer.onBinaryData = OnBinaryData;
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

ModuleSession::ModuleSession(const Options& options, ModuleObserver& observer)
    : m_library(options), m_framework(std::make_unique<Framework>(observer)) {
    void* const handle = m_framework->handle;
    const auto create = m_library.Create();
    const auto destroy = m_library.Destroy();
    CAbstractUserModule* const module = create(handle);
    if (module == nullptr) {
        throw Failure("the module could not be created: " +
                      StatusText(ModuleFrame_LastError(handle)));
    }
    m_module = {module, [destroy, handle](CAbstractUserModule* old) { destroy(handle, old); }};

    if (!options.genTLPath.empty()) {
        Write("GenTLPath", options.genTLPath);
        if (Get("GenTLPath") != options.genTLPath) {
            throw Failure("there is no GenTL path '" + options.genTLPath + "'");
        }
        Write("UseGenTL", "True");
        Command("EnumCamera", "1");
    }
    m_inspector = CameraInspector::Find();
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

void ModuleSession::Write(const std::string& key, const std::string& value) {
    const std::uint32_t status =
        ModuleFrame_SetParam(m_framework->handle, m_module.get(), key.c_str(), value.c_str());
    if (status != 0) {
        throw Failure("setting " + key + " to '" + value + "' failed: " + StatusText(status));
    }
}

void ModuleSession::OpenByAddress(const CameraAddress& address) {
    const std::uint32_t camera = ParseAddress(address.camera).value_or(0);
    std::string local = address.local;
    if (local.empty()) {
        const auto found = LocalAddressTowards(camera);
        if (!found) {
            throw Failure(ExitCode::NoCamera, "no network card reaches " + address.camera);
        }
        local = AddressText(*found);
    } else if (!IsLocalAddress(ParseAddress(local).value_or(0))) {
        throw Failure(ExitCode::Usage, local + " is no address of this machine");
    }
    Write("Type", "1");
    Write("CameraIP", address.camera);
    Write("LocalIP", local);
    const std::uint32_t status =
        ModuleFrame_SetParam(m_framework->handle, m_module.get(), "ConnectIP", "True");
    if (status == KZ_CC_E_OPEN_REFUSED) {
        throw CameraInUse("another program has control of the camera at " + address.camera);
    }
    if (status != 0) {
        throw Failure(ExitCode::NoCamera, "no camera could be opened at " + address.camera +
                                              " through " + local + ": " + StatusText(status));
    }
    m_cameraId = address.camera;
}

void ModuleSession::OpenBySerial(const std::string& serial) {
    const std::uint32_t status =
        ModuleFrame_SetParam(m_framework->handle, m_module.get(), "CameraName", serial.c_str());
    if (status == cam::kOpenFailed) {
        throw Failure(ExitCode::NoCamera, "there is no camera '" + serial + "'");
    }
    if (status == KZ_CC_E_OPEN_REFUSED) {
        throw CameraInUse("another program has control of camera '" + serial + "'");
    }
    if (status != 0) {
        throw Failure("camera '" + serial + "' could not be opened: " + StatusText(status));
    }
    m_cameraId = serial;
}

void ModuleSession::OpenCamera(const Options& options, bool orFirst) {
    if (options.address) {
        OpenByAddress(*options.address);
    } else if (!options.camera.empty()) {
        OpenBySerial(options.camera);
    } else if (orFirst) {
        const ChoiceList list = Cameras();
        if (list.cameras.empty()) {
            throw Failure(ExitCode::NoCamera, "no camera was found");
        }
        OpenBySerial(list.cameras.front().serial);
    }
    WriteSettings(options);
}

void ModuleSession::WriteSettings(const Options& options) {
    for (const auto& [key, value] : options.settings) {
        static_cast<void>(WriteSetting(*this, key, value));
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
    // Saving replaces the file, which would put one in the place of a device or a pipe.
    std::error_code error;
    const std::filesystem::file_status old = std::filesystem::status(PathOf(path), error);
    if (std::filesystem::exists(old) && !std::filesystem::is_regular_file(old)) {
        throw Failure("'" + path + "' is no file that could be replaced");
    }
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
