#include "standins/kz_camera_control/simulated/camera.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

namespace kz {
namespace {

constexpr const char* kFrameStart = "FrameStart";
constexpr std::uint32_t kUserSetCount = 4;
// Bounded, because a host that runs for weeks never reads it.
constexpr std::size_t kLongestJournal = 4U << 20;

template <typename Answer>
Code CopyAnswer(const Answer& answer, KZMatchInfo& info) {
    if (info.info == nullptr || info.size < sizeof answer) {
        return KZ_CC_E_PARAMETER;
    }
    std::memcpy(info.info, &answer, sizeof answer);
    return KZ_CC_OK;
}

}  // namespace

template <typename Body>
Code SimulatedCamera::InSession(Session session, Body&& body) {
    const std::lock_guard lock(m_mutex);
    return session == m_session ? body() : KZ_CC_E_DEVICE_LOST;
}

template <typename Body>
Code SimulatedCamera::OnFeature(Session session, std::string_view name, Body&& body) {
    return InSession(session, [&]() -> Code {
        Feature* const feature = m_features.Find(name);
        return feature == nullptr || m_faults.Missing(name) ? KZ_CC_E_NODE_MISSING : body(*feature);
    });
}

template <typename Write, typename Value>
Code SimulatedCamera::WriteFeature(Session session, std::string_view name, Write&& write,
                                   const Value& value) {
    return OnFeature(session, name, [&](Feature& feature) -> Code {
        if (const Code refused = m_faults.AnswerWrite(name); refused != KZ_CC_OK) {
            return refused;
        }
        const Code code = write(feature, m_stream != nullptr, value);
        if (code == KZ_CC_OK && m_stream) {
            m_stream->SetPacing(Pacing());
        }
        return code;
    });
}

template <typename Kind, typename Body>
Code SimulatedCamera::ReadFeature(Session session, std::string_view name, Body&& body) {
    return OnFeature(session, name, [&](const Feature& feature) -> Code {
        const Kind* const data = std::get_if<Kind>(&feature.data);
        if (data == nullptr) {
            return KZ_CC_E_NODE_TYPE;
        }
        body(*data);
        return KZ_CC_OK;
    });
}

// The camera as its user sees it: the session and the current acquisition.
class SimulatedDevice final : public Device {
  public:
    SimulatedDevice(std::shared_ptr<SimulatedCamera> camera, SimulatedCamera::Session session)
        : m_camera(std::move(camera)), m_session(session) {}

    ~SimulatedDevice() override {
        EndStream();
        m_camera->EndSession(m_session);
    }

    Code Start() override { return m_camera->Start(m_session, m_stream); }

    Code Stop() override {
        EndStream();
        return m_camera->Check(m_session);
    }

    Code NodeType(const char* name, KZNodeType& type) override {
        return m_camera->NodeType(m_session, name, type);
    }
    Code GetInt(const char* name, KZIntValue& value) override {
        return m_camera->GetInt(m_session, name, value);
    }
    Code SetInt(const char* name, std::uint32_t value) override {
        return m_camera->WriteFeature(m_session, name, WriteInt, value);
    }
    Code GetFloat(const char* name, KZFloatValue& value) override {
        return m_camera->GetFloat(m_session, name, value);
    }
    Code SetFloat(const char* name, float value) override {
        return m_camera->WriteFeature(m_session, name, WriteFloat, value);
    }
    Code GetEnum(const char* name, KZEnumValue& value) override {
        return m_camera->GetEnum(m_session, name, value);
    }
    Code SetEnum(const char* name, std::uint32_t value) override {
        return m_camera->WriteFeature(m_session, name, WriteEnum, value);
    }
    Code SetEnumByString(const char* name, const char* entry) override {
        return m_camera->WriteFeature(m_session, name, WriteEnumByString, std::string_view(entry));
    }
    Code GetBool(const char* name, bool& value) override {
        return m_camera->GetBool(m_session, name, value);
    }
    Code SetBool(const char* name, bool value) override {
        return m_camera->WriteFeature(m_session, name, WriteBool, value);
    }
    Code GetString(const char* name, KZStringValue& value) override {
        return m_camera->GetString(m_session, name, value);
    }
    Code SetString(const char* name, const char* value) override {
        return m_camera->WriteFeature(m_session, name, WriteString, std::string_view(value));
    }
    Code Execute(const char* name) override { return m_camera->Execute(m_session, name); }
    std::int32_t OptimalPacketSize() override { return m_camera->OptimalPacketSize(m_session); }
    Code SetTransmissionType(const KZTransmissionType& /*type*/) override {
        return m_camera->SetTransmissionType(m_session);
    }
    Code MatchInfo(KZMatchInfo& info) override { return m_camera->MatchInfo(m_session, info); }
    Code EnableEvent(const char* name) override { return m_camera->EnableEvent(m_session, name); }
    Code Describe(const char* name, const FeatureVisitor& visit) override {
        return m_camera->Describe(name, visit);
    }

  private:
    void EndStream() {
        if (m_stream) {
            m_camera->EndStream(m_stream);
            m_stream = nullptr;
        }
    }

    const std::shared_ptr<SimulatedCamera> m_camera;
    const SimulatedCamera::Session m_session;
    std::shared_ptr<SimulatedStream> m_stream;
};

SimulatedCamera::SimulatedCamera(CameraDescription description)
    : m_description(std::move(description)),
      m_factoryState(m_description),
      m_features(m_factoryState) {
    for (std::uint32_t set = 0; set < kUserSetCount; ++set) {
        m_userSets.emplace(set, m_factoryState);
    }
}

std::string SimulatedCamera::UserName() const {
    const std::lock_guard lock(m_mutex);
    return m_features.Get<StringFeature>("DeviceUserID").value;
}

std::uint32_t SimulatedCamera::Claimed(std::uint32_t length) const {
    const std::lock_guard lock(m_mutex);
    return m_faults.Claimed(length);
}

Code SimulatedCamera::Enter(const Call& call) {
    std::chrono::milliseconds delay{0};
    Code answer = KZ_CC_OK;
    {
        const std::lock_guard lock(m_mutex);
        if (!call.journalLine.empty() && m_journal.size() < kLongestJournal) {
            m_journal.append(call.journalLine).push_back('\n');
        }
        delay = m_faults.Delay(call.function);
        answer = m_faults.Answer(call.function);
    }
    if (delay.count() > 0) {
        std::this_thread::sleep_for(delay);
    }
    return answer;
}

bool SimulatedCamera::StopsWaitForNotices() const {
    const std::lock_guard lock(m_mutex);
    return m_faults.StopsWaitForNotices();
}

Code SimulatedCamera::Open(std::uint32_t accessMode, DeviceSink sink,
                           std::unique_ptr<Device>& device) {
    if (accessMode != KZ_ACCESS_EXCLUSIVE && accessMode != KZ_ACCESS_CONTROL) {
        return KZ_CC_E_NOT_SUPPORTED;
    }
    const std::lock_guard lock(m_mutex);
    if (!m_plugged) {
        return KZ_CC_E_DEVICE_LOST;
    }
    if (m_session != kNobody) {
        return KZ_CC_E_OPEN_REFUSED;
    }
    auto sharedSink = std::make_shared<const DeviceSink>(std::move(sink));
    device = std::make_unique<SimulatedDevice>(shared_from_this(), m_lastSession + 1);
    m_session = ++m_lastSession;
    m_sink = std::move(sharedSink);
    m_statistics = {};
    return KZ_CC_OK;
}

CameraState SimulatedCamera::State() const {
    const std::lock_guard lock(m_mutex);
    CameraState state;
    state.access =
        m_session == kNobody ? CameraState::Access::kFree : CameraState::Access::kControlled;
    return state;
}

Code SimulatedCamera::Describe(const char* name, const FeatureVisitor& visit) const {
    const std::lock_guard lock(m_mutex);
    if (!m_plugged) {
        return KZ_CC_E_DEVICE_LOST;
    }
    m_features.Describe(name, m_stream != nullptr, [&](const FeatureRecord& feature) {
        if (!m_faults.Missing(feature.name)) {
            visit(feature);
        }
    });
    return KZ_CC_OK;
}

bool SimulatedCamera::SetFaults(std::string_view text) {
    auto faults = FaultSet::Parse(text);
    if (!faults) {
        return false;
    }
    const std::lock_guard lock(m_mutex);
    m_faults = *std::move(faults);
    return true;
}

void SimulatedCamera::Unplug() {
    std::shared_ptr<const DeviceSink> sink;
    std::shared_ptr<SimulatedStream> stream;
    {
        const std::lock_guard lock(m_mutex);
        m_plugged = false;
        m_session = kNobody;
        sink = std::exchange(m_sink, nullptr);
        stream = std::exchange(m_stream, nullptr);
    }
    if (stream) {
        stream->RequestStop();
    }
    if (sink) {
        sink->exception(KZ_EXCEPTION_DISCONNECTED);
    }
}

void SimulatedCamera::Plug() {
    const std::lock_guard lock(m_mutex);
    if (!m_plugged) {
        m_plugged = true;
        // A power cycle loses everything that was not saved.
        m_features.LoadUserSet(m_userSets.at(kUserSetDefault));
    }
}

bool SimulatedCamera::Plugged() const {
    const std::lock_guard lock(m_mutex);
    return m_plugged;
}

bool SimulatedCamera::RaiseException(std::uint32_t messageType) {
    const std::lock_guard lock(m_mutex);
    if (m_sink) {
        m_sink->exception(messageType);
    }
    return m_sink != nullptr;
}

bool SimulatedCamera::RaiseEvent(const char* eventName) {
    const std::lock_guard lock(m_mutex);
    if (m_sink) {
        m_sink->event(eventName);
    }
    return m_sink != nullptr;
}

bool SimulatedCamera::DeliverFrame(const std::uint8_t* pixels, const FrameOutInfo* info) {
    std::shared_ptr<SimulatedStream> stream;
    {
        const std::lock_guard lock(m_mutex);
        stream = m_stream;
    }
    return stream && stream->Deliver(pixels, info);
}

std::string SimulatedCamera::Journal() const {
    const std::lock_guard lock(m_mutex);
    return m_journal;
}

void SimulatedCamera::ClearJournal() {
    const std::lock_guard lock(m_mutex);
    m_journal.clear();
}

Code SimulatedCamera::NodeType(Session session, const char* name, KZNodeType& type) {
    return OnFeature(session, name, [&](const Feature& feature) -> Code {
        type = feature.Type();
        return KZ_CC_OK;
    });
}

Code SimulatedCamera::GetInt(Session session, const char* name, KZIntValue& value) {
    return ReadFeature<IntFeature>(session, name, [&](const IntFeature& feature) {
        value = {feature.value, feature.maximum, feature.minimum, feature.increment, {}};
    });
}

Code SimulatedCamera::GetFloat(Session session, const char* name, KZFloatValue& value) {
    return ReadFeature<FloatFeature>(session, name, [&](const FloatFeature& feature) {
        value = {feature.value, feature.maximum, feature.minimum, {}};
    });
}

Code SimulatedCamera::GetEnum(Session session, const char* name, KZEnumValue& value) {
    return ReadFeature<EnumFeature>(session, name, [&](const EnumFeature& feature) {
        value = {};
        value.current = feature.value;
        for (const auto& [entry, code] : feature.entries) {
            if (value.supportedCount < KZ_MAX_ENUM_ENTRIES) {
                value.supported[value.supportedCount++] = code;
            }
        }
    });
}

Code SimulatedCamera::GetBool(Session session, const char* name, bool& value) {
    return ReadFeature<BoolFeature>(session, name,
                                    [&](const BoolFeature& feature) { value = feature.value; });
}

Code SimulatedCamera::GetString(Session session, const char* name, KZStringValue& value) {
    return ReadFeature<StringFeature>(session, name, [&](const StringFeature& feature) {
        value = {};
        feature.value.copy(value.current, sizeof value.current - 1);
        value.maximumLength = static_cast<std::int64_t>(feature.longest);
    });
}

Code SimulatedCamera::Execute(Session session, const char* name) {
    const auto run = [this](Feature& feature, bool grabbing, std::string_view command) -> Code {
        if (!std::holds_alternative<CommandFeature>(feature.data)) {
            return KZ_CC_E_NODE_TYPE;
        }
        if (feature.access == Feature::Access::LockedWhileGrabbing && grabbing) {
            return KZ_CC_E_NODE_ACCESS;
        }
        return RunCommand(command);
    };
    return WriteFeature(session, name, run, std::string_view(name));
}

Code SimulatedCamera::RunCommand(std::string_view name) {
    if (name == "TriggerSoftware") {
        if (m_features.Get<EnumFeature>("TriggerSource").value != kTriggerSourceSoftware) {
            return KZ_CC_E_NODE_ACCESS;
        }
        const bool burst =
            m_features.Get<EnumFeature>("TriggerSelector").value == kTriggerSelectorBurst;
        if (m_stream) {
            m_stream->Trigger(burst ? m_features.Get<IntFeature>("AcquisitionBurstFrameCount").value
                                    : 1);
        }
        return KZ_CC_OK;
    }
    const std::uint32_t set = m_features.Get<EnumFeature>("UserSetSelector").value;
    if (name == "UserSetLoad") {
        m_features.LoadUserSet(m_userSets.at(set));
        return KZ_CC_OK;
    }
    // UserSetSave. The factory's set must not be overwritten.
    if (set == kUserSetDefault) {
        return KZ_CC_E_NODE_ACCESS;
    }
    m_userSets.at(set) = m_features;
    return KZ_CC_OK;
}

SimulatedStream::Pacing SimulatedCamera::Pacing() const {
    const bool limited = m_features.Get<BoolFeature>("AcquisitionFrameRateEnable").value;
    return {.triggered = m_features.Get<EnumFeature>("TriggerMode").value != 0,
            .rate = limited ? m_features.Get<FloatFeature>("AcquisitionFrameRate").value
                            : m_description.rate};
}

Code SimulatedCamera::Check(Session session) {
    return InSession(session, [] { return KZ_CC_OK; });
}

Code SimulatedCamera::Start(Session session, std::shared_ptr<SimulatedStream>& stream) {
    SimulatedStream::Picture picture{};
    SimulatedStream::Pacing pacing{};
    std::shared_ptr<const DeviceSink> sink;
    const Code code = InSession(session, [&]() -> Code {
        picture = {m_features.Get<IntFeature>("Width").value,
                   m_features.Get<IntFeature>("Height").value,
                   m_features.Get<EnumFeature>("PixelFormat").value};
        pacing = Pacing();
        sink = m_sink;
        return KZ_CC_OK;
    });
    if (code != KZ_CC_OK) {
        return code;
    }
    const auto self = shared_from_this();
    SimulatedStream::Outlet outlet;
    outlet.frame = [self, session, sink](const std::uint8_t* pixels, FrameOutInfo& info) {
        self->HandOver(session, *sink, pixels, info);
    };
    outlet.foreignFrame = [self, session, sink](const std::uint8_t* pixels,
                                                const FrameOutInfo* info) {
        return self->HandOverForeign(session, *sink, pixels, info);
    };
    outlet.lost = [self](std::uint32_t count) {
        const std::lock_guard lock(self->m_mutex);
        self->m_statistics.lostFrames += count;
    };
    // Created without the lock: rendering the pictures of a large camera is slow.
    stream = std::make_shared<SimulatedStream>(picture, pacing, std::move(outlet));
    return InSession(session, [&]() -> Code {
        m_stream = stream;
        return KZ_CC_OK;
    });
}

void SimulatedCamera::EndStream(const std::shared_ptr<SimulatedStream>& stream) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_stream == stream) {
            m_stream = nullptr;
        }
    }
    stream->Stop();
}

void SimulatedCamera::EndSession(Session session) {
    const std::lock_guard lock(m_mutex);
    if (m_session == session) {
        m_session = kNobody;
        m_sink = nullptr;
    }
}

void SimulatedCamera::HandOver(Session session, const DeviceSink& sink, const std::uint8_t* pixels,
                               FrameOutInfo& info) {
    bool announced = false;
    const Code code = InSession(session, [&]() -> Code {
        announced =
            m_description.events && m_features.Get<EnumFeature>("EventNotification").value != 0;
        info.frameLength -= std::min(info.frameLength, m_faults.ShortBy());
        m_statistics.bytes += info.frameLength;
        ++m_statistics.frames;
        return KZ_CC_OK;
    });
    if (code != KZ_CC_OK) {
        return;
    }
    if (announced) {
        sink.event(kFrameStart);
    }
    if (sink.frame(pixels, &info)) {
        ++m_framesDelivered;
    }
}

bool SimulatedCamera::HandOverForeign(Session session, const DeviceSink& sink,
                                      const std::uint8_t* pixels, const FrameOutInfo* info) {
    if (Check(session) != KZ_CC_OK || !sink.frame(pixels, info)) {
        return false;
    }
    ++m_framesDelivered;
    return true;
}

Code SimulatedCamera::EnableEvent(Session session, const char* name) {
    return InSession(session, [&]() -> Code {
        if (!m_description.events || name != std::string_view(kFrameStart)) {
            return KZ_CC_E_NODE_MISSING;
        }
        return WriteEnum(*m_features.Find("EventNotification"), false, 1);
    });
}

std::int32_t SimulatedCamera::OptimalPacketSize(Session session) {
    constexpr std::int32_t kEthernetPacket = 1500;
    std::int32_t size = 0;
    const Code code = InSession(session, [&]() -> Code {
        size = m_faults.PacketSize().value_or(kEthernetPacket);
        return m_description.kind == CameraKind::GigE ? KZ_CC_OK : KZ_CC_E_NOT_SUPPORTED;
    });
    return code == KZ_CC_OK ? size : static_cast<std::int32_t>(code);
}

Code SimulatedCamera::SetTransmissionType(Session session) {
    return InSession(session, [&]() -> Code {
        return m_description.kind == CameraKind::GigE ? KZ_CC_OK : KZ_CC_E_NOT_SUPPORTED;
    });
}

Code SimulatedCamera::MatchInfo(Session session, KZMatchInfo& info) {
    return InSession(session, [&]() -> Code {
        if (m_description.kind == CameraKind::GigE && info.type == KZ_MATCH_INFO_GIGE) {
            KZGigEMatchInfo answer{};
            answer.receivedBytes = m_statistics.bytes;
            answer.lostFrames = m_statistics.lostFrames;
            answer.receivedFrames = m_statistics.frames;
            return CopyAnswer(answer, info);
        }
        if (m_description.kind != CameraKind::GigE && info.type == KZ_MATCH_INFO_USB3) {
            KZUsb3MatchInfo answer{};
            answer.receivedBytes = m_statistics.bytes;
            answer.receivedFrames = m_statistics.frames;
            answer.errorFrames = m_statistics.lostFrames;
            return CopyAnswer(answer, info);
        }
        return KZ_CC_E_NOT_SUPPORTED;
    });
}

}  // namespace kz
