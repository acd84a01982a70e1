// The set of simulated cameras.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

#include "standins/kz_camera_control/simulated/camera.h"

namespace kz {

// Any thread may call.
class SimulatedSource final : public DeviceSource {
  public:
    // Replaces the cameras; the previous ones are unplugged. 0, or the wrong line.
    std::uint32_t Configure(std::string_view description);

    Code Enumerate(std::uint32_t transportMask, std::vector<CameraDeviceInfo>& found) override;
    bool Knows(const CameraDeviceInfo& record) override;
    Code Open(const CameraDeviceInfo& record, std::uint32_t accessMode, DeviceSink sink,
              std::unique_ptr<Device>& device) override;

    CameraState StateOf(const CameraDeviceInfo& record) override;
    Code DescribeBeside(const char* camera, const char* name, const FeatureVisitor& visit) override;

    Code EnumerateInterfaces(std::vector<GenTLInterfaceInfo>& found);
    Code EnumerateInterface(const GenTLInterfaceInfo& record, std::vector<GenTLDeviceInfo>& found);

    // Null: no such camera. Finds unplugged ones too.
    [[nodiscard]] std::shared_ptr<SimulatedCamera> Find(const CameraDeviceInfo& record) const;
    [[nodiscard]] std::shared_ptr<SimulatedCamera> Find(const GenTLDeviceInfo& record) const;
    [[nodiscard]] std::shared_ptr<SimulatedCamera> Find(std::string_view serial) const;

    // Faults of calls that concern no camera.
    [[nodiscard]] bool SetLibraryFaults(std::string_view text);
    [[nodiscard]] FaultSet LibraryFaults() const;

  private:
    // A camera as seen through one path: two descriptions with one serial number are one camera,
    // seen through two network cards.
    struct Appearance {
        CameraDescription description;
        std::shared_ptr<SimulatedCamera> camera;
    };

    template <typename Matches>
    [[nodiscard]] std::shared_ptr<SimulatedCamera> FindIf(Matches&& matches) const;

    mutable std::mutex m_mutex;  // guards the members below; taken before the locks of the cameras
    std::vector<Appearance> m_appearances;
    FaultSet m_libraryFaults;
};

}  // namespace kz
