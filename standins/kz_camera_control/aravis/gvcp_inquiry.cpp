#include "standins/kz_camera_control/aravis/gvcp_inquiry.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>

namespace kz {
namespace {

constexpr std::uint16_t kGvcpPort = 3956;
constexpr int kAttempts = 3;
constexpr std::chrono::milliseconds kAnswerTime{200};

// GVCP: key, flags (acknowledge wanted), command DISCOVERY_CMD, no payload, request id.
constexpr std::uint16_t kRequestId = 0x4b5a;
constexpr std::array<std::uint8_t, 8> kDiscoveryCommand = {
    0x42, 0x01, 0x00, 0x02, 0x00, 0x00, kRequestId >> 8, kRequestId & 0xff};
constexpr std::uint16_t kDiscoveryAcknowledge = 0x0003;
constexpr std::uint16_t kReadRegisterAcknowledge = 0x0081;
constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kAcknowledgeSize = 248;

// Offsets of the fields in the payload of DISCOVERY_ACK.
enum AcknowledgeOffset : std::size_t {
    kVersionMajor = 0,
    kVersionMinor = 2,
    kMacHigh = 10,
    kMacLow = 12,
    kIpConfigOptions = 16,
    kIpConfigCurrent = 20,
    kCurrentIp = 36,
    kSubnetMask = 52,
    kGateway = 68,
    kManufacturerName = 72,
    kModelName = 104,
    kDeviceVersion = 136,
    kManufacturerInfo = 168,
    kSerialNumber = 216,
    kUserDefinedName = 232,
};

// Bootstrap registers.
constexpr std::uint32_t kControlChannelPrivilege = 0x0A00;  // 0: the camera is not controlled
constexpr std::uint32_t kPrimaryApplicationIp = 0x0A14;     // optional: 0 if not reported

class Socket {
  public:
    Socket() : m_descriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}
    ~Socket() {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    [[nodiscard]] bool Bind(std::uint32_t ip) const {
        const sockaddr_in address = Address(ip, 0);
        return ::bind(m_descriptor, Generic(&address), sizeof(address)) == 0;
    }
    [[nodiscard]] bool Connect(std::uint32_t ip, std::uint16_t port) const {
        const sockaddr_in address = Address(ip, port);
        return ::connect(m_descriptor, Generic(&address), sizeof(address)) == 0;
    }
    [[nodiscard]] int Descriptor() const { return m_descriptor; }

  private:
    static sockaddr_in Address(std::uint32_t ip, std::uint16_t port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(ip);
        address.sin_port = htons(port);
        return address;
    }
    static const sockaddr* Generic(const sockaddr_in* address) {
        return reinterpret_cast<const sockaddr*>(address);
    }

    int m_descriptor;
};

std::uint16_t Read16(const std::uint8_t* bytes) {
    return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

std::uint32_t Read32(const std::uint8_t* bytes) {
    return static_cast<std::uint32_t>(Read16(bytes)) << 16 | Read16(bytes + 2);
}

template <std::size_t Size>
void CopyText(char (&destination)[Size], const std::uint8_t* source) {
    std::memcpy(destination, source, Size);
    destination[Size - 1] = '\0';
}

CameraDeviceInfo RecordOf(const std::uint8_t* acknowledge) {
    CameraDeviceInfo record{};
    record.majorVersion = Read16(acknowledge + kVersionMajor);
    record.minorVersion = Read16(acknowledge + kVersionMinor);
    record.macAddressHigh = Read16(acknowledge + kMacHigh);
    record.macAddressLow = Read32(acknowledge + kMacLow);
    record.transportType = KZ_TRANSPORT_GIGE;
    KZGigEDeviceInfo& gige = record.gige;
    gige.ipConfigOption = Read32(acknowledge + kIpConfigOptions);
    gige.ipConfigCurrent = Read32(acknowledge + kIpConfigCurrent);
    gige.currentIp = Read32(acknowledge + kCurrentIp);
    gige.subnetMask = Read32(acknowledge + kSubnetMask);
    gige.gateway = Read32(acknowledge + kGateway);
    CopyText(gige.manufacturerName, acknowledge + kManufacturerName);
    CopyText(gige.modelName, acknowledge + kModelName);
    CopyText(gige.deviceVersion, acknowledge + kDeviceVersion);
    CopyText(gige.manufacturerInfo, acknowledge + kManufacturerInfo);
    CopyText(gige.serialNumber, acknowledge + kSerialNumber);
    CopyText(gige.userDefinedName, acknowledge + kUserDefinedName);
    return record;
}

// Sends a command until the camera acknowledges it with a payload of that size; empty when it never
// does. The socket is connected, so only that camera can answer.
template <std::size_t PayloadSize, std::size_t CommandSize>
std::optional<std::array<std::uint8_t, PayloadSize>> Exchange(
    const Socket& socket, const std::array<std::uint8_t, CommandSize>& command,
    std::uint16_t acknowledge) {
    using Clock = std::chrono::steady_clock;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        // The next call reports a refused packet (nothing listens at a live address); the camera
        // may be starting, so every attempt is made.
        (void)::send(socket.Descriptor(), command.data(), command.size(), MSG_NOSIGNAL);
        const Clock::time_point deadline = Clock::now() + kAnswerTime;
        for (;;) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            pollfd waiting{socket.Descriptor(), POLLIN, 0};
            if (left.count() <= 0 || ::poll(&waiting, 1, static_cast<int>(left.count())) <= 0) {
                break;
            }
            std::array<std::uint8_t, kHeaderSize + PayloadSize> answer;
            const ssize_t size = ::recv(socket.Descriptor(), answer.data(), answer.size(), 0);
            if (size == static_cast<ssize_t>(answer.size()) && Read16(answer.data()) == 0 &&
                Read16(answer.data() + 2) == acknowledge &&
                Read16(answer.data() + 6) == kRequestId) {
                std::array<std::uint8_t, PayloadSize> payload;
                std::copy(answer.begin() + kHeaderSize, answer.end(), payload.begin());
                return payload;
            }
        }
    }
    return std::nullopt;
}

std::optional<std::uint32_t> ReadRegister(const Socket& socket, std::uint32_t address) {
    const std::array<std::uint8_t, 12> command = {0x42,
                                                  0x01,
                                                  0x00,
                                                  0x80,
                                                  0x00,
                                                  0x04,
                                                  kRequestId >> 8,
                                                  kRequestId & 0xff,
                                                  static_cast<std::uint8_t>(address >> 24),
                                                  static_cast<std::uint8_t>(address >> 16),
                                                  static_cast<std::uint8_t>(address >> 8),
                                                  static_cast<std::uint8_t>(address)};
    const auto answer = Exchange<4>(socket, command, kReadRegisterAcknowledge);
    return answer ? std::optional(Read32(answer->data())) : std::nullopt;
}

}  // namespace

std::optional<CameraDeviceInfo> AskGigECamera(std::uint32_t cameraIp, std::uint32_t localIp) {
    const Socket socket;
    if (cameraIp == 0 || (localIp != 0 && !socket.Bind(localIp)) ||
        !socket.Connect(cameraIp, kGvcpPort)) {
        return std::nullopt;
    }
    const auto answer =
        Exchange<kAcknowledgeSize>(socket, kDiscoveryCommand, kDiscoveryAcknowledge);
    if (!answer) {
        return std::nullopt;
    }
    CameraDeviceInfo record = RecordOf(answer->data());
    // The address that answered can be opened, whatever address the camera reports.
    record.gige.currentIp = cameraIp;
    record.gige.netExportIp = localIp != 0 ? localIp : LocalAddressTowards(cameraIp);
    return record;
}

CameraState AskWhoControls(std::uint32_t cameraIp) {
    const Socket socket;
    CameraState state;
    std::optional<std::uint32_t> privilege;
    if (socket.Connect(cameraIp, kGvcpPort)) {
        privilege = ReadRegister(socket, kControlChannelPrivilege);
    }
    if (!privilege) {
        state.access = CameraState::Access::kUnreachable;
    } else if (*privilege == 0) {
        state.access = CameraState::Access::kFree;
    } else {
        state.access = CameraState::Access::kControlled;
        state.owner = ReadRegister(socket, kPrimaryApplicationIp).value_or(0);
    }
    return state;
}

std::uint32_t LocalAddressTowards(std::uint32_t cameraIp) {
    const Socket socket;
    sockaddr_in local{};
    socklen_t size = sizeof(local);
    if (!socket.Connect(cameraIp, kGvcpPort) ||
        ::getsockname(socket.Descriptor(), reinterpret_cast<sockaddr*>(&local), &size) != 0) {
        return 0;
    }
    return ntohl(local.sin_addr.s_addr);
}

bool IsLocalAddress(std::uint32_t ip) {
    const Socket socket;
    return ip != 0 && socket.Bind(ip);
}

std::uint32_t ParseAddress(const char* text) {
    in_addr address{};
    return text != nullptr && ::inet_pton(AF_INET, text, &address) == 1 ? ntohl(address.s_addr) : 0;
}

std::string FormatAddress(std::uint32_t ip) {
    const in_addr address{htonl(ip)};
    std::array<char, INET_ADDRSTRLEN> text{};
    ::inet_ntop(AF_INET, &address, text.data(), text.size());
    return text.data();
}

}  // namespace kz
