// The state of the library for the life of the process.
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
// not overlap: an overlapping one is counted and refused, because real searches must not overlap.
class Discovery {
  public:
    using Hook = void (*)(void* user);

    Discovery();

    Code Devices(std::uint32_t transportMask, KZDeviceList& list);
    Code Interfaces(GenTLInterfaceList& list);
    Code InterfaceDevices(const GenTLInterfaceInfo& record, GenTLDeviceList& list);

    // A handle for the camera of the record; opening it shows whether the camera exists.
    [[nodiscard]] std::shared_ptr<CameraHandle> MakeHandle(const CameraDeviceInfo& record);
    [[nodiscard]] std::shared_ptr<CameraHandle> MakeHandle(const GenTLDeviceInfo& record);

    // Searches as Devices and InterfaceDevices do, without changing the records that callers hold.
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
    // Replaces `records`, those of the last search, by what `search(found)` finds, and lists them.
    template <typename Record, typename Search>
    Code Run(const char* function, bool hooked, std::vector<Record>& records, std::uint32_t& count,
             Record* (&listed)[KZ_MAX_DEVICES], Search&& search);

    SimulatedSource m_simulated;
    const std::unique_ptr<DeviceSource> m_real = MakeRealCameraSource();
    std::atomic<bool> m_useReal;

    std::atomic<bool> m_searching{false};
    std::atomic<std::uint32_t> m_overlaps{0};
    // From the last search. Callers keep pointers to the records until the next search of that
    // kind.
    std::vector<CameraDeviceInfo> m_devices;
    std::vector<GenTLInterfaceInfo> m_interfaces;
    std::vector<GenTLDeviceInfo> m_interfaceDevices;

    std::mutex m_hookMutex;  // guards the members below
    Hook m_hook = nullptr;
    void* m_hookUser = nullptr;
};

struct Library {
    // The features of a camera by serial number or IP address: through the handle that has it open,
    // else alongside its owner.
    Code Describe(const char* camera, const char* name, const FeatureVisitor& visit);

    Discovery discovery;
    HandleTable handles;
};

// Created at first use and never destroyed: threads of cameras left open run until the process
// ends.
[[nodiscard]] Library& TheLibrary();

}  // namespace kz
