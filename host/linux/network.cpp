#include "host/network.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace host {
namespace {

class UdpSocket {
  public:
    UdpSocket() : m_descriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}
    ~UdpSocket() {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
    }
    UdpSocket(const UdpSocket&) = delete;
    UdpSocket& operator=(const UdpSocket&) = delete;

    [[nodiscard]] int Descriptor() const { return m_descriptor; }

  private:
    int m_descriptor;
};

sockaddr_in SocketAddress(std::uint32_t address, std::uint16_t port) {
    sockaddr_in text{};
    text.sin_family = AF_INET;
    text.sin_addr.s_addr = htonl(address);
    text.sin_port = htons(port);
    return text;
}

std::uint32_t AddressOf(const sockaddr* address) {
    return ntohl(reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr);
}

std::uint32_t MtuOf(const char* card) {
    const UdpSocket socket;
    ifreq request{};
    std::string_view(card).copy(request.ifr_name, sizeof request.ifr_name - 1);
    return ::ioctl(socket.Descriptor(), SIOCGIFMTU, &request) == 0
               ? static_cast<std::uint32_t>(request.ifr_mtu)
               : 0;
}

}  // namespace

std::vector<NetworkCard> NetworkCards() {
    std::vector<NetworkCard> cards;
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) {
        return cards;
    }
    for (const ifaddrs* each = list; each != nullptr; each = each->ifa_next) {
        if (each->ifa_addr != nullptr && each->ifa_addr->sa_family == AF_INET &&
            each->ifa_netmask != nullptr) {
            cards.push_back({each->ifa_name, AddressOf(each->ifa_addr),
                             AddressOf(each->ifa_netmask), MtuOf(each->ifa_name)});
        }
    }
    ::freeifaddrs(list);
    return cards;
}

std::optional<std::uint32_t> LocalAddressTowards(std::uint32_t remote) {
    const UdpSocket socket;
    constexpr std::uint16_t kAnyPort = 9;  // connecting sends nothing
    const sockaddr_in address = SocketAddress(remote, kAnyPort);
    sockaddr_in local{};
    socklen_t size = sizeof local;
    if (::connect(socket.Descriptor(), reinterpret_cast<const sockaddr*>(&address),
                  sizeof address) != 0 ||
        ::getsockname(socket.Descriptor(), reinterpret_cast<sockaddr*>(&local), &size) != 0) {
        return std::nullopt;
    }
    return ntohl(local.sin_addr.s_addr);
}

bool IsLocalAddress(std::uint32_t address) {
    const UdpSocket socket;
    const sockaddr_in wanted = SocketAddress(address, 0);
    return address != 0 && ::bind(socket.Descriptor(), reinterpret_cast<const sockaddr*>(&wanted),
                                  sizeof wanted) == 0;
}

}  // namespace host
