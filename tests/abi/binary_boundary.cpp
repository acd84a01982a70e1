// What crosses the boundary to the host and to the SDK, compiled for MSVC's binary interface by a
// compiler that knows it. The headers' own static_asserts say sizes and offsets; this file makes
// the virtual-function table for check_msvc_layout.cmake to read, and repeats no number of it.
#include "camera/sdk/kz_camera_control.h"
#include "camera/sdk/pixel_format.h"
#include "imaging/buffer_node.h"
#include "module/framework/module_frame.h"
#include "module/framework/status_codes.h"
#include "module/log/xalog.h"

class HostSeesThis : public CAbstractUserModule {
  public:
    HostSeesThis();
    ~HostSeesThis() override;
    std::uint32_t GetParam(const char* key, char* value, std::int32_t size,
                           std::uint32_t* length) override;
    std::uint32_t SetParam(const char* key, const char* value, std::int32_t size) override;
    std::uint32_t GetCurrentConfig(ModuleParamList* list) override;
    std::uint32_t SaveModuleData(SAVE_MODULE_DATA_PARAM* record) override;
    std::uint32_t LoadModuleData(SAVE_MODULE_DATA_PARAM* record) override;
    std::uint32_t Init() override;
    std::uint32_t DeInit() override;
};

// Defined here, so the table is laid out here.
HostSeesThis::HostSeesThis() = default;
