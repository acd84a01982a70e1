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
#include "standins/module_frame/module_frame_host.h"

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

// A function of a test that the module's threads call.
template <typename Signature>
class Callback;

template <typename Result, typename... Args>
class Callback<Result(Args...)> {
  public:
    using Function = std::function<Result(Args...)>;

    // `none` stands in while there is no other.
    explicit Callback(Function none)
        : m_none(std::make_shared<Function>(std::move(none))), m_function(m_none) {}

    struct Detach {
        void operator()(Callback* callback) const { callback->DetachAndWait(); }
    };
    using Attached = std::unique_ptr<Callback, Detach>;

    // The function is called until the result ends. Then no call is inside and none comes any more,
    // so the function may use all that was there ahead of the result.
    [[nodiscard]] Attached Attach(Function function) {
        *this = std::move(function);
        return Attached(this);
    }

    // For a function that uses nothing that ends before the host; null for none.
    Callback& operator=(Function function) {
        const std::lock_guard hold(m_lock);
        m_function = function ? std::make_shared<Function>(std::move(function)) : m_none;
        return *this;
    }

    Result operator()(Args... args) {
        const Call call(*this);
        return (*call.function)(args...);
    }

  private:
    struct Call {
        explicit Call(Callback& whose) : callback(whose) {
            const std::lock_guard hold(callback.m_lock);
            function = callback.m_function;
            ++callback.m_inside;
        }
        ~Call() {
            const std::lock_guard hold(callback.m_lock);
            function.reset();
            --callback.m_inside;
            callback.m_left.notify_all();
        }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;

        Callback& callback;
        std::shared_ptr<Function> function;
    };

    void DetachAndWait() {
        std::unique_lock hold(m_lock);
        m_function = m_none;
        m_left.wait(hold, [this] { return m_inside == 0; });
    }

    std::mutex m_lock;
    std::condition_variable m_left;
    const std::shared_ptr<Function> m_none;
    std::shared_ptr<Function> m_function;
    int m_inside = 0;
};

// One at a time in a process, as the stand-ins have one observer and one log sink; further modules
// stand beside it. A test in which a module logged that a wait ended by its time limit fails,
// unless it says that it expects that.
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
    Callback<void(const Report&)> onReport{[](const Report&) {}};
    // 0 accepts; without one every procedure refuses. Runs on the module's processing thread.
    Callback<std::uint32_t(std::int32_t procedure, std::uint32_t frameNumber)> onProcedure{
        [](std::int32_t, std::uint32_t) { return kModuleFrameRefused; }};

    // On the thread that publishes or logs, likewise.
    Callback<void(const std::string& published)> onPublished{[](const std::string&) {}};
    Callback<void(const std::string& line)> onLog{[](const std::string&) {}};

    [[nodiscard]] std::vector<Report> Reports() const;
    // Reports other than those of arriving frames.
    [[nodiscard]] std::vector<Report> StateReports() const;
    void ClearReports();
    bool WaitForReport(const Report& report, std::chrono::milliseconds timeout = kHang);

    // The lines of one level, or of all.
    [[nodiscard]] std::vector<std::string> Log(std::optional<std::int32_t> level = {}) const;
    // What one function of the module logged, oldest first, each behind the letter of its level:
    // "E Enum return 1 devices".
    [[nodiscard]] std::vector<std::string> Messages(std::string_view function) const;
    // Lines with `part` in them may tell of a time limit.
    void ExpectTimeOut(const std::string& part) { m_expectedTimeOuts.push_back(part); }
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
    std::vector<Report> m_reports;  // under m_lock, like the next three
    std::vector<LogLine> m_log;
    std::vector<std::string> m_timeOuts;
    std::vector<std::string> m_published;
    std::vector<std::string> m_expectedTimeOuts;

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
