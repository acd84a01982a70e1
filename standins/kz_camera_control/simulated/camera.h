// A simulated camera: what persists while it is closed - features, saved user sets, faults, journal
// - and its one user while it is open.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "standins/kz_camera_control/call_interceptor.h"
#include "standins/kz_camera_control/camera.h"
#include "standins/kz_camera_control/simulated/camera_description.h"
#include "standins/kz_camera_control/simulated/faults.h"
#include "standins/kz_camera_control/simulated/features.h"
#include "standins/kz_camera_control/simulated/stream.h"

namespace kz {

// Any thread may call. A session number identifies the user: loss of the camera ends the session,
// so that its former user is refused from then on, even when the camera is back.
class SimulatedCamera final : public CallInterceptor,
                              public std::enable_shared_from_this<SimulatedCamera> {
  public:
    explicit SimulatedCamera(CameraDescription description);

    [[nodiscard]] const CameraDescription& Description() const { return m_description; }
    // The name may be changed by the user ("DeviceUserID").
    [[nodiscard]] std::string UserName() const;

    [[nodiscard]] std::uint32_t Claimed(std::uint32_t length) const override;
    Code Enter(const Call& call) override;
    [[nodiscard]] bool StopsWaitForNotices() const override;

    Code Open(std::uint32_t accessMode, DeviceSink sink, std::unique_ptr<Device>& device);

    [[nodiscard]] CameraState State() const;
    // Also while another program has it open.
    Code Describe(const char* name, const FeatureVisitor& visit) const;

    // For tests.
    [[nodiscard]] bool SetFaults(std::string_view text);
    void Unplug();
    void Plug();
    [[nodiscard]] bool Plugged() const;
    bool RaiseException(std::uint32_t messageType);
    bool RaiseEvent(const char* eventName);
    bool DeliverFrame(const std::uint8_t* pixels, const FrameOutInfo* info);
    [[nodiscard]] std::uint64_t FramesDelivered() const { return m_framesDelivered; }
    [[nodiscard]] std::string Journal() const;
    void ClearJournal();

  private:
    friend class SimulatedDevice;
    using Session = std::uint64_t;
    static constexpr Session kNobody = 0;

    struct Statistics {
        std::int64_t bytes = 0;
        std::uint32_t frames = 0;
        std::uint32_t lostFrames = 0;
    };

    // Runs `body` with the lock held while the session is the camera's user.
    template <typename Body>
    Code InSession(Session session, Body&& body);
    template <typename Body>
    Code OnFeature(Session session, std::string_view name, Body&& body);
    template <typename Kind, typename Body>
    Code ReadFeature(Session session, std::string_view name, Body&& body);
    // `write`: one of the write rules of features.h.
    template <typename Write, typename Value>
    Code WriteFeature(Session session, std::string_view name, Write&& write, const Value& value);

    // The operations of a device, for its session.
    Code Check(Session session);
    Code Start(Session session, std::shared_ptr<SimulatedStream>& stream);
    void EndStream(const std::shared_ptr<SimulatedStream>& stream);
    void EndSession(Session session);
    Code NodeType(Session session, const char* name, KZNodeType& type);
    Code GetInt(Session session, const char* name, KZIntValue& value);
    Code GetFloat(Session session, const char* name, KZFloatValue& value);
    Code GetEnum(Session session, const char* name, KZEnumValue& value);
    Code GetBool(Session session, const char* name, bool& value);
    Code GetString(Session session, const char* name, KZStringValue& value);
    Code Execute(Session session, const char* name);
    Code EnableEvent(Session session, const char* name);
    std::int32_t OptimalPacketSize(Session session);
    Code SetTransmissionType(Session session);
    Code MatchInfo(Session session, KZMatchInfo& info);

    // On the stream's thread.
    void HandOver(Session session, const DeviceSink& sink, const std::uint8_t* pixels,
                  FrameOutInfo& info);
    bool HandOverForeign(Session session, const DeviceSink& sink, const std::uint8_t* pixels,
                         const FrameOutInfo* info);

    // With the lock held.
    [[nodiscard]] SimulatedStream::Pacing Pacing() const;
    Code RunCommand(std::string_view name);

    const CameraDescription m_description;
    const FeatureTable m_factoryState;
    std::atomic<std::uint64_t> m_framesDelivered{0};

    mutable std::mutex m_mutex;  // guards the members below; never held while a sink's frame runs
    FeatureTable m_features;
    std::map<std::uint32_t, FeatureTable> m_userSets;
    FaultSet m_faults;
    std::string m_journal;
    bool m_plugged = true;
    Session m_lastSession = kNobody;
    Session m_session = kNobody;
    std::shared_ptr<const DeviceSink> m_sink;   // of the session
    std::shared_ptr<SimulatedStream> m_stream;  // of the session, while it grabs
    Statistics m_statistics;
};

}  // namespace kz
