// What the last enumeration found, and the rules that read a device record.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "camera/sdk/kz_camera_control.h"
#include "module/framework/status_codes.h"

namespace cam {

// The records of one enumeration; at most KZ_MAX_DEVICES, more are left out.
template <typename Record>
class DeviceTable {
  public:
    void Clear() { m_count = 0; }

    // False when the table is full.
    bool Add(const Record& record) {
        if (m_count == KZ_MAX_DEVICES) {
            return false;
        }
        m_records[m_count++] = record;
        return true;
    }

    [[nodiscard]] bool Empty() const { return m_count == 0; }
    [[nodiscard]] const Record* begin() const { return m_records; }
    [[nodiscard]] const Record* end() const { return m_records + m_count; }

  private:
    std::uint32_t m_count = 0;
    Record m_records[KZ_MAX_DEVICES] = {};
};

struct DeviceTables {
    DeviceTable<CameraDeviceInfo> plain;  // GigE Vision and USB3 Vision
    DeviceTable<GenTLDeviceInfo> genTL;

    [[nodiscard]] bool ActiveEmpty(bool useGenTL) const {
        return useGenTL ? genTL.Empty() : plain.Empty();
    }

    // Fill one table anew by the SDK's discovery, of which only one may run on the machine. The
    // result is the SDK's; each step is logged with `moduleId`.
    [[nodiscard]] Status EnumeratePlain(std::int32_t moduleId);
    // `path` is where the GenTL producers are, in UTF-8.
    [[nodiscard]] Status EnumerateGenTL(std::int32_t moduleId, const std::string& path);

    // The first record of that serial number.
    [[nodiscard]] std::optional<CameraDeviceInfo> FindPlain(std::string_view serial) const;
    [[nodiscard]] std::optional<GenTLDeviceInfo> FindGenTL(std::string_view serial) const;
};

// Who a device record describes; the texts point into the record.
struct DeviceIdentity {
    std::string_view serial;
    std::string_view manufacturer;
    std::string_view model;
    std::string_view userName;
};

[[nodiscard]] DeviceIdentity IdentityOf(const GenTLDeviceInfo& record);
// Read by the record's transport type; any type but USB3 Vision is read as GigE Vision.
[[nodiscard]] DeviceIdentity IdentityOf(const CameraDeviceInfo& record);

[[nodiscard]] bool KnownTransport(const CameraDeviceInfo& record);

// A saved or chosen serial number may stand in either transport's field.
[[nodiscard]] bool HasSerial(const CameraDeviceInfo& record, std::string_view serial);

}  // namespace cam
