// The camera that the module has open: finding, choosing, opening and closing it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

#include "base/lock.h"
#include "base/module_events.h"
#include "base/notices.h"
#include "base/relaxed.h"
#include "base/settings.h"
#include "base/text.h"
#include "camera/camera_identity.h"
#include "camera/camera_set_up.h"
#include "camera/device_tables.h"
#include "camera/my_camera.h"
#include "camera/set_up_gate.h"
#include "camera/stop_gate.h"
#include "module/framework/module_frame.h"
#include "module/framework/status_codes.h"

namespace cam {

// At most one camera is open. Opening, set-up, closing and every enumeration hold the connection
// lock throughout, and notices to the host are sent under it. On a thread of the SDK an operation
// returns kInvalid once a stop is announced; on a frame or event thread opening and closing are
// refused. Only EnumDevices and GetCameraList throw, when out of memory.
class CameraConnection {
  public:
    // `replay` writes the saved parameters of the camera that was just opened; `seekLost` starts
    // the search for a camera whose loss was not reported. Both are called under the connection
    // lock.
    CameraConnection(CMyCamera& camera, StopGate& stopGate, SetUpGate& setUpGate,
                     const Notices& notices, Settings& settings, ModuleEvents& events,
                     const SdkCallbacks& callbacks, std::function<void()> replay,
                     std::function<void()> seekLost);

    // Enumerates cameras. Returns the SDK's status.
    [[nodiscard]] Status EnumDevices();
    // The choice list of "CameraName"; `length` receives its full length, `buffer` as much of it as
    // `capacity` holds. An open camera missing from the list is dropped and searched for.
    [[nodiscard]] Status GetCameraList(char* buffer, std::int32_t capacity, std::uint32_t* length);

    // Writes "CameraName": a serial number, a list value, or "0" for no camera.
    [[nodiscard]] Status SetDeviceValue(std::string_view value);
    // Retries the last selection that failed to open, unless a camera is open.
    [[nodiscard]] Status RetryPendingSelection();
    [[nodiscard]] bool HasPendingSelection() const { return !m_pendingSelection.Get().empty(); }
    // "ConnectIP": opens the camera at the address of the settings, or closes it.
    [[nodiscard]] Status ConnectIP(bool open);
    // "SerialNumber": a different number closes the open camera.
    [[nodiscard]] Status SetSerial(std::string_view serial);
    // "UseGenTL": a change closes the open camera.
    [[nodiscard]] Status UseGenTL(bool use);
    // Reports the camera off-line if one was open.
    void CloseCurCamera();

    // One attempt of the reconnect thread; success is reported to the host. True when a camera is
    // open.
    [[nodiscard]] bool Reopen(const CameraText& serial);

    // Of the open camera, or the one that was open last.
    [[nodiscard]] const CameraIdentity& Identity() const { return m_identity; }
    [[nodiscard]] CameraText Serial() const { return m_identity.serial.Get(); }
    // The serial number, cut to what a GigE Vision record holds, by which a lost camera is searched
    // for.
    [[nodiscard]] CameraText SoughtSerial() const;
    // Writes the I/O lines of the camera's kind.
    void SetLines() { m_setUp.SetLines(); }

    // Finds the record with that serial number in the last enumeration. kInvalid: the thread gave
    // way.
    [[nodiscard]] Status FindDevice(std::string_view serial,
                                    std::optional<CameraDeviceInfo>& found) const;

    // Counts cameras opened and closed on purpose, so that a loss can tell that it was overtaken.
    [[nodiscard]] std::uint32_t Choices() const { return m_choices.Get(); }
    [[nodiscard]] bool ClosedByUser() const { return m_closedByUser.Get(); }

    [[nodiscard]] bool UsesGenTL() const { return m_bGenTL.Get(); }
    void ReplayGenTL(bool use) { m_bGenTL.Set(use); }
    [[nodiscard]] auto GenTLPath() const { return m_szGenTLPath.Get(); }
    void SetGenTLPath(std::string_view path) { m_szGenTLPath.Set(path); }

    // The record that the host's solution keeps; transport type 0: none.
    [[nodiscard]] CameraDeviceInfo SavedDevice() const EXCLUDES(m_savedDeviceLock);
    void SetSavedDevice(const CameraDeviceInfo& record) EXCLUDES(m_savedDeviceLock);

  private:
    // The connection lock as every operation takes it.
    class SCOPED_CAPABILITY Hold {
      public:
        explicit Hold(const CameraConnection& connection)
            ACQUIRE(connection.m_connectionLock) NO_THREAD_SAFETY_ANALYSIS
            : m_guard(connection.m_stopGate, connection.m_connectionLock) {
            if (m_guard) {
                m_held.emplace(connection.m_stopGate);
            }
        }
        ~Hold() RELEASE() NO_THREAD_SAFETY_ANALYSIS {}
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

        [[nodiscard]] explicit operator bool() const { return static_cast<bool>(m_guard); }

      private:
        StopGate::Guard m_guard;
        std::optional<StopGate::ConnectionHeld> m_held;
    };

    [[nodiscard]] Status ConnectDevice(const CameraDeviceInfo& record);
    [[nodiscard]] Status ConnectCameraByIP();
    [[nodiscard]] Status OpenSelected(std::string_view serial) REQUIRES(m_connectionLock);
    [[nodiscard]] Status OpenRecord(const CameraDeviceInfo& record, const char* function)
        REQUIRES(m_connectionLock);
    [[nodiscard]] Status OpenGenTL(const GenTLDeviceInfo& record) REQUIRES(m_connectionLock);
    void NoteOpened();
    enum class Chosen : std::uint8_t { No, Yes };
    // kInvalid: gave way, and the camera is still open.
    [[nodiscard]] Status Close(Chosen chosen) REQUIRES(m_connectionLock);
    void ReplaySavedParams() REQUIRES(m_connectionLock);

    CMyCamera& m_camera;
    StopGate& m_stopGate;
    SetUpGate& m_setUpGate;
    const Notices& m_notices;
    Settings& m_settings;
    ModuleEvents& m_events;
    const std::function<void()> m_replay;
    const std::function<void()> m_seekLost;

    CameraIdentity m_identity;
    CameraSetUp m_setUp;

    mutable ReentrantLock m_connectionLock{LockRank::Connection, "connection"};
    DeviceTables m_devices GUARDED_BY(m_connectionLock);
    bool m_enumerating GUARDED_BY(m_connectionLock) = false;
    bool m_replaying GUARDED_BY(m_connectionLock) = false;

    // The selection that failed to open; GetImage retries it.
    SharedText<kFrameworkValueSize> m_pendingSelection;
    Relaxed<bool> m_closedByUser{false};
    Relaxed<std::uint32_t> m_choices{0};

    Relaxed<bool> m_bGenTL{false};            // enumerate through GenTL producers
    SharedText<kPathTextSize> m_szGenTLPath;  // of the producers; UTF-8

    mutable Lock m_savedDeviceLock{LockRank::Leaf, "saved device"};
    CameraDeviceInfo m_savedDevice GUARDED_BY(m_savedDeviceLock){};
};

}  // namespace cam
