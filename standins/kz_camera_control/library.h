// What the library holds for the life of the process.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "standins/kz_camera_control/handle_table.h"
#include "standins/kz_camera_control/simulated/source.h"

namespace kz {

// The cameras of both kinds, and the search for them. Any thread may call, but the searches must
// not overlap: one that would is counted and refused, because a real search cannot bear company.
class Discovery {
  public:
    using Hook = void (*)(void* user);

    Discovery();

    Code Devices(std::uint32_t transportMask, KZDeviceList& list);
    Code Interfaces(GenTLInterfaceList& list);
    Code InterfaceDevices(const GenTLInterfaceInfo& record, GenTLDeviceList& list);

    // A handle for the camera of the record. Whether it is there, opening it will show.
    [[nodiscard]] std::shared_ptr<CameraHandle> MakeHandle(const CameraDeviceInfo& record);
    [[nodiscard]] std::shared_ptr<CameraHandle> MakeHandle(const GenTLDeviceInfo& record);

    // Looks as Devices and InterfaceDevices do, and leaves the records that callers hold alone.
    using PlainVisitor = std::function<void(const CameraDeviceInfo& record,
                                            const CameraState& state, bool simulated)>;
    using GenTLVisitor =
        std::function<void(const GenTLDeviceInfo& record, const CameraState& state)>;
    Code Look(const PlainVisitor& plain, const GenTLVisitor& genTL);
    // As DeviceSource::DescribeBeside, of whichever kind.
    Code DescribeBeside(const char* camera, const char* name, const FeatureVisitor& visit);

    [[nodiscard]] SimulatedSource& Simulated() { return m_simulated; }
    void UseRealCameras(bool use) { m_useReal = use; }
    void SetHook(Hook hook, void* user);
    [[nodiscard]] std::uint32_t Overlaps() const { return m_overlaps; }

  private:
    // What `search(found)` finds replaces `records`, those of the last search, and is listed.
    template <typename Record, typename Search>
    Code Run(const char* function, bool hooked, std::vector<Record>& records, std::uint32_t& count,
             Record* (&listed)[KZ_MAX_DEVICES], Search&& search);

    SimulatedSource m_simulated;
    const std::unique_ptr<DeviceSource> m_real = MakeRealCameraSource();
    std::atomic<bool> m_useReal;

    std::atomic<bool> m_searching{false};
    std::atomic<std::uint32_t> m_overlaps{0};
    // Of the search under way. Callers keep pointers to the records until the next one of the kind.
    std::vector<CameraDeviceInfo> m_devices;
    std::vector<GenTLInterfaceInfo> m_interfaces;
    std::vector<GenTLDeviceInfo> m_interfaceDevices;

    std::mutex m_hookMutex;  // guards what follows
    Hook m_hook = nullptr;
    void* m_hookUser = nullptr;
};

struct Library {
    // The features of a camera by serial number or IP address: through the handle that has it open,
    // else beside whoever has it.
    Code Describe(const char* camera, const char* name, const FeatureVisitor& visit);

    Discovery discovery;
    HandleTable handles;
};

// Made at first use and never destroyed: threads of cameras left open run until the process ends.
[[nodiscard]] Library& TheLibrary();

}  // namespace kz
