// The smallest host: one module, one simulated camera, one image.
#include <cstdio>

#include "imaging/buffer_node.h"
#include "module/exports.h"
#include "module/framework/module_frame.h"
#include "standins/kz_camera_control/simulated_cameras.h"
#include "standins/module_frame/module_frame_host.h"

namespace {

constexpr char kSerial[] = "EXAMPLE1";

// Frames are taken in once a procedure wants them; here they are read on request.
void Prepare(void* handle, CAbstractUserModule& module) {
    module.SetParam("TriggerProcessRunStatus", "False", 5);
    module.SetParam("AddRelateProc", "1", 1);
    ModuleFrame_RunNotifyEvent(handle, kNotifyRelationsChanged, nullptr);
    module.SetParam("CameraName", kSerial, sizeof kSerial - 1);
}

bool ShowImage(CAbstractUserModule& module) {
    cam::BufferNode image;
    std::uint32_t length = 0;
    if (module.GetParam("CameraImage", reinterpret_cast<char*>(&image), sizeof image, &length) !=
        0) {
        return false;
    }
    std::printf("frame %u: %u x %u, %u bytes in shared memory %s\n", image.frameNumber, image.width,
                image.height, image.dataLength, image.sharedName);
    module.SetParam("FreeBuf", reinterpret_cast<const char*>(&image), sizeof image);
    return true;
}

}  // namespace

int main() {
    KZSim_UseRealCameras(false);
    KZSim_Configure("gige serial=EXAMPLE1 width=640 height=480");
    void* const handle = ModuleFrame_CreateHandle(1, 0);
    CAbstractUserModule* const module = CreateModule(handle);
    bool shown = false;
    if (module != nullptr) {
        Prepare(handle, *module);
        shown = ShowImage(*module);
    }
    DestroyModule(handle, module);
    ModuleFrame_DestroyHandle(handle);
    return shown ? 0 : 1;
}
