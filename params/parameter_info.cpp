#include "params/parameter_info.h"

#include <algorithm>

namespace cam {

namespace {

using enum KeyAccess;
using enum ValueForm;

constexpr bool kContained = true;
constexpr bool kExact = false;
constexpr std::nullopt_t kNotFixed = std::nullopt;
constexpr bool kNotForPeople = false;

constexpr ParameterInfo kInfo[] = {
    // Choosing a camera
    {"EnumCamera", kExact, Command, None, "", "", kNotFixed, "looks for cameras",
     "The answer is the camera SDK's when that fails."},
    {"CameraName", kExact, ReadWrite, Choices, "",
     "a serial number, 0, or a list value whose second field is one", kNotFixed,
     "opens the camera of this serial number; 0 closes it",
     "0xE0000403: no such camera; the camera SDK's code: not opened. Reads "
     "`2$SN2$$$$Close\\rCam A (SN1)\\rCam B (SN2)` and a NUL: place and serial number of the open "
     "camera (0: none), three empty fields, Close, and every camera's name and serial number, "
     "with a carriage return (`\\r`) ahead of each. The length tells the full size with the NUL; a "
     "smaller buffer gets as much as it holds and no NUL; 67,000 bytes hold any list. While Type "
     "is "
     "1 nothing is written, and the length is 12. When the open camera is not on the list any "
     "more, "
     "reading drops it and begins the search for it, without a notice."},
    {"CheckCameraOpened", kExact, Command, None, "", "", kNotFixed,
     "opens the chosen camera if it is not open", "It is the choice whose open failed before."},
    {"Type", kExact, ReadWrite, Integer, "", "0, 1", "0",
     "how a camera is chosen: 0 by serial number, 1 by IP address",
     "Any other number keeps a lost camera from being opened again."},
    {"CameraIP", kExact, ReadWrite, Text, "", "a.b.c.d, up to 16 characters", "",
     "address of the camera, for Type 1", ""},
    {"LocalIP", kExact, ReadWrite, Text, "", "a.b.c.d, up to 16 characters", "",
     "address of the network card that reaches it, for Type 1", ""},
    {"ConnectIP", kExact, ReadWrite, Plain, "", "", "False",
     "opens the camera at CameraIP; False closes it",
     "Acts while Type is 1. PixelFormat becomes Mono8, the camera's frame and line rate are "
     "enabled, its trigger mode is on. It loads no user set and replays no saved settings, "
     "CameraMold stays, SerialNumber and ManufacturerName become empty, and the host gets no "
     "1030 for on-line. Reads True while a camera opened so is open. 0xE0000001: an address is "
     "missing or none; the camera SDK's code: not opened."},
    {"AutoConnect", kExact, ReadWrite, Plain, "", "", "False",
     "whether a camera opened by address is opened again after a loss", ""},
    {"ReconnectTime", kExact, ReadWrite, Integer, "s", "0: one attempt", "100",
     "how long a lost camera is looked for, in seconds", ""},
    {"WaitForConnectingTime", kExact, ReadWrite, Integer, "ms", "0 or more", "1000",
     "how long loading waits for the camera, in ms",
     "The default configuration file may name another value."},
    {"UseGenTL", kExact, ReadWrite, Switch, "", "", "False$$$$$",
     "cameras come through GenTL producers in place of GigE and USB3",
     "A change closes the camera and is reported; switching off also clears SerialNumber."},
    {"GenTLPath", kExact, ReadWrite, Text, "", "an existing path, up to 259 characters", "",
     "where the GenTL producers are",
     "A path that does not exist leaves the old one. Reads as UTF-8, whatever it was written in."},

    // Who the camera is
    {"SerialNumber", kExact, ReadWrite, Text, "", "up to 63 characters", "",
     "serial number of the camera opened last",
     "Empty after an open by address. A lost camera is looked for by the first 16 characters. "
     "Writing another one closes the open camera."},
    {"ModelName", kExact, Read, Text, "", "", "", "model of the camera opened last", ""},
    {"ManufacturerName", kExact, Read, Text, "", "", "", "maker of the camera opened last",
     "Empty after an open by address."},
    {"VendorName", kExact, Read, Text, "", "", "", "maker as the open camera itself tells it",
     "Nothing is written while none is open."},
    {"CameraType", kExact, Read, Text, "", "", "", "first characters of the model",
     "5 of them, or 10 of a KZ-HX310-4, without a terminator."},
    {"SmartCameraType", kExact, Read, Integer, "", "-1, 1, 2", "-1",
     "kind: -1 no camera open, 2 a smart camera, 1 any other",
     "Smart cameras are the KZ-QS models."},
    {"CameraMold", kContained, ReadWrite, Integer, "", "1, 2, 3", "1",
     "series: 2 KZ-RT, 3 KZ-LN (line scan), 1 any other",
     "It is the set of I/O lines: 1 has lines 1 and 2, 2 has lines 0 to 2, 3 has lines 1 to 4. Set "
     "by every open but that by address."},
    {"IOEnableElectricalLevel", kContained, ReadWrite, Integer, "", "1: inverted", "2",
     "inversion of the I/O lines", "Those of CameraMold; applied at once and by every open."},

    // Images
    {"CameraImage", kExact, Read, Record, "", "", kNotFixed,
     "the oldest frame that waits, or one triggered and waited for",
     "The host owns the image until FreeBuf. 0xE0000409: no image. Waits up to 1 s for the camera "
     "to "
     "stream first.",
     kNotForPeople},
    {"FreeBuf", kExact, Write, Record, "", "size 64", kNotFixed, "gives a frame back",
     "A record that was not given out, or was returned already, is ignored.", kNotForPeople},
    {"ImageCacheNum", kExact, ReadWrite, Integer, "frames", "0 or less: none is kept", "50",
     "frames that may wait; further ones are dropped", ""},
    {"ClearCacheImage", kExact, Command, None, "", "", kNotFixed, "drops the frames that wait", ""},
    {"SoftTriggerWaitTime", kExact, ReadWrite, Integer, "s", "0 to 1000, others become 2", "2",
     "how long a request waits for its frame, in seconds",
     "The request is a CameraImage that triggers the camera."},
    {"SynTriggerSoftware", kExact, Command, None, "", "", kNotFixed,
     "triggers and waits up to 1 s for the frame",
     "0xE0000001: not triggered. Without a frame it is 0 too."},
    {"TriggerOn", kExact, Command, None, "", "", kNotFixed, "the camera waits for triggers",
     "So it does after every open. 0xE0000410: no camera."},
    {"TriggerOff", kExact, Command, None, "", "", kNotFixed, "the camera runs freely",
     "0xE0000410: no camera."},
    {"RealTimeImgAcq", kExact, Write, Plain, "", "", kNotFixed,
     "live view: frames bypass the module; False ends it",
     "The camera runs freely to a multicast group."},
    {"TriggerStringEnable", kExact, ReadWrite, Switch, "", "", "False$$$$$",
     "kept for the host; without effect", "", kNotForPeople},
    {"DropImageWhenTriggerFail", kExact, ReadWrite, Plain, "", "", "False",
     "kept for the host; without effect", "", kNotForPeople},

    // Run by camera
    {"TriggerProcessRunStatus", kExact, ReadWrite, Plain, "", "", "True",
     "frames are offered to procedures (run by camera)", "A change drops the frames that wait."},
    {"AddRelateProc", kExact, Write, Text, "", "a procedure's number", kNotFixed,
     "adds a procedure that frames are offered to",
     "Frames are taken in once the host has announced the relation."},
    {"DelRelateProc", kExact, Write, Text, "", "a procedure's number", kNotFixed,
     "removes a procedure that frames are offered to",
     "Frames are taken in until the host has announced that no relation is left."},

    // The camera's own memory
    {"SaveParams", kExact, Command, None, "", "", kNotFixed,
     "saves the camera's features in its user set",
     "That is set 1, which an open by serial number selects and loads; after an open by address it "
     "is the one that the camera has selected. 0xE0000410: not saved."},

    // Pictures from a folder
    {"DebugMode", kExact, ReadWrite, Switch, "", "", "False$$$$$",
     "pictures of a folder are delivered in place of the camera's", ""},
    {"FileFolderName", kExact, ReadWrite, Text, "", "no blanks, up to 259 characters", "",
     "folder of the pictures that DebugMode delivers",
     "They are its files with .bmp, .jpg, .png, .jpeg or .tif in their names. The path ends at the "
     "first blank. 0xE0000203: missing or not to be listed."},
    {"AutoSwitch", kExact, ReadWrite, Switch, "", "", "True$$$$$",
     "each request delivers the next picture of the folder",
     "The first one delivers the second picture."},
    {"DebugImageSource", kExact, ReadWrite, Integer, "", "", "1",
     "kept for the host; without effect", "", kNotForPeople},
    {"DebugImageBufferCount", kExact, ReadWrite, IntegerRange, "", "0 to 100, not enforced",
     "0$0$100$1$", "kept for the host; without effect", "", kNotForPeople},
    {"ExecuteInterval", kExact, ReadWrite, IntegerRange, "", "0 to 10000, not enforced",
     "0$0$10000$1$", "kept for the host; without effect", "", kNotForPeople},
    {"useLocalPic", kExact, Write, Text, "", "up to 259 characters", kNotFixed,
     "kept; without effect", "", kNotForPeople},
    {"useCamPic", kExact, Command, None, "", "", kNotFixed, "clears useLocalPic", "",
     kNotForPeople},

    // Statistics and diagnosis
    {"CameraErrorInfo", kExact, Read, Fields, "", "", "0$0$0",
     "error frames (USB3) $ lost frames (GigE) $ lost packets (GigE)", ""},
    {"CameraPreviewInfo", kExact, Read, Fields, "", "", "0$0$0$0$600$450$",
     "counts as in CameraErrorInfo, preview size, serial number",
     "In this order: error frames, 0, lost frames, lost packets, width and height of a preview "
     "within 600 x 450, serial number."},
    {"LogLevel", kExact, Write, Integer, "", "1 debug, 2 information, 3 warning, 4 error",
     kNotFixed, "level of the module's log: 1 debug to 4 error",
     "A text that is no number makes it 0."},
    {"DynamicInData", kExact, Read, Text, "", "", "", "answers nothing", "", kNotForPeople},
    {"DynamicOutData", kExact, Read, Text, "", "", "", "answers nothing", "", kNotForPeople},
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
camera does not have with 0, a text that is no number where one is wanted and a stream that could
not be stopped with 0xE0000001, everything else with the camera's own status.

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
