#include "standins/kz_camera_control/aravis/stream_socket.h"

#include <linux/if_packet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <system_error>
#include <thread>

namespace kz {
namespace {

// The kernel delivers a block of the ring 5 to 20 ms after its first packet: by then Aravis has
// seen what the ring received before the filter was set.
constexpr std::chrono::milliseconds kRingDelay{25};
constexpr std::chrono::milliseconds kLookEvery{5};
// Each costs less than a tenth of a second. Next to a camera that never pauses about half of them
// fail.
constexpr int kPacketSocketAttempts = 8;

// For a plain socket: one frame being received and one waiting.
constexpr std::size_t kBufferedFrames = 2;

// A process keeps this capability.
bool MayUsePacketSocket() {
    static std::atomic<bool> may{false};
    static std::atomic<bool> told{false};
    if (may) {
        return true;
    }
    const int probe = ::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0);
    if (probe >= 0) {
        ::close(probe);
        may = true;
    } else if (!told.exchange(true)) {
        std::fprintf(stderr,
                     "KZCameraControl: no packet socket (%s), so receiving costs more and may lose "
                     "frames; give the program the capability CAP_NET_RAW\n",
                     std::strerror(errno));
    }
    return may;
}

// Until its filter is set, the packet socket receives everything that reaches the machine. Aravis
// takes the first packet for one of this camera: it would count from another camera's number and
// drop up to a hundred of this camera's frames as late.
bool HearsNobody(ArvStream* stream) {
    const auto end = std::chrono::steady_clock::now() + kRingDelay;
    bool silent = true;
    do {
        std::this_thread::sleep_for(kLookEvery);
        silent = arv_stream_get_info_uint64_by_name(stream, "n_received_packets") == 0;
    } while (silent && std::chrono::steady_clock::now() < end);
    return silent;
}

GObjectPtr<ArvStream> Create(ArvGvDevice* device, ArvStreamCallback callback,
                             ArvGvStreamOption options, GErrorHolder& error) {
    arv_gv_device_set_stream_options(device, options);
    return GObjectPtr<ArvStream>(
        arv_device_create_stream(ARV_DEVICE(device), callback, nullptr, error.Out()));
}

// The stream's UDP socket, which Aravis does not expose: the socket of this process bound to the
// stream's port and the device's network card. -1: none.
int SocketOf(ArvGvStream* stream, ArvGvDevice* device) {
    GSocketAddress* const card = arv_gv_device_get_interface_address(device);
    sockaddr_in wanted{};
    if (g_socket_address_to_native(card, &wanted, sizeof wanted, nullptr) == FALSE) {
        return -1;
    }
    wanted.sin_port = htons(arv_gv_stream_get_port(stream));
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", ignored)) {
        const std::string name = entry.path().filename();
        int candidate = -1;
        std::from_chars(name.data(), name.data() + name.size(), candidate);
        int type = 0;
        socklen_t size = sizeof type;
        if (::getsockopt(candidate, SOL_SOCKET, SO_TYPE, &type, &size) != 0 || type != SOCK_DGRAM) {
            continue;
        }
        sockaddr_in address{};
        size = sizeof address;
        if (::getsockname(candidate, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
            address.sin_family == AF_INET && address.sin_port == wanted.sin_port &&
            address.sin_addr.s_addr == wanted.sin_addr.s_addr) {
            return candidate;
        }
    }
    return -1;
}

// Enlarges the socket buffer before the first packet: Aravis would do so once the first frame has
// begun, too late for that frame, would shrink it for small frames and not notice when the system
// grants less.
void MakeRoom(ArvGvStream* stream, ArvGvDevice* device, std::size_t frameSize) {
    const int socket = SocketOf(stream, device);
    int room = 0;  // twice the request, as the kernel counts its own overhead too
    socklen_t size = sizeof room;
    if (::getsockopt(socket, SOL_SOCKET, SO_RCVBUF, &room, &size) != 0) {
        return;
    }
    constexpr std::size_t kMost = std::numeric_limits<int>::max() / 2;
    const int wanted =
        static_cast<int>(std::min(frameSize, kMost / kBufferedFrames) * kBufferedFrames);
    if (room / 2 >= wanted) {
        return;
    }
    // The first call exceeds the system's limit, if the process may.
    if (::setsockopt(socket, SOL_SOCKET, SO_RCVBUFFORCE, &wanted, sizeof wanted) != 0) {
        (void)::setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &wanted, sizeof wanted);
    }
    static std::atomic<bool> told{false};
    if (::getsockopt(socket, SOL_SOCKET, SO_RCVBUF, &room, &size) == 0 && room / 2 < wanted &&
        !told.exchange(true)) {
        std::fprintf(stderr,
                     "KZCameraControl: the system cut the receive buffer down to %d bytes of %d, "
                     "so frames may be lost; set net.core.rmem_max to %d\n",
                     room / 2, wanted, wanted);
    }
}

}  // namespace

GObjectPtr<ArvStream> CreateGigEStream(ArvGvDevice* device, ArvStreamCallback callback,
                                       std::size_t frameSize, GErrorHolder& error) {
    if (MayUsePacketSocket()) {
        for (int attempt = 0; attempt < kPacketSocketAttempts; ++attempt) {
            auto stream = Create(device, callback, ARV_GV_STREAM_OPTION_NONE, error);
            if (!stream || HearsNobody(stream.get())) {
                return stream;
            }
        }
        static std::atomic<bool> told{false};
        if (!told.exchange(true)) {
            std::fprintf(stderr,
                         "KZCameraControl: too much traffic to start a packet socket in, so "
                         "receiving costs more and may lose frames; start cameras before the "
                         "others stream\n");
        }
    }
    auto stream = Create(device, callback, ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED, error);
    if (stream) {
        MakeRoom(ARV_GV_STREAM(stream.get()), device, frameSize);
    }
    return stream;
}

}  // namespace kz
