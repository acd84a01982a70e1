// The camera module in this process, created and destroyed as a machine-vision host does.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "host/camera_inspector.h"
#include "host/choice_list.h"
#include "host/command_line.h"
#include "host/exit_codes.h"
#include "host/module_library.h"
#include "imaging/buffer_node.h"
#include "module/framework/module_frame.h"

namespace host {

// What the module tells the host. Called on threads of the module, which may hold its locks: an
// observer keeps what it is told, returns at once and does not call the module.
class ModuleObserver {
  public:
    virtual ~ModuleObserver() = default;

    // The frame of this number is at the module.
    virtual void OnFrameArrived(std::uint32_t /*frameNumber*/) {}
    // Every other notice, by its report code.
    virtual void OnNotice(std::uint32_t /*code*/, std::string_view /*text*/) {}
    // "CameraOnline" or "CameraOffline".
    virtual void OnPublished(std::string_view /*key*/) {}
    // True when the host procedure takes the frame; then the host reads it from the module.
    virtual bool OnTryRunProcedure(std::int32_t /*procedure*/, std::uint32_t /*frameNumber*/) {
        return false;
    }
};

// An image that the host has from the module; handed back when the owner lets go of it, on
// whatever thread. It must be gone before the module is.
class Frame {
  public:
    Frame() = default;
    Frame(CAbstractUserModule& module, const cam::BufferNode& record)
        : m_module(&module), m_record(record) {}
    ~Frame() { HandBack(); }
    Frame(Frame&& other) noexcept
        : m_module(std::exchange(other.m_module, nullptr)), m_record(other.m_record) {}
    Frame& operator=(Frame&& other) noexcept;

    [[nodiscard]] const cam::BufferNode& Record() const noexcept { return m_record; }

  private:
    void HandBack() noexcept;

    CAbstractUserModule* m_module = nullptr;
    cam::BufferNode m_record;
};

// Another program has the camera.
class CameraInUse : public Failure {
  public:
    using Failure::Failure;
};

// One at a time in a process. Where nothing else is said, a failure is thrown as host::Failure.
class ModuleSession {
  public:
    // Loads the module's file and creates the module. `observer` outlives the session.
    ModuleSession(const Options& options, ModuleObserver& observer);
    // Without an observer: what the module tells is not of interest.
    explicit ModuleSession(const Options& options);
    ~ModuleSession();
    ModuleSession(const ModuleSession&) = delete;
    ModuleSession& operator=(const ModuleSession&) = delete;

    [[nodiscard]] std::string Get(const std::string& key);
    [[nodiscard]] ChoiceList Cameras();

    // The module's status; a command leaves no trace in a saved solution.
    [[nodiscard]] std::uint32_t TryCommand(const std::string& key, const std::string& value);
    void Command(const std::string& key, const std::string& value);
    // A value that belongs to the solution. Whether it took effect is another question: see
    // WriteSetting.
    void Write(const std::string& key, const std::string& value);

    // Opens the camera that the options name and writes their settings. Where they name none,
    // `orFirst` takes the first one listed.
    void OpenCamera(const Options& options, bool orFirst);
    // The settings once more, for a camera that forgot them.
    void WriteSettings(const Options& options);

    // Whether OpenCamera opened one, and its serial number or address as the inspector takes it.
    [[nodiscard]] bool HasCamera() const { return !m_cameraId.empty(); }
    [[nodiscard]] const std::string& CameraId() const { return m_cameraId; }
    [[nodiscard]] const std::optional<CameraInspector>& Inspector() const { return m_inspector; }

    // Tells the module which host procedures take its frames; without any it ignores frames.
    void RelateProcedures(std::uint64_t count);

    // Reads the next frame: one from the queue, else one that the module triggers. 0, and `frame`
    // filled; or the module's status.
    [[nodiscard]] std::uint32_t TakeFrame(Frame& frame);

    void SaveSolution(const std::string& path);
    void LoadSolution(const std::string& path);

  private:
    struct Framework;

    void OpenByAddress(const CameraAddress& address);
    void OpenBySerial(const std::string& serial);

    ModuleLibrary m_library;
    std::unique_ptr<Framework> m_framework;  // before the module, and gone after it
    std::unique_ptr<CAbstractUserModule, std::function<void(CAbstractUserModule*)>> m_module;
    std::optional<CameraInspector> m_inspector;
    std::string m_cameraId;
};

}  // namespace host
