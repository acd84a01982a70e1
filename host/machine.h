// What this machine gives a program that receives images.
#pragma once

#include <cstdint>
#include <optional>

namespace host {

// Nothing where the system has no such limit.
struct MachineLimits {
    std::optional<std::uint64_t> receiveBuffer;  // largest of a socket, bytes
    std::optional<bool> packetSocket;            // may be opened by this user
    std::optional<bool> threadPriority;          // may be raised by this user
    std::optional<std::uint64_t> sharedMemory;   // free, bytes
};

[[nodiscard]] MachineLimits AskMachine();

// The calling thread has the processor when those that receive images do not want it.
void LowerThreadPriority();

}  // namespace host
