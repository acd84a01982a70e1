#include "tests/support/module_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <thread>

#include "base/log.h"
#include "platform/system.h"
#include "standins/kz_camera_control/simulated_cameras.h"
#include "standins/xalog/xalog_host.h"

namespace tests {

namespace {

constexpr std::int32_t kAnyProcedure = 1;

// Where "[module] [ModuId:id] [function@line] " ends.
std::size_t PrefixEnd(const std::string& line) {
    std::size_t end = 0;
    for (int field = 0; field < 3; ++field) {
        const std::size_t close = line.find("] ", end);
        if (line.compare(end, 1, "[") != 0 || close == line.npos) {
            return 0;
        }
        end = close + 2;
    }
    return end;
}

bool IsOf(const std::string& line, std::string_view function) {
    return line.find(std::string(" [").append(function).append("@")) < PrefixEnd(line);
}

bool TellsOfATimeOut(std::string_view line) {
    return line.find("time out") != line.npos || line.find(": timeout") != line.npos;
}

}  // namespace

ModuleHost::ModuleHost(const std::string& cameras, std::int32_t moduleId,
                       std::int32_t createCause) {
    KZSim_UseRealCameras(false);
    KZSim_Configure(cameras.c_str());
    Watch();
    Create(moduleId, createCause);
}

ModuleHost::ModuleHost(RealCameras, std::int32_t moduleId) {
    KZSim_UseRealCameras(true);
    KZSim_Configure("");
    Watch();
    Create(moduleId, 0);
}

ModuleHost::ModuleHost(ModuleHost&, std::int32_t moduleId) {
    Create(moduleId, 0);
}

ModuleHost::~ModuleHost() {
    Destroy();
    ModuleFrame_DestroyHandle(m_handle);
    if (m_watches) {
        ModuleFrame_SetObserver(nullptr);
        XalogHost_SetProbe(nullptr, nullptr);
        KZSim_Configure("");
    }
    for (const std::string& line : m_timeOuts) {
        EXPECT_TRUE(std::any_of(
            m_expectedTimeOuts.begin(), m_expectedTimeOuts.end(),
            [&](const std::string& part) { return line.find(part) != std::string::npos; }))
            << "unexpected: " << line;
    }
}

void ModuleHost::Watch() {
    XalogHost_SetStandardError(false);
    XalogHost_SetProbe(&OnLogLine, this);
    const ModuleFrameObserver observer{this, &OnReport, &OnBinaryData, &OnTryRunProcedure};
    ModuleFrame_SetObserver(&observer);
    m_watches = true;
}

void ModuleHost::Create(std::int32_t moduleId, std::int32_t createCause) {
    m_handle = ModuleFrame_CreateHandle(moduleId, createCause);
    m_module = CreateModule(m_handle);
}

void ModuleHost::Destroy() {
    DestroyModule(m_handle, m_module);
    m_module = nullptr;
}

std::uint32_t ModuleHost::Set(const std::string& key, const std::string& value) {
    return m_module->SetParam(key.c_str(), value.c_str(), static_cast<std::int32_t>(value.size()));
}

std::string ModuleHost::Get(const std::string& key, std::int32_t size) {
    std::vector<char> buffer(static_cast<std::size_t>(size) + 1, '\0');
    std::uint32_t length = 0;
    m_module->GetParam(key.c_str(), buffer.data(), size, &length);
    return buffer.data();
}

std::uint32_t ModuleHost::GetStatus(const std::string& key, std::int32_t size) {
    std::vector<char> buffer(static_cast<std::size_t>(size) + 1, '\0');
    std::uint32_t length = 0;
    return m_module->GetParam(key.c_str(), buffer.data(), size, &length);
}

void ModuleHost::Relate(std::int32_t procedure) {
    Set("AddRelateProc", std::to_string(procedure));
    ModuleFrame_RunNotifyEvent(m_handle, kNotifyRelationsChanged, nullptr);
}

void ModuleHost::OpenForRequests(const std::string& serial) {
    Set("TriggerProcessRunStatus", "False");
    Relate(kAnyProcedure);
    Set("CameraName", serial);
}

std::optional<cam::BufferNode> ModuleHost::Image() {
    cam::BufferNode node;
    std::uint32_t length = 0;
    if (m_module->GetParam("CameraImage", reinterpret_cast<char*>(&node), sizeof node, &length) !=
        cam::kOk) {
        return std::nullopt;
    }
    return node;
}

std::uint32_t ModuleHost::Free(const cam::BufferNode& node) {
    return m_module->SetParam("FreeBuf", reinterpret_cast<const char*>(&node), sizeof node);
}

std::optional<cam::BufferNode> ModuleHost::TakeImage() {
    const auto image = Image();
    if (image) {
        Free(*image);
    }
    return image;
}

std::vector<Report> ModuleHost::Reports() const {
    const std::lock_guard hold(m_lock);
    return m_reports;
}

std::vector<Report> ModuleHost::StateReports() const {
    std::vector<Report> reports = Reports();
    std::erase_if(reports, [](const Report& r) { return r.code == kReportFrameArrived; });
    return reports;
}

void ModuleHost::ClearReports() {
    const std::lock_guard hold(m_lock);
    m_reports.clear();
}

bool ModuleHost::WaitForReport(const Report& report, std::chrono::milliseconds timeout) {
    return WaitUntil(
        [&] { return std::find(m_reports.begin(), m_reports.end(), report) != m_reports.end(); },
        timeout);
}

std::vector<std::string> ModuleHost::Log(std::optional<std::int32_t> level) const {
    const std::lock_guard hold(m_lock);
    std::vector<std::string> lines;
    for (const LogLine& line : m_log) {
        if (!level || line.level == *level) {
            lines.push_back(line.text);
        }
    }
    return lines;
}

std::vector<std::string> ModuleHost::Messages(std::string_view function) const {
    static constexpr std::string_view kLetters = "?DIWE";
    static_assert(kLetters[cam::kLogDebug] == 'D' && kLetters[cam::kLogError] == 'E');
    const std::lock_guard hold(m_lock);
    std::vector<std::string> messages;
    for (const LogLine& line : m_log) {
        if (IsOf(line.text, function)) {
            messages.push_back(std::string{kLetters.at(static_cast<std::size_t>(line.level)), ' '} +
                               MessageOf(line.text));
        }
    }
    return messages;
}

std::size_t ModuleHost::LogCount(std::string_view part) const {
    const std::lock_guard hold(m_lock);
    return static_cast<std::size_t>(std::count_if(
        m_log.begin(), m_log.end(),
        [&](const LogLine& line) { return line.text.find(part) != std::string::npos; }));
}

bool ModuleHost::WaitForLog(std::string_view part, std::chrono::milliseconds timeout) {
    return WaitUntil(
        [&] {
            return std::any_of(m_log.begin(), m_log.end(), [&](const LogLine& line) {
                return line.text.find(part) != std::string::npos;
            });
        },
        timeout);
}

void ModuleHost::ClearLog() {
    const std::lock_guard hold(m_lock);
    m_log.clear();
}

std::vector<std::string> ModuleHost::Published() const {
    const std::lock_guard hold(m_lock);
    return m_published;
}

void ModuleHost::OnReport(void* user, void*, std::uint32_t code, const char* text,
                          std::uint32_t length) {
    auto& host = *static_cast<ModuleHost*>(user);
    const Report report{code, std::string(text, length)};
    {
        const std::lock_guard hold(host.m_lock);
        host.m_reports.push_back(report);
    }
    host.m_changed.notify_all();
    host.onReport(report);
}

void ModuleHost::OnBinaryData(void* user, std::int32_t kind, const char* key, const char* data,
                              std::uint32_t length) {
    auto& host = *static_cast<ModuleHost*>(user);
    // All that the module publishes is of one kind; another one shows.
    const std::string published = (kind == kBinaryCameraState ? "" : std::to_string(kind) + ' ') +
                                  std::string(key) + '=' + std::string(data, length);
    {
        const std::lock_guard hold(host.m_lock);
        host.m_published.push_back(published);
    }
    host.onPublished(published);
}

std::uint32_t ModuleHost::OnTryRunProcedure(void* user, std::int32_t procedureId, const char* text,
                                            std::int32_t) {
    auto& host = *static_cast<ModuleHost*>(user);
    return host.onProcedure(procedureId,
                            static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10)));
}

void ModuleHost::OnLogLine(std::int32_t level, const char* line, void* user) {
    auto& host = *static_cast<ModuleHost*>(user);
    {
        const std::lock_guard hold(host.m_lock);
        host.m_log.push_back({level, line});
        if (TellsOfATimeOut(line)) {
            host.m_timeOuts.emplace_back(line);
        }
    }
    host.m_changed.notify_all();
    host.onLog(line);
}

namespace {

std::vector<std::string> NamesIn(const char* folder) {
    std::vector<std::string> names;
    if (platform::kPathSeparator != '/') {
        return names;  // where Wine shows Linux's files, they count Wine's own threads too
    }
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        names.push_back(entry->path().filename().string());
    }
    return names;
}

}  // namespace

std::string MessageOf(const std::string& line) {
    return line.substr(PrefixEnd(line));
}

std::vector<std::string> MessagesOf(const std::vector<std::string>& log,
                                    std::string_view function) {
    std::vector<std::string> messages;
    for (const std::string& line : log) {
        if (IsOf(line, function)) {
            messages.push_back(MessageOf(line));
        }
    }
    return messages;
}

std::size_t ThreadCount() {
    return NamesIn("/proc/self/task").size();
}

std::size_t OpenFileCount() {
    return NamesIn("/proc/self/fd").size();
}

std::vector<std::string> OpenRegions() {
    const std::string process = '-' + std::to_string(platform::CurrentProcessId()) + "-{";
    std::vector<std::string> regions = NamesIn("/dev/shm");
    std::erase_if(regions,
                  [&](const std::string& name) { return name.find(process) == name.npos; });
    return regions;
}

bool Eventually(const std::function<bool()>& condition, std::chrono::milliseconds timeout) {
    const auto end = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

std::vector<std::string> Journal(const std::string& serial, std::string_view part) {
    std::string text(KZSim_Journal(serial.c_str(), nullptr, 0) + 1, '\0');
    KZSim_Journal(serial.c_str(), text.data(), static_cast<std::uint32_t>(text.size()));
    std::istringstream lines(text.c_str());
    std::vector<std::string> calls;
    for (std::string line; std::getline(lines, line);) {
        if (line.find(part) != line.npos) {
            calls.push_back(line);
        }
    }
    return calls;
}

Record RecordOf(const Entries& entries) {
    auto record = std::make_unique<SAVE_MODULE_DATA_PARAM>();
    for (const auto& [name, value] : entries) {
        ModuleParamEntry& entry = record->params.entries[record->params.nNum++];
        name.copy(entry.name, sizeof entry.name - 1);
        value.copy(entry.value, sizeof entry.value - 1);
    }
    return record;
}

}  // namespace tests
