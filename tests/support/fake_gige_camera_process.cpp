// fake_gige_camera ADDRESS SERIAL LOST_PACKETS_PER_THOUSAND SENSOR_SIZE PARENT_PID: Aravis's GigE
// Vision camera on an address of the loopback network, until it or its parent is killed.

#include <arpa/inet.h>
#include <arv.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdlib>

namespace {

// Aravis's camera takes an address only when a network card has it. The whole of 127.0.0.0/8 can be
// bound on Linux, yet the loopback card names 127.0.0.1 alone, which would do for one camera on the
// machine. In this process the card therefore has the camera's address.
struct LoopbackCard {
    char name[3] = "lo";
    sockaddr_in address{};
    sockaddr_in netmask{};
    sockaddr_in broadcast{};
    ifaddrs entry{};
};

LoopbackCard g_card;

sockaddr_in SocketAddress(const char* text) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    ::inet_pton(AF_INET, text, &address.sin_addr);
    return address;
}

void SetCardAddress(const char* text) {
    g_card.address = SocketAddress(text);
    g_card.netmask = SocketAddress("255.0.0.0");
    g_card.broadcast = SocketAddress("127.255.255.255");
    g_card.entry.ifa_name = g_card.name;
    g_card.entry.ifa_flags = IFF_UP | IFF_RUNNING | IFF_LOOPBACK;
    g_card.entry.ifa_addr = reinterpret_cast<sockaddr*>(&g_card.address);
    g_card.entry.ifa_netmask = reinterpret_cast<sockaddr*>(&g_card.netmask);
    g_card.entry.ifa_broadaddr = reinterpret_cast<sockaddr*>(&g_card.broadcast);
}

}  // namespace

// These take the place of the C library's for everything in the process.
extern "C" int getifaddrs(ifaddrs** list) noexcept {
    *list = &g_card.entry;
    return 0;
}

extern "C" void freeifaddrs(ifaddrs*) noexcept {}

int main(int count, char** arguments) {
    if (count != 6) {
        return EXIT_FAILURE;
    }
    // Nothing is left behind by a test that crashes, at whatever moment.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != std::atoi(arguments[5])) {
        return EXIT_FAILURE;
    }
    SetCardAddress(arguments[1]);
    ArvGvFakeCamera* const camera = arv_gv_fake_camera_new(arguments[1], arguments[2]);
    if (camera == nullptr || !arv_gv_fake_camera_is_running(camera)) {
        return EXIT_FAILURE;
    }
    ArvFakeCamera* const sensor = arv_gv_fake_camera_get_fake_camera(camera);
    const auto sensorSize = static_cast<guint32>(std::atoi(arguments[4]));
    arv_fake_camera_write_register(sensor, ARV_FAKE_CAMERA_REGISTER_SENSOR_WIDTH, sensorSize);
    arv_fake_camera_write_register(sensor, ARV_FAKE_CAMERA_REGISTER_SENSOR_HEIGHT, sensorSize);
    constexpr double kThousand = 1000.0;
    g_object_set(camera, "gvsp-lost-ratio", std::atof(arguments[3]) / kThousand, nullptr);
    if (::write(STDOUT_FILENO, "\n", 1) != 1) {
        return EXIT_FAILURE;
    }
    for (;;) {
        ::pause();
    }
}
