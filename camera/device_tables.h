// What the last enumeration found, and the rules that read a device record.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "camera/sdk/kz_camera_control.h"
#include "module/framework/status_codes.h"

namespace cam {

// The records of one enumeration; those beyond KZ_MAX_DEVICES are dropped.
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

    // Refill one table by the SDK's discovery, which must not run twice at once on the machine.
    // Returns the SDK's status; each step is logged with `moduleId`.
    [[nodiscard]] Status EnumeratePlain(std::int32_t moduleId);
    // `path` is that of the GenTL producers, in UTF-8.
    [[nodiscard]] Status EnumerateGenTL(std::int32_t moduleId, const std::string& path);

    // The first record with that serial number.
    [[nodiscard]] std::optional<CameraDeviceInfo> FindPlain(std::string_view serial) const;
    [[nodiscard]] std::optional<GenTLDeviceInfo> FindGenTL(std::string_view serial) const;
};

// The camera that a device record describes; the texts point into the record.
struct DeviceIdentity {
    std::string_view serial;
    std::string_view manufacturer;
    std::string_view model;
    std::string_view userName;
};

[[nodiscard]] DeviceIdentity IdentityOf(const GenTLDeviceInfo& record);
// Depends on the record's transport type; any type but USB3 Vision is read as GigE Vision.
[[nodiscard]] DeviceIdentity IdentityOf(const CameraDeviceInfo& record);

[[nodiscard]] bool KnownTransport(const CameraDeviceInfo& record);

// A saved or chosen serial number may be in either transport's field.
[[nodiscard]] bool HasSerial(const CameraDeviceInfo& record, std::string_view serial);

}  // namespace cam
