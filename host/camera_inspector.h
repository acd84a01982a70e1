// What the camera SDK tells of cameras beside the module: a stand-in's extra that a vendor's SDK
// lacks.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/command_line.h"
#include "host/value_info.h"
#include "standins/kz_camera_control/camera_inspection.h"

namespace host {

struct CameraRecord {
    std::string serial;
    std::string name;
    std::string model;
    std::string maker;
    std::string transport;
    std::string address;  // GigE Vision only, like the next three
    std::string subnetMask;
    std::string localAddress;
    std::string owner;
    KZInspectAccess access = KZ_INSPECT_UNKNOWN;
    bool simulated = false;

    // By which the inspector finds it: serial number, else address.
    [[nodiscard]] const std::string& Id() const { return serial.empty() ? address : serial; }
};

// "free", "in use", "in use by 10.0.0.5", "does not answer", "unknown".
[[nodiscard]] std::string AccessText(const CameraRecord& camera);

// Takes control of no camera. Failures are thrown as host::Failure.
class CameraInspector {
  public:
    // Nothing where the camera SDK has no such functions. The module's file is loaded.
    [[nodiscard]] static std::optional<CameraInspector> Find();
    // The same; throws host::Failure instead.
    [[nodiscard]] static CameraInspector Need(const std::string& what);

    // Those of GenTL, or all others.
    [[nodiscard]] std::vector<CameraRecord> Cameras(bool genTL) const;

    // `camera`: serial number or address.
    [[nodiscard]] std::vector<ValueInfo> Features(const std::string& camera) const;
    // Nothing where the camera has no such feature.
    [[nodiscard]] std::optional<ValueInfo> Feature(const std::string& camera,
                                                   const std::string& name) const;

  private:
    CameraInspector() = default;
    [[nodiscard]] std::uint32_t Read(const std::string& camera, const char* name,
                                     std::vector<ValueInfo>& features) const;

    decltype(&KZInspect_Cameras) m_cameras = nullptr;
    decltype(&KZInspect_Features) m_features = nullptr;
};

// The camera that the options name, as the inspector takes it; the first one where they name none.
// Throws host::Failure where there is none.
[[nodiscard]] std::string ChosenCamera(const CameraInspector& inspector, const Options& options);

}  // namespace host
