#include "tests/support/fake_gige_camera.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace {

class FileActions {
  public:
    FileActions() { posix_spawn_file_actions_init(&m_actions); }
    ~FileActions() { posix_spawn_file_actions_destroy(&m_actions); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    [[nodiscard]] posix_spawn_file_actions_t* Get() { return &m_actions; }

  private:
    posix_spawn_file_actions_t m_actions{};
};

std::filesystem::path Program() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "fake_gige_camera";
}

}  // namespace

std::string CameraAddress(int camera) {
    const int process = ::getpid();
    return "127." + std::to_string(20 + process / 250 % 200) + '.' + std::to_string(process % 250) +
           '.' + std::to_string(camera);
}

std::string CameraSerial(int camera) {
    return 'R' + std::to_string(::getpid()) + '-' + std::to_string(camera);
}

FakeGigECamera::FakeGigECamera(std::string address, std::string serial, int lostPackets,
                               int sensorSize)
    : m_address(std::move(address)),
      m_serial(std::move(serial)),
      m_lostPackets(lostPackets),
      m_sensorSize(sensorSize) {
    Start();
}

FakeGigECamera::~FakeGigECamera() {
    Kill();
}

void FakeGigECamera::Kill() {
    if (m_process != 0) {
        ::kill(m_process, SIGKILL);
        ::waitpid(std::exchange(m_process, 0), nullptr, 0);
    }
}

void FakeGigECamera::Start() {
    std::string program = Program();
    std::string address = m_address;
    std::string serial = m_serial;
    std::string lostPackets = std::to_string(m_lostPackets);
    std::string sensorSize = std::to_string(m_sensorSize);
    std::string parent = std::to_string(::getpid());
    const std::array<char*, 7> arguments = {
        program.data(),    address.data(), serial.data(), lostPackets.data(),
        sensorSize.data(), parent.data(),  nullptr};
    std::array<int, 2> pipe{};
    if (m_process != 0 || ::pipe2(pipe.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("camera runs already, or no pipe to be had");
    }
    FileActions actions;
    posix_spawn_file_actions_adddup2(actions.Get(), pipe[1], STDOUT_FILENO);
    const int error = ::posix_spawn(&m_process, program.c_str(), actions.Get(), nullptr,
                                    arguments.data(), environ);
    ::close(pipe[1]);
    // The camera writes one byte when it listens, and none when it ends instead.
    char ready = 0;
    const bool listens = error == 0 && ::read(pipe[0], &ready, 1) == 1;
    ::close(pipe[0]);
    if (error != 0) {
        m_process = 0;
    }
    if (!listens) {
        Kill();
        throw std::runtime_error("no camera at " + m_address);
    }
}
