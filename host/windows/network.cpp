#include "host/network.h"

#include <winsock2.h>
#include <ws2tcpip.h>
// After winsock2.h.
#include <iphlpapi.h>

#include <vector>

namespace host {
namespace {

// Sockets of the process, for the life of the object.
class Winsock {
  public:
    Winsock() {
        WSADATA data{};
        m_started = WSAStartup(MAKEWORD(2, 2), &data) == 0;
    }
    ~Winsock() {
        if (m_started) {
            WSACleanup();
        }
    }
    Winsock(const Winsock&) = delete;
    Winsock& operator=(const Winsock&) = delete;

  private:
    bool m_started = false;
};

class UdpSocket {
  public:
    UdpSocket() : m_socket(::socket(AF_INET, SOCK_DGRAM, 0)) {}
    ~UdpSocket() {
        if (m_socket != INVALID_SOCKET) {
            ::closesocket(m_socket);
        }
    }
    UdpSocket(const UdpSocket&) = delete;
    UdpSocket& operator=(const UdpSocket&) = delete;

    [[nodiscard]] SOCKET Get() const { return m_socket; }

  private:
    const Winsock m_winsock;
    SOCKET m_socket;
};

sockaddr_in SocketAddress(std::uint32_t address, std::uint16_t port) {
    sockaddr_in text{};
    text.sin_family = AF_INET;
    text.sin_addr.s_addr = htonl(address);
    text.sin_port = htons(port);
    return text;
}

}  // namespace

std::vector<NetworkCard> NetworkCards() {
    std::vector<NetworkCard> cards;
    ULONG size = 64U << 10;
    std::vector<unsigned char> memory(size);
    auto* const first = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(memory.data());
    constexpr ULONG kFlags =
        GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;
    if (GetAdaptersAddresses(AF_INET, kFlags, nullptr, first, &size) != NO_ERROR) {
        return cards;
    }
    for (const IP_ADAPTER_ADDRESSES* card = first; card != nullptr; card = card->Next) {
        for (const auto* each = card->FirstUnicastAddress; each != nullptr; each = each->Next) {
            const auto* const address =
                reinterpret_cast<const sockaddr_in*>(each->Address.lpSockaddr);
            const unsigned bits = each->OnLinkPrefixLength;
            cards.push_back({card->AdapterName, ntohl(address->sin_addr.s_addr),
                             bits == 0 ? 0 : ~std::uint32_t{0} << (32 - bits),
                             static_cast<std::uint32_t>(card->Mtu)});
        }
    }
    return cards;
}

std::optional<std::uint32_t> LocalAddressTowards(std::uint32_t remote) {
    const UdpSocket socket;
    constexpr std::uint16_t kAnyPort = 9;  // connecting sends nothing
    const sockaddr_in address = SocketAddress(remote, kAnyPort);
    sockaddr_in local{};
    int size = sizeof local;
    if (::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::getsockname(socket.Get(), reinterpret_cast<sockaddr*>(&local), &size) != 0) {
        return std::nullopt;
    }
    return ntohl(local.sin_addr.s_addr);
}

// Not by binding a socket to it, which Wine lets pass for any address.
bool IsLocalAddress(std::uint32_t address) {
    return CardOf(address).has_value();
}

}  // namespace host
