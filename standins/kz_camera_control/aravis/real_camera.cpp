#include "standins/kz_camera_control/aravis/real_camera.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "standins/kz_camera_control/aravis/feature_listing.h"
#include "standins/kz_camera_control/aravis/remains.h"
#include "standins/kz_camera_control/aravis/spare_thread.h"
#include "standins/kz_camera_control/aravis/stream_socket.h"

namespace kz {
namespace {

// The transport's parameters (size, format, packet size) are locked while the camera streams.
constexpr const char* kTransportLocked = "TLParamsLocked";

std::uint32_t Clamp32(std::uint64_t value) {
    return static_cast<std::uint32_t>(
        std::min<std::uint64_t>(value, std::numeric_limits<std::uint32_t>::max()));
}

// Called on Aravis's receiving thread. If it wakes up late, packets beyond the socket's buffer are
// lost, so it gets a higher priority if the user may set one.
void AtStreamThread(void*, ArvStreamCallbackType type, ArvBuffer*) {
    constexpr int kNice = -10;
    if (type == ARV_STREAM_CALLBACK_TYPE_INIT) {
        (void)::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), kNice);
    }
}

template <typename Record>
Code CopyRecord(const Record& record, KZMatchInfo& info) {
    if (info.info == nullptr || info.size < sizeof(Record)) {
        return KZ_CC_E_PARAMETER;
    }
    *static_cast<Record*>(info.info) = record;
    return KZ_CC_OK;
}

}  // namespace

RealCamera::RealCamera(GObjectPtr<ArvDevice> device, DeviceSink sink)
    : m_sink(std::move(sink)),
      m_device(std::move(device)),
      m_features(m_device.get()),
      m_watch(m_device.get(), [this] { m_sink.exception(KZ_EXCEPTION_DISCONNECTED); }) {}

RealCamera::~RealCamera() {
    (void)Stop();
    Remains remains;
    remains.watch = m_watch.End();
    remains.device = std::move(m_device);
    if (m_watch.Lost()) {
        GiveBack(std::move(remains));
    }
}

// Cameras without the feature lock by themselves.
void RealCamera::LockTransport(bool locked) {
    (void)m_features.SetInt(kTransportLocked, locked ? 1 : 0);
}

Code RealCamera::CreateStream(GObjectPtr<ArvStream>& stream, std::size_t& frameSize) {
    GErrorHolder error;
    const gint64 payload =
        arv_device_get_integer_feature_value(m_device.get(), "PayloadSize", error.Out());
    if (error) {
        return CodeOf(error);
    }
    if (payload <= 0) {
        return KZ_CC_E_NO_DATA;
    }
    if (!ThreadCanBeStarted()) {
        return KZ_CC_E_RESOURCE;
    }
    frameSize = static_cast<std::size_t>(payload);
    stream = IsGigE() ? CreateGigEStream(ARV_GV_DEVICE(m_device.get()), &AtStreamThread, frameSize,
                                         error)
                      : GObjectPtr<ArvStream>(arv_device_create_stream(
                            m_device.get(), &AtStreamThread, nullptr, error.Out()));
    if (!stream) {
        return error ? CodeOf(error) : KZ_CC_E_RESOURCE;
    }
    return KZ_CC_OK;
}

Code RealCamera::Start() {
    return m_watch.Ask([this]() -> Code {
        if (m_frames) {
            return KZ_CC_E_CALL_ORDER;
        }
        // A camera that was left in single-frame mode would stop after its first frame.
        if (m_features.SetEnumByString("AcquisitionMode", "Continuous") == KZ_CC_E_DEVICE_LOST) {
            return KZ_CC_E_DEVICE_LOST;
        }
        GObjectPtr<ArvStream> stream;
        std::size_t frameSize = 0;
        if (const Code code = CreateStream(stream, frameSize); code != KZ_CC_OK) {
            return code;
        }
        m_frames = std::make_unique<FrameStream>(std::move(stream), frameSize, m_sink.frame);
        LockTransport(true);
        const Code code = m_features.Execute("AcquisitionStart");
        if (code != KZ_CC_OK) {
            LockTransport(false);
            m_frames.reset();
        }
        return code;
    });
}

Code RealCamera::Stop() {
    if (!m_frames) {
        return KZ_CC_OK;
    }
    m_frames->Stop();
    m_total += m_frames->Counters();
    const Code code = m_watch.Ask([this]() -> Code {
        const Code stopped = m_features.Execute("AcquisitionStop");
        if (stopped != KZ_CC_E_DEVICE_LOST) {
            LockTransport(false);
        }
        return stopped;
    });
    if (code == KZ_CC_E_DEVICE_LOST) {
        Remains remains;
        remains.stream = m_frames->TakeStream();
        GiveBack(std::move(remains));
    }
    m_frames.reset();
    return code;
}

Code RealCamera::NodeType(const char* name, KZNodeType& type) {
    return m_watch.Ask([&] { return m_features.NodeType(name, type); });
}

Code RealCamera::GetInt(const char* name, KZIntValue& value) {
    return m_watch.Ask([&] { return m_features.GetInt(name, value); });
}

Code RealCamera::SetInt(const char* name, std::uint32_t value) {
    return m_watch.Ask([&] { return m_features.SetInt(name, value); });
}

Code RealCamera::GetFloat(const char* name, KZFloatValue& value) {
    return m_watch.Ask([&] { return m_features.GetFloat(name, value); });
}

Code RealCamera::SetFloat(const char* name, float value) {
    return m_watch.Ask([&] { return m_features.SetFloat(name, value); });
}

Code RealCamera::GetEnum(const char* name, KZEnumValue& value) {
    return m_watch.Ask([&] { return m_features.GetEnum(name, value); });
}

Code RealCamera::SetEnum(const char* name, std::uint32_t value) {
    return m_watch.Ask([&] { return m_features.SetEnum(name, value); });
}

Code RealCamera::SetEnumByString(const char* name, const char* entry) {
    return m_watch.Ask([&] { return m_features.SetEnumByString(name, entry); });
}

Code RealCamera::GetBool(const char* name, bool& value) {
    return m_watch.Ask([&] { return m_features.GetBool(name, value); });
}

Code RealCamera::SetBool(const char* name, bool value) {
    return m_watch.Ask([&] { return m_features.SetBool(name, value); });
}

Code RealCamera::GetString(const char* name, KZStringValue& value) {
    return m_watch.Ask([&] { return m_features.GetString(name, value); });
}

Code RealCamera::SetString(const char* name, const char* value) {
    return m_watch.Ask([&] { return m_features.SetString(name, value); });
}

Code RealCamera::Execute(const char* name) {
    return m_watch.Ask([&] { return m_features.Execute(name); });
}

std::int32_t RealCamera::OptimalPacketSize() {
    if (!IsGigE()) {
        return 0;
    }
    std::int32_t size = 0;
    (void)m_watch.Ask([&]() -> Code {
        ArvGvDevice* const device = ARV_GV_DEVICE(m_device.get());
        GErrorHolder error;
        // Probing sizes needs exclusive use of the stream channel.
        const guint found = m_frames ? arv_gv_device_get_packet_size(device, error.Out())
                                     : arv_gv_device_auto_packet_size(device, error.Out());
        if (!error) {
            size = static_cast<std::int32_t>(found);
        }
        return CodeOf(error);
    });
    return size;
}

Code RealCamera::SetTransmissionType(const KZTransmissionType& type) {
    if (m_watch.Lost()) {
        return KZ_CC_E_DEVICE_LOST;
    }
    return IsGigE() && type.type == KZ_TRANSMISSION_UNICAST ? KZ_CC_OK : KZ_CC_E_NOT_SUPPORTED;
}

Code RealCamera::MatchInfo(KZMatchInfo& info) {
    if (m_watch.Lost()) {
        return KZ_CC_E_DEVICE_LOST;
    }
    StreamCounters counters = m_total;
    if (m_frames) {
        counters += m_frames->Counters();
    }
    if (IsGigE() && info.type == KZ_MATCH_INFO_GIGE) {
        KZGigEMatchInfo record{};
        record.receivedBytes = static_cast<std::int64_t>(counters.receivedBytes);
        record.lostPackets = static_cast<std::int64_t>(counters.lostPackets);
        record.lostFrames = Clamp32(counters.lostFrames);
        record.receivedFrames = Clamp32(counters.receivedFrames);
        record.requestedResends = static_cast<std::int64_t>(counters.requestedResends);
        record.resentPackets = static_cast<std::int64_t>(counters.resentPackets);
        return CopyRecord(record, info);
    }
    if (!IsGigE() && info.type == KZ_MATCH_INFO_USB3) {
        KZUsb3MatchInfo record{};
        record.receivedBytes = static_cast<std::int64_t>(counters.receivedBytes);
        record.receivedFrames = Clamp32(counters.receivedFrames);
        record.errorFrames = Clamp32(counters.lostFrames);
        return CopyRecord(record, info);
    }
    return KZ_CC_E_NOT_SUPPORTED;
}

Code RealCamera::EnableEvent(const char*) {
    return m_watch.Lost() ? KZ_CC_E_DEVICE_LOST : KZ_CC_E_NODE_MISSING;
}

Code RealCamera::Describe(const char* name, const FeatureVisitor& visit) {
    return m_watch.Ask([&] { return DescribeFeatures(m_device.get(), name, visit); });
}

}  // namespace kz
