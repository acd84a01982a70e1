// One module as a host holds it, and the camera that feeds it: all through the module's exports.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/bare_sdk.h"
#include "camera/sdk/pixel_format.h"
#include "imaging/buffer_node.h"
#include "module/exports.h"
#include "module/framework/module_frame.h"
#include "module/framework/status_codes.h"
#include "standins/module_frame/module_frame_host.h"

namespace bench {

// A level of the log above every line's.
inline constexpr int kLogOff = 100;

// The camera is open and one procedure is registered; frames are taken on request until
// "TriggerProcessRunStatus" is set.
class CameraTool {
  public:
    explicit CameraTool(std::int32_t moduleId = 1)
        : m_handle(ModuleFrame_CreateHandle(moduleId, 0)), m_module(CreateModule(m_handle)) {
        Set("TriggerProcessRunStatus", "False");
        Set("AddRelateProc", std::to_string(moduleId));
        ModuleFrame_RunNotifyEvent(m_handle, kNotifyRelationsChanged, nullptr);
        Set("CameraName", bare_sdk::Serial());
        m_camera = bare_sdk::ImageCallback();
    }
    ~CameraTool() {
        DestroyModule(m_handle, m_module);
        ModuleFrame_DestroyHandle(m_handle);
    }
    CameraTool(const CameraTool&) = delete;
    CameraTool& operator=(const CameraTool&) = delete;

    void Set(const char* key, const std::string& value) {
        m_module->SetParam(key, value.c_str(), static_cast<std::int32_t>(value.size()));
    }
    std::uint32_t Get(const char* key, std::vector<char>& answer) {
        std::uint32_t length = 0;
        return m_module->GetParam(key, answer.data(), static_cast<std::int32_t>(answer.size()),
                                  &length);
    }

    void UseFrame(std::uint16_t width, std::uint16_t height,
                  std::uint32_t pixelType = pixel_format::kMono8) {
        const std::size_t pixels = std::size_t{width} * height;
        m_pixels.assign(pixels * pixel_format::BitsPerPixel(pixelType) / 8, 0x5A);
        m_info.width = width;
        m_info.height = height;
        m_info.pixelType = pixelType;
        m_info.frameLength = static_cast<std::uint32_t>(m_pixels.size());
    }
    [[nodiscard]] const std::vector<std::uint8_t>& Pixels() const { return m_pixels; }

    // As the SDK would: one at a time. The frame's number.
    std::uint32_t Deliver() {
        ++m_info.frameNumber;
        m_camera.function(m_pixels.data(), &m_info, m_camera.user);
        return m_info.frameNumber;
    }

    cam::BufferNode Take() {
        cam::BufferNode node;
        std::uint32_t length = 0;
        if (m_module->GetParam("CameraImage", reinterpret_cast<char*>(&node), sizeof node,
                               &length) != cam::kOk ||
            node.dataLength == 0) {
            std::fprintf(stderr, "no image came\n");
            std::exit(1);
        }
        return node;
    }
    void Free(const cam::BufferNode& node) {
        m_module->SetParam("FreeBuf", reinterpret_cast<const char*>(&node), sizeof node);
    }

  private:
    void* m_handle;
    CAbstractUserModule* m_module;
    bare_sdk::Callback m_camera;
    std::vector<std::uint8_t> m_pixels;
    FrameOutInfo m_info{};
};

}  // namespace bench
