// The built program against a GigE Vision camera in a process of its own.
#include <gmock/gmock.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>

#include "tests/support/fake_gige_camera.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr int kCamera = 77;

// The program's run in the background: output and errors, and how it ended.
class Program {
  public:
    explicit Program(const std::string& arguments)
        : m_pipe(popen((std::string(CAMERA_HOST) + " " + arguments + " 2>&1").c_str(), "r")) {}
    ~Program() {
        if (m_pipe != nullptr) {
            pclose(m_pipe);
        }
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    int Wait(std::string& output) {
        char buffer[256];
        while (std::fgets(buffer, sizeof buffer, m_pipe) != nullptr) {
            output += buffer;
        }
        return WEXITSTATUS(pclose(std::exchange(m_pipe, nullptr)));
    }

  private:
    std::FILE* m_pipe;
};

class RealCamera : public testing::TestWithParam<const char*> {
  protected:
    FakeGigECamera m_camera{CameraAddress(kCamera), CameraSerial(kCamera)};
};

// Killed in the middle and started again, it has forgotten trigger mode and settings.
TEST_P(RealCamera, AGrabGoesOnAfterALoss) {
    Program grab("grab --frames 200 --set Width=256 --ip " + m_camera.Address() + GetParam());
    std::this_thread::sleep_for(4s);
    m_camera.Kill();
    std::this_thread::sleep_for(1s);
    m_camera.Start();
    std::string output;
    EXPECT_EQ(grab.Wait(output), 0) << output;
    EXPECT_THAT(output, HasSubstr("camera lost\n"));
    EXPECT_THAT(output, HasSubstr("camera back\n"));
    EXPECT_THAT(output, HasSubstr("frames taken    200\n"));
    EXPECT_THAT(output, HasSubstr("connection      1 loss, "));
}
INSTANTIATE_TEST_SUITE_P(Modes, RealCamera, testing::Values("", " --run-by-camera"));

TEST(RealCameraOfAnother, IsReadBesideItsOwner) {
    FakeGigECamera camera(CameraAddress(kCamera), CameraSerial(kCamera));
    const Program owner("watch --ip " + camera.Address());  // until nobody reads it
    std::string output;
    // Until the owner has it.
    for (int i = 0; i < 40 && output.find("in use") == std::string::npos; ++i) {
        output.clear();
        Program("doctor --ip " + camera.Address()).Wait(output);
    }
    EXPECT_THAT(output, HasSubstr("problem owner"));
    output.clear();
    EXPECT_EQ(Program("get Width --ip " + camera.Address()).Wait(output), 0);
    EXPECT_THAT(output, HasSubstr("another program has control"));
    EXPECT_THAT(output, HasSubstr("\n512$"));
    output.clear();
    EXPECT_EQ(Program("set Width 256 --ip " + camera.Address()).Wait(output), 1);
    EXPECT_THAT(output, HasSubstr("another program has control"));
}

}  // namespace
