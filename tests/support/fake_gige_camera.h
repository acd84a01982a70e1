// A GigE Vision camera in a process of its own, which can be killed and started again like a camera
// whose cable is pulled and plugged.
#pragma once

#include <sys/types.h>

#include <string>

// Test programs may run side by side, so each process has addresses and serial numbers of its own.
// `camera`: 1 to 254.
[[nodiscard]] std::string CameraAddress(int camera);
[[nodiscard]] std::string CameraSerial(int camera);

// Frames of 512 x 512 Mono8, 25 a second, a new picture each. The process never outlives the thread
// that started it.
class FakeGigECamera {
  public:
    // `address`: any one of 127.0.0.0/8, one camera each. Of a thousand image packets
    // `lostPackets` never leave the camera. `sensorSize`: largest width and height. Starts it;
    // throws std::runtime_error when that fails, most likely because the address is taken.
    FakeGigECamera(std::string address, std::string serial, int lostPackets = 0,
                   int sensorSize = 2048);
    ~FakeGigECamera();
    FakeGigECamera(const FakeGigECamera&) = delete;
    FakeGigECamera& operator=(const FakeGigECamera&) = delete;

    // Gone without a goodbye.
    void Kill();
    // Returns when it can be asked. It has forgotten every setting.
    void Start();

    [[nodiscard]] const std::string& Address() const { return m_address; }
    [[nodiscard]] const std::string& Serial() const { return m_serial; }

  private:
    const std::string m_address;
    const std::string m_serial;
    const int m_lostPackets;
    const int m_sensorSize;
    pid_t m_process = 0;
};
