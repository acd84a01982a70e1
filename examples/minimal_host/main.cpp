// The smallest host: one module, one simulated camera, one image.
#include <cstdio>
#include <cstring>

#include "imaging/buffer_node.h"
#include "module/exports.h"
#include "module/framework/module_frame.h"
#include "standins/kz_camera_control/simulated_cameras.h"
#include "standins/module_frame/module_frame_host.h"

namespace {

constexpr char kCamera[] = "gige serial=EXAMPLE1 width=640 height=480";

// Every operation answers 0 or the code of what went wrong.
bool Succeeded(const char* step, std::uint32_t status) {
    if (status != 0) {
        std::fprintf(stderr, "%s failed: 0x%08X\n", step, static_cast<unsigned>(status));
    }
    return status == 0;
}

bool Set(CAbstractUserModule& module, const char* key, const char* value) {
    return Succeeded(key,
                     module.SetParam(key, value, static_cast<std::int32_t>(std::strlen(value))));
}

// Frames are taken in once a procedure wants them; here they are read on request.
bool Prepare(void* handle, CAbstractUserModule& module) {
    const bool related =
        Set(module, "TriggerProcessRunStatus", "False") && Set(module, "AddRelateProc", "1");
    ModuleFrame_RunNotifyEvent(handle, kNotifyRelationsChanged, nullptr);
    return related && Set(module, "CameraName", "EXAMPLE1");
}

bool ShowImage(CAbstractUserModule& module) {
    cam::BufferNode image;
    std::uint32_t length = 0;
    if (!Succeeded("CameraImage", module.GetParam("CameraImage", reinterpret_cast<char*>(&image),
                                                  sizeof image, &length))) {
        return false;
    }
    std::printf("frame %u: %u x %u, %u bytes in shared memory %s\n", image.frameNumber, image.width,
                image.height, image.dataLength, image.sharedName);
    return Succeeded(
        "FreeBuf", module.SetParam("FreeBuf", reinterpret_cast<const char*>(&image), sizeof image));
}

}  // namespace

int main() {
    KZSim_UseRealCameras(false);
    if (KZSim_Configure(kCamera) != 0) {
        std::fprintf(stderr, "the camera's description is not understood\n");
        return 1;
    }
    void* const handle = ModuleFrame_CreateHandle(1, 0);
    CAbstractUserModule* const module = CreateModule(handle);
    if (module == nullptr) {
        Succeeded("CreateModule", ModuleFrame_LastError(handle));
    }
    const bool shown = module != nullptr && Prepare(handle, *module) && ShowImage(*module);
    DestroyModule(handle, module);
    ModuleFrame_DestroyHandle(handle);
    return shown ? 0 : 1;
}
