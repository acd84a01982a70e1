#include "host/machine.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <fstream>
#include <thread>

namespace host {
namespace {

bool MayOpenPacketSocket() {
    const int descriptor = ::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons(ETH_P_IP));
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    return descriptor >= 0;
}

// Tried on a thread that ends with it.
bool MayRaisePriority() {
    constexpr int kNice = -10;
    bool raised = false;
    std::thread([&] {
        raised = ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), kNice) == 0;
    }).join();
    return raised;
}

}  // namespace

MachineLimits AskMachine() {
    MachineLimits limits;
    std::uint64_t bytes = 0;
    if (std::ifstream("/proc/sys/net/core/rmem_max") >> bytes) {
        limits.receiveBuffer = bytes;
    }
    limits.packetSocket = MayOpenPacketSocket();
    limits.threadPriority = MayRaisePriority();
    struct statvfs room {};
    if (::statvfs("/dev/shm", &room) == 0) {
        limits.sharedMemory = std::uint64_t{room.f_bavail} * room.f_frsize;
    }
    return limits;
}

void LowerThreadPriority() {
    constexpr int kNice = 10;
    (void)::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), kNice);
}

}  // namespace host
