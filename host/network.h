// Addresses and network cards of this machine.
//
// IP addresses are packed a<<24 | b<<16 | c<<8 | d for a.b.c.d.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

struct NetworkCard {
    std::string name;
    std::uint32_t address = 0;
    std::uint32_t netmask = 0;
    std::uint32_t mtu = 0;  // bytes; 0: not known
};

// One for each IPv4 address.
[[nodiscard]] std::vector<NetworkCard> NetworkCards();

// The address of this machine from which the system would reach `remote`; nothing without a route.
[[nodiscard]] std::optional<std::uint32_t> LocalAddressTowards(std::uint32_t remote);

// True when a socket of this machine can have the address.
[[nodiscard]] bool IsLocalAddress(std::uint32_t address);

// The card that has the address; on Linux the loopback card has all of its network.
[[nodiscard]] std::optional<NetworkCard> CardOf(std::uint32_t address);

[[nodiscard]] std::optional<std::uint32_t> ParseAddress(std::string_view text);
[[nodiscard]] std::string AddressText(std::uint32_t address);

}  // namespace host
