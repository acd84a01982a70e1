#include "params/parameter_info.h"

#include <algorithm>
#include <string>

namespace cam {

namespace {

using enum KeyAccess;
using enum ValueForm;

constexpr bool kContained = true;
constexpr bool kExact = false;
constexpr std::nullopt_t kNotFixed = std::nullopt;

constexpr ParameterInfo kInfo[] = {
    // Choosing a camera
    {"EnumCamera", kExact, Command, None, "", "", kNotFixed,
     "Looks for cameras. The answer is the camera SDK's when that fails."},
    {"CameraName", kExact, ReadWrite, Fields, "", "a serial number, 0, or an entry's text",
     kNotFixed,
     "Reads the list of cameras to choose from; nothing (length 12) while Type is 1. Writing opens "
     "the camera of that serial number - the second field where the value has one - and 0 closes "
     "the open one. 0xE0000403: no such camera."},
    {"CheckCameraOpened", kExact, Command, None, "", "", kNotFixed,
     "Tries the choice again whose open failed, unless a camera is open."},
    {"Type", kExact, ReadWrite, Integer, "", "0, 1", "0",
     "How the camera is chosen: 0 by serial number, 1 by IP address. Any other number keeps a lost "
     "camera from being opened again."},
    {"CameraIP", kExact, ReadWrite, Text, "", "a.b.c.d, up to 16 characters", "",
     "Address of the camera, for Type 1."},
    {"LocalIP", kExact, ReadWrite, Text, "", "a.b.c.d, up to 16 characters", "",
     "Address of the network card that reaches it, for Type 1."},
    {"ConnectIP", kExact, ReadWrite, Plain, "", "", "False",
     "With Type 1: True opens the camera at CameraIP, False closes it. Reads True while a camera "
     "opened so is open."},
    {"AutoConnect", kExact, ReadWrite, Plain, "", "", "False",
     "A camera opened by address is opened again after a loss."},
    {"ReconnectTime", kExact, ReadWrite, Integer, "s", "0: one attempt", "100",
     "How long a lost camera is looked for."},
    {"WaitForConnectingTime", kExact, ReadWrite, Integer, "ms", "0 or more", "1000",
     "How long loading a solution waits for its camera. The default configuration file may name "
     "another value."},
    {"UseGenTL", kExact, ReadWrite, Switch, "", "", "False$$$$$",
     "Cameras come through GenTL producers in place of GigE Vision and USB3 Vision. A change "
     "closes "
     "the camera and is reported."},
    {"GenTLPath", kExact, ReadWrite, Text, "", "an existing path, up to 259 characters", "",
     "Where the GenTL producers are. A path that does not exist leaves the old one."},

    // Who the camera is
    {"SerialNumber", kExact, ReadWrite, Text, "", "up to 63 characters", "",
     "Serial number of the camera opened last, which a lost camera is looked for by. Writing "
     "another one closes the open camera."},
    {"ModelName", kExact, Read, Text, "", "", "", "Model of the camera opened last."},
    {"ManufacturerName", kExact, Read, Text, "", "", "", "Maker of the camera opened last."},
    {"VendorName", kExact, Read, Text, "", "", "",
     "Maker as the open camera itself tells it; nothing is written while none is open."},
    {"CameraType", kExact, Read, Text, "", "", "",
     "The first 5 characters of the model, or 10 of a KZ-HX310-4, without a terminator."},
    {"SmartCameraType", kExact, Read, Integer, "", "-1, 1, 2", "-1",
     "-1 while no camera is open, 2 for KZ-QS models, 1 for others."},
    {"CameraMold", kContained, ReadWrite, Integer, "", "1, 2, 3", "1",
     "Series of the camera, which is its set of I/O lines: 1 lines 1 and 2, 2 (KZ-RT) lines 0 to "
     "2, 3 (KZ-LN, line scan) lines 1 to 4. Set by every open."},
    {"IOEnableElectricalLevel", kContained, ReadWrite, Integer, "", "1: inverted", "2",
     "Inversion of those lines; applied at once and by every open."},

    // Images
    {"CameraImage", kExact, Read, Record, "", "", kNotFixed,
     "The oldest image that waits. Where none does, the camera is triggered and the frame waited "
     "for. The host owns the image until FreeBuf. 0xE0000409: no image."},
    {"FreeBuf", kExact, Write, Record, "", "size 64", kNotFixed,
     "Gives an image back. A record that was not given out, or was returned already, is ignored."},
    {"ImageCacheNum", kExact, ReadWrite, Integer, "frames", "0 or less: none is kept", "50",
     "Most frames that wait for the host; further ones are dropped."},
    {"ClearCacheImage", kExact, Command, None, "", "", kNotFixed, "Drops the frames that wait."},
    {"SoftTriggerWaitTime", kExact, ReadWrite, Integer, "s", "0 to 1000, others become 2", "2",
     "How long CameraImage waits for the frame it triggered."},
    {"SynTriggerSoftware", kExact, Command, None, "", "", kNotFixed,
     "Triggers the camera and waits up to 1 s for a frame. 0xE0000001: not triggered."},
    {"TriggerOn", kExact, Command, None, "", "", kNotFixed,
     "The camera waits for triggers, as after every open. 0xE0000410: no camera."},
    {"TriggerOff", kExact, Command, None, "", "", kNotFixed,
     "The camera runs freely. 0xE0000410: no camera."},
    {"RealTimeImgAcq", kExact, Write, Plain, "", "", kNotFixed,
     "Live view: the camera runs freely to a multicast group and its frames bypass the module."},
    {"TriggerStringEnable", kExact, ReadWrite, Switch, "", "", "False$$$$$",
     "Kept for the host; without effect."},
    {"DropImageWhenTriggerFail", kExact, ReadWrite, Plain, "", "", "False",
     "Kept for the host; without effect."},

    // Run by camera
    {"TriggerProcessRunStatus", kExact, ReadWrite, Plain, "", "", "True",
     "Every frame is offered to the related procedures. A change drops the frames that wait."},
    {"AddRelateProc", kExact, Write, Text, "", "a procedure's number", kNotFixed,
     "Relates a procedure. Frames are taken in once the host has announced the relation."},
    {"DelRelateProc", kExact, Write, Text, "", "a procedure's number", kNotFixed,
     "Ends the relation."},

    // The camera's own memory
    {"SaveParams", kExact, Command, None, "", "", kNotFixed,
     "The camera saves its features in its user set, which every open loads. 0xE0000410: not "
     "saved."},

    // Pictures from a folder
    {"DebugMode", kExact, ReadWrite, Switch, "", "", "False$$$$$",
     "CameraImage answers the folder's pictures in place of the camera's frames."},
    {"FileFolderName", kExact, ReadWrite, Text, "", "no blanks, up to 259 characters", "",
     "The folder: its files with .bmp, .jpg, .png, .jpeg or .tif in their names. Ends at the first "
     "blank. 0xE0000203: missing or not to be listed."},
    {"AutoSwitch", kExact, ReadWrite, Switch, "", "", "True$$$$$",
     "Each image is the folder's next picture, the first one its second."},
    {"DebugImageSource", kExact, ReadWrite, Integer, "", "", "1",
     "Kept for the host; without effect."},
    {"DebugImageBufferCount", kExact, ReadWrite, IntegerRange, "", "0 to 100, not enforced",
     "0$0$100$1$", "Kept for the host; without effect."},
    {"ExecuteInterval", kExact, ReadWrite, IntegerRange, "", "0 to 10000, not enforced",
     "0$0$10000$1$", "Kept for the host; without effect."},
    {"useLocalPic", kExact, Write, Text, "", "up to 259 characters", kNotFixed,
     "Kept; without effect."},
    {"useCamPic", kExact, Command, None, "", "", kNotFixed, "Clears what useLocalPic set."},

    // Statistics and diagnosis
    {"CameraErrorInfo", kExact, Read, Fields, "", "", "0$0$0",
     "Error frames (USB3 Vision), lost frames and lost packets (GigE Vision)."},
    {"CameraPreviewInfo", kExact, Read, Fields, "", "", "0$0$0$0$600$450$",
     "Error frames, 0, lost frames, lost packets, width and height of a preview within 600 x 450, "
     "serial number."},
    {"LogLevel", kExact, Write, Integer, "", "1 debug, 2 information, 3 warning, 4 error",
     kNotFixed, "Level of the log; a text that is no number makes it 0."},
    {"DynamicInData", kExact, Read, Text, "", "", "", "Nothing is written."},
    {"DynamicOutData", kExact, Read, Text, "", "", "", "Nothing is written."},
};

constexpr std::string_view kFeatureNote =
    R"(Every other key names a feature of the open camera by its GenICam name, up to the first '_'
of the key. How it is exchanged depends on the feature's type:

| Type | Read as | Written from |
|---|---|---|
| integer | value$minimum$maximum$increment$1$ | the number before the first '$' |
| float | value$minimum$maximum$1.000000$, three decimals | the number before the first '$' |
| boolean | True or False | True in any case of letters before the first '$' |
| enumeration | the number, then $ and every number it may be | the number before the first '$' |
| string | the text | the whole text |
| command | - | any text executes it |

A feature that cannot be read - no camera open, no such feature, the camera refuses - answers
`NULL$0$0$1$1$1`, with status 0 or, when the camera does not answer any more, 0x80000206. Answers
take 256 bytes at most. Writing without a camera is answered with 0xE0000410, a feature that the
camera does not have with 0, everything else with the camera's own status.

- Writing Width, Height, PixelFormat, GevSCPSPacketSize, AcquisitionBurstFrameCount or GevSCPD stops
  a stream that runs; it is started again within 200 ms.
- Writing TriggerSource drops the frames that wait.
- ExposureTime and Gain (and ExposureTimeAbs, GainRaw) are written only when they differ by 0.01 or
  more from what was last written since the camera was opened.
- A float that the camera finds outside its range is tried again 0.005 lower and then 0.005 higher.
- ExposureTimeAbs, GainRaw, AcquisitionFrameRateAbs and TriggerDelayAbs reach cameras of the maker
  Basler only, Gamma_Smart reaches KZ-QS models only; others accept and ignore them.
)";

}  // namespace

std::span<const ParameterInfo> AllParameterInfo() {
    return kInfo;
}

const ParameterInfo* FindParameterInfo(std::string_view key) {
    const auto found =
        std::find_if(std::begin(kInfo), std::end(kInfo), [&](const ParameterInfo& info) {
            return info.contained ? key.find(info.key) != key.npos : key == info.key;
        });
    return found != std::end(kInfo) ? &*found : nullptr;
}

std::string_view CameraFeatureNote() {
    return kFeatureNote;
}

}  // namespace cam
