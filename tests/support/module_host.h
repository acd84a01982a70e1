// The host of one module, for tests: creates it through its exports on the stand-ins, mostly with
// simulated cameras, and remembers what it reports and logs.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "imaging/buffer_node.h"
#include "module/exports.h"
#include "module/framework/module_frame.h"
#include "module/framework/status_codes.h"

namespace tests {

// No wait of a test that succeeds comes near it.
inline constexpr std::chrono::seconds kHang{20};

struct Report {
    std::uint32_t code;
    std::string text;
    bool operator==(const Report&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Report& report) {
        return out << report.code << ' ' << report.text;
    }
};

struct LogLine {
    std::int32_t level;
    std::string text;
};

// The cameras of the machine, and no simulated one.
struct RealCameras {};

// One at a time in a process, as the stand-ins have one observer and one log sink; further modules
// stand beside it.
class ModuleHost {
  public:
    // `cameras`: a description for KZSim_Configure. Real cameras stay out.
    explicit ModuleHost(const std::string& cameras = "", std::int32_t moduleId = 1,
                        std::int32_t createCause = 0);
    explicit ModuleHost(RealCameras cameras, std::int32_t moduleId = 1);
    // One more module, which `first` outlives: that one gets the reports and log lines of both.
    ModuleHost(ModuleHost& first, std::int32_t moduleId);
    ~ModuleHost();
    ModuleHost(const ModuleHost&) = delete;
    ModuleHost& operator=(const ModuleHost&) = delete;

    // Null when CreateModule failed.
    [[nodiscard]] CAbstractUserModule* Module() const { return m_module; }
    [[nodiscard]] void* Handle() const { return m_handle; }
    void Destroy();

    std::uint32_t Set(const std::string& key, const std::string& value);
    // The answer, up to its NUL; what the module leaves unwritten reads as "".
    std::string Get(const std::string& key, std::int32_t size = 1024);
    std::uint32_t GetStatus(const std::string& key, std::int32_t size = 1024);

    // Registers a procedure and has the module look its receiver up, so that frames are taken in.
    void Relate(std::int32_t procedure);

    // Selects the camera and turns run by camera off: frames come on request.
    void OpenForRequests(const std::string& serial);

    [[nodiscard]] std::optional<cam::BufferNode> Image();
    std::uint32_t Free(const cam::BufferNode& node);
    // An image that is given back at once: its record tells of it, its pixels are gone.
    std::optional<cam::BufferNode> TakeImage();

    // On the reporting thread, with no lock of the host held.
    std::function<void(const Report&)> onReport;
    // 0 accepts; without one every procedure refuses. Runs on the module's processing thread.
    std::function<std::uint32_t(std::int32_t procedure, std::uint32_t frameNumber)> onProcedure;

    // On the thread that publishes or logs, likewise.
    std::function<void(const std::string& published)> onPublished;
    std::function<void(const std::string& line)> onLog;

    [[nodiscard]] std::vector<Report> Reports() const;
    // Reports other than those of arriving frames.
    [[nodiscard]] std::vector<Report> StateReports() const;
    void ClearReports();
    bool WaitForReport(const Report& report, std::chrono::milliseconds timeout = kHang);

    // The lines of one level, or of all.
    [[nodiscard]] std::vector<std::string> Log(std::optional<std::int32_t> level = {}) const;
    [[nodiscard]] std::size_t LogCount(std::string_view part) const;
    bool WaitForLog(std::string_view part, std::chrono::milliseconds timeout = kHang);
    void ClearLog();

    // Published under CQ_M_SetBinayData, as "key=data".
    [[nodiscard]] std::vector<std::string> Published() const;

  private:
    void Watch();
    void Create(std::int32_t moduleId, std::int32_t createCause);

    static void OnReport(void* user, void* handle, std::uint32_t code, const char* text,
                         std::uint32_t length);
    static void OnBinaryData(void* user, std::int32_t kind, const char* key, const char* data,
                             std::uint32_t length);
    static std::uint32_t OnTryRunProcedure(void* user, std::int32_t procedureId, const char* text,
                                           std::int32_t reserved);
    static void OnLogLine(std::int32_t level, const char* line, void* user);

    template <typename Predicate>
    bool WaitUntil(Predicate predicate, std::chrono::milliseconds timeout) {
        std::unique_lock hold(m_lock);
        return m_changed.wait_for(hold, timeout, predicate);
    }

    mutable std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<Report> m_reports;  // under m_lock, like the next two
    std::vector<LogLine> m_log;
    std::vector<std::string> m_published;

    bool m_watches = false;  // is the stand-ins' observer and sink
    void* m_handle = nullptr;
    CAbstractUserModule* m_module = nullptr;
};

// What a log line says behind its prefix; the whole line where it has none.
std::string MessageOf(const std::string& line);
// The messages that one function of the module logged, oldest first.
std::vector<std::string> MessagesOf(const std::vector<std::string>& log, std::string_view function);

// Threads of this process, its open files and its open image regions. 0 and none where the system
// does not show them in its files (anywhere but on Linux).
std::size_t ThreadCount();
std::size_t OpenFileCount();
std::vector<std::string> OpenRegions();

// Waits, looking every few milliseconds, until `condition` holds; false after `timeout`.
bool Eventually(const std::function<bool()>& condition, std::chrono::milliseconds timeout = kHang);

// The calls on a simulated camera since the journal was cleared, one an entry: all, or those that
// contain `part`.
std::vector<std::string> Journal(const std::string& serial, std::string_view part = "");

using Record = std::unique_ptr<SAVE_MODULE_DATA_PARAM>;
using Entries = std::vector<std::pair<std::string, std::string>>;

// A solution of these parameters and no camera.
Record RecordOf(const Entries& entries);

}  // namespace tests
