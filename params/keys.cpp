// Every key of the module, one row each: its name, how it matches, its help, how it is read and how
// it is written. Anything more than a setting is in key_reads.cpp and key_writes.cpp.
#include "params/keys.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <string>

#include "base/log.h"
#include "base/notices.h"
#include "base/settings.h"
#include "params/feature_access.h"
#include "params/key_functions.h"
#include "params/parameter_info.h"
#include "params/value_text.h"

namespace cam {

namespace {

using enum KeyAccess;
using enum ValueForm;

using ReadFunction = Status (*)(KeyContext& module, Answer& answer);
using WriteFunction = Status (*)(KeyContext& module, const Value& value);

struct Key {
    ParameterInfo info;
    std::optional<ReadFunction> read;
    std::optional<WriteFunction> write;
};

template <Relaxed<std::int32_t> Settings::*Member>
Status ReadNumber(KeyContext& module, Answer& answer) {
    answer.Number((module.settings.*Member).Get());
    return kOk;
}

template <Relaxed<std::int32_t> Settings::*Member, std::int32_t Maximum>
Status ReadRange(KeyContext& module, Answer& answer) {
    answer.Text(IntRangeText((module.settings.*Member).Get(), 0, Maximum, 1));
    return kOk;
}

template <Relaxed<bool> Settings::*Member>
Status ReadSwitch(KeyContext& module, Answer& answer) {
    answer.Text(SwitchText((module.settings.*Member).Get()));
    return kOk;
}

template <Relaxed<bool> Settings::*Member>
Status ReadPlain(KeyContext& module, Answer& answer) {
    answer.Text(PlainText((module.settings.*Member).Get()));
    return kOk;
}

template <auto Member>
Status ReadText(KeyContext& module, Answer& answer) {
    answer.Text((module.settings.*Member).Get().view());
    return kOk;
}

template <Relaxed<std::int32_t> Settings::*Member>
Status WriteNumber(KeyContext& module, const Value& value) {
    if (const auto number = write::NumberIn(module, value)) {
        (module.settings.*Member).Set(*number);
    }
    return kOk;
}

template <Relaxed<bool> Settings::*Member>
Status WriteBool(KeyContext& module, const Value& value) {
    (module.settings.*Member).Set(value.Bool());
    return kOk;
}

template <auto Member>
Status WriteText(KeyContext& module, const Value& value) {
    (module.settings.*Member).Set(value.Text());
    return kOk;
}

constexpr std::nullopt_t kNotRead = std::nullopt;
constexpr std::nullopt_t kNotWritten = std::nullopt;
constexpr bool kContained = true;
constexpr bool kExact = false;
constexpr std::nullopt_t kNotFixed = std::nullopt;
constexpr bool kNotForPeople = false;

constexpr std::int32_t kMaxImageBufferCount = 100;
constexpr std::int32_t kMaxExecuteInterval = 10'000;

// Ordered by subject, as on the printed page. Keys are tried in this order; the two used for each
// frame come first, so that finding them is fast.
constexpr Key kKeys[] = {
    // Images
    {{"CameraImage", kExact, Read, Record, "", "", kNotFixed,
      "the oldest queued frame; with none queued, a newly triggered one",
      "The host owns the image until FreeBuf. 0xE0000409: no image. First waits up to 1 s for the "
      "camera to stream.",
      kNotForPeople},
     read::CameraImage,
     kNotWritten},
    {{"FreeBuf", kExact, Write, Record, "", "size 64", kNotFixed, "returns a frame to the module",
      "A record that was never delivered, or was already returned, is ignored.", kNotForPeople},
     kNotRead,
     write::FreeBuf},
    {{"ImageCacheNum", kExact, ReadWrite, Integer, "frames", "0 or less: keeps none", "50",
      "capacity of the frame queue; further frames are dropped", ""},
     ReadNumber<&Settings::imageCacheNum>,
     WriteNumber<&Settings::imageCacheNum>},
    {{"ClearCacheImage", kExact, Command, None, "", "", kNotFixed, "drops the queued frames", ""},
     kNotRead,
     write::ClearCacheImage},
    {{"SoftTriggerWaitTime", kExact, ReadWrite, Integer, "s", "0 to 1000, others become 2", "2",
      "how long a request waits for its frame, in seconds",
      "Applies to a read of CameraImage that triggers the camera."},
     ReadNumber<&Settings::softTriggerWaitTime>,
     write::SoftTriggerWaitTime},
    {{"SynTriggerSoftware", kExact, Command, None, "", "", kNotFixed,
      "triggers and waits up to 1 s for the frame",
      "0xE0000001: not triggered. Returns 0 even if no frame arrives."},
     kNotRead,
     write::SynTriggerSoftware},
    {{"TriggerOn", kExact, Command, None, "", "", kNotFixed, "turns the camera's trigger mode on",
      "Every open does this, too. 0xE0000410: no camera."},
     kNotRead,
     write::TriggerOn},
    {{"TriggerOff", kExact, Command, None, "", "", kNotFixed,
      "turns the camera's trigger mode off (free run)", "0xE0000410: no camera."},
     kNotRead,
     write::TriggerOff},
    {{"RealTimeImgAcq", kExact, Write, Plain, "", "", kNotFixed,
      "live view: frames bypass the module; False ends it",
      "The camera streams in free run to a multicast group."},
     kNotRead,
     write::RealTimeImgAcq},
    {{"TriggerStringEnable", kExact, ReadWrite, Switch, "", "", "False$$$$$",
      "kept for the host; without effect", "", kNotForPeople},
     ReadSwitch<&Settings::triggerStringEnable>,
     WriteBool<&Settings::triggerStringEnable>},
    {{"DropImageWhenTriggerFail", kExact, ReadWrite, Plain, "", "", "False",
      "kept for the host; without effect", "", kNotForPeople},
     ReadPlain<&Settings::dropImageWhenTriggerFail>,
     WriteBool<&Settings::dropImageWhenTriggerFail>},

    // Choosing a camera
    {{"EnumCamera", kExact, Command, None, "", "", kNotFixed, "enumerates cameras",
      "On failure returns the camera SDK's code."},
     kNotRead,
     write::EnumCamera},
    {{"CameraName", kExact, ReadWrite, Choices, "",
      "a serial number, 0, or a list value whose second field is one", kNotFixed,
      "opens the camera of this serial number; 0 closes it",
      "0xE0000403: no such camera; the camera SDK's code: not opened. Reads `2$SN2$$$$Close\\rCam "
      "A (SN1)\\rCam B (SN2)` and a NUL: index and serial number of the open camera (0: none), "
      "three empty fields, Close, and every camera's name and serial number, each preceded by a "
      "carriage return (`\\r`). The length receives the full size with the NUL; a smaller buffer "
      "gets as much as fits and no NUL; 67,000 bytes hold any list. While Type is 1 nothing is "
      "written, and the length is 12. If the open camera is no longer on the list, reading drops "
      "it and starts the search for it, without a notice."},
     read::CameraName,
     write::CameraName},
    {{"CheckCameraOpened", kExact, Command, None, "", "", kNotFixed,
      "opens the chosen camera if it is not open",
      "Retries the last selection that failed to open."},
     kNotRead,
     write::CheckCameraOpened},
    {{"Type", kExact, ReadWrite, Integer, "", "0, 1", "0",
      "how a camera is chosen: 0 by serial number, 1 by IP address",
      "Any other number keeps a lost camera from being opened again."},
     ReadNumber<&Settings::connectionMode>,
     WriteNumber<&Settings::connectionMode>},
    {{"CameraIP", kExact, ReadWrite, Text, "", "a.b.c.d, up to 16 characters", "",
      "address of the camera, for Type 1", ""},
     ReadText<&Settings::cameraIp>,
     WriteText<&Settings::cameraIp>},
    {{"LocalIP", kExact, ReadWrite, Text, "", "a.b.c.d, up to 16 characters", "",
      "address of the network card that reaches it, for Type 1", ""},
     ReadText<&Settings::localIp>,
     WriteText<&Settings::localIp>},
    {{"ConnectIP", kExact, ReadWrite, Plain, "", "", "False",
      "opens the camera at CameraIP; False closes it",
      "Acts while Type is 1. PixelFormat becomes Mono8, the camera's frame and line rate are "
      "enabled, its trigger mode is turned on. It loads no user set and replays no saved settings, "
      "CameraMold stays, SerialNumber and ManufacturerName become empty, and no on-line report "
      "1030 is sent. Reads True while a camera opened by address is open. 0xE0000001: an address "
      "is missing or invalid; the camera SDK's code: not opened."},
     read::ConnectIP,
     write::ConnectIP},
    {{"AutoConnect", kExact, ReadWrite, Plain, "", "", "False",
      "reopens a camera opened by address after a loss", ""},
     ReadPlain<&Settings::autoConnect>,
     WriteBool<&Settings::autoConnect>},
    {{"ReconnectTime", kExact, ReadWrite, Integer, "s", "0: one attempt", "100",
      "how long to search for a lost camera, in seconds", ""},
     ReadNumber<&Settings::reconnectTime>,
     WriteNumber<&Settings::reconnectTime>},
    {{"WaitForConnectingTime", kExact, ReadWrite, Integer, "ms", "0 or more", "1000",
      "how long loading waits for the camera, in ms",
      "The default configuration file may set another value."},
     ReadNumber<&Settings::waitForConnectingTime>,
     WriteNumber<&Settings::waitForConnectingTime>},
    {{"UseGenTL", kExact, ReadWrite, Switch, "", "", "False$$$$$",
      "uses GenTL producers instead of GigE and USB3",
      "A change closes the camera and is reported; switching off also clears SerialNumber."},
     read::UseGenTL,
     write::UseGenTL},
    {{"GenTLPath", kExact, ReadWrite, Text, "", "an existing path, up to 259 characters", "",
      "path of the GenTL producers",
      "A path that does not exist is ignored. Reads as UTF-8, whatever encoding was written."},
     read::GenTLPath,
     write::GenTLPath},

    // Who the camera is
    {{"SerialNumber", kExact, ReadWrite, Text, "", "up to 63 characters", "",
      "serial number of the camera opened last",
      "Empty after an open by address. A lost camera is searched for by the first 16 characters. "
      "Writing another number closes the open camera."},
     read::SerialNumber,
     write::SerialNumber},
    {{"ModelName", kExact, Read, Text, "", "", "", "model of the camera opened last", ""},
     read::ModelName,
     kNotWritten},
    {{"ManufacturerName", kExact, Read, Text, "", "", "", "maker of the camera opened last",
      "Empty after an open by address."},
     read::ManufacturerName,
     kNotWritten},
    {{"VendorName", kExact, Read, Text, "", "", "", "maker that the open camera reports",
      "Writes nothing while no camera is open."},
     read::VendorName,
     kNotWritten},
    {{"CameraType", kExact, Read, Text, "", "", "", "first characters of the model",
      "5 characters, or 10 for a KZ-HX310-4, without a terminator."},
     read::CameraType,
     kNotWritten},
    {{"SmartCameraType", kExact, Read, Integer, "", "-1, 1, 2", "-1",
      "kind: -1 no camera open, 2 a smart camera, 1 any other",
      "Smart cameras are the KZ-QS models."},
     read::SmartCameraType,
     kNotWritten},
    {{"IOEnableElectricalLevel", kContained, ReadWrite, Integer, "", "1: inverted", "2",
      "inversion of the I/O lines",
      "Applies to the lines of CameraMold, at once and after every open."},
     ReadNumber<&Settings::ioEnableElectricalLevel>,
     write::IOEnableElectricalLevel},
    {{"CameraMold", kContained, ReadWrite, Integer, "", "1, 2, 3", "1",
      "series: 2 KZ-RT, 3 KZ-LN (line scan), 1 any other",
      "Selects the I/O lines: 1 has lines 1 and 2, 2 has lines 0 to 2, 3 has lines 1 to 4. Set by "
      "every open except by address."},
     ReadNumber<&Settings::cameraMold>,
     WriteNumber<&Settings::cameraMold>},

    // Run by camera
    {{"TriggerProcessRunStatus", kExact, ReadWrite, Plain, "", "", "True",
      "frames are offered to procedures (run by camera)", "A change drops the queued frames."},
     ReadPlain<&Settings::triggerProcessRunStatus>,
     write::TriggerProcessRunStatus},
    {{"AddRelateProc", kExact, Write, Text, "", "a procedure's number", kNotFixed,
      "registers a procedure to offer frames to",
      "Frames are accepted once the host has announced the relation."},
     kNotRead,
     write::AddRelateProc},
    {{"DelRelateProc", kExact, Write, Text, "", "a procedure's number", kNotFixed,
      "unregisters a procedure that frames are offered to",
      "Frames are accepted until the host has announced that no relation is left."},
     kNotRead,
     write::DelRelateProc},

    // The camera's own memory
    {{"SaveParams", kExact, Command, None, "", "", kNotFixed,
      "saves the camera's features in its user set",
      "Uses set 1, which an open by serial number selects and loads; after an open by address, the "
      "set that the camera has selected. 0xE0000410: not saved."},
     kNotRead,
     write::SaveParams},

    // Pictures from a folder
    {{"DebugMode", kExact, ReadWrite, Switch, "", "", "False$$$$$",
      "delivers pictures of a folder instead of the camera's", ""},
     ReadSwitch<&Settings::debugMode>,
     WriteBool<&Settings::debugMode>},
    {{"FileFolderName", kExact, ReadWrite, Text, "", "no blanks, up to 259 characters", "",
      "folder of the pictures that DebugMode delivers",
      "Uses the files with .bmp, .jpg, .png, .jpeg or .tif in their names. The path ends at the "
      "first blank. 0xE0000203: missing or cannot be listed."},
     ReadText<&Settings::fileFolderName>,
     write::FileFolderName},
    {{"AutoSwitch", kExact, ReadWrite, Switch, "", "", "True$$$$$",
      "each request delivers the next picture of the folder",
      "The first request delivers the second picture."},
     ReadSwitch<&Settings::autoSwitch>,
     WriteBool<&Settings::autoSwitch>},
    {{"DebugImageSource", kExact, ReadWrite, Integer, "", "", "1",
      "kept for the host; without effect", "", kNotForPeople},
     ReadNumber<&Settings::debugImageSource>,
     WriteNumber<&Settings::debugImageSource>},
    {{"DebugImageBufferCount", kExact, ReadWrite, IntegerRange, "", "0 to 100, not enforced",
      "0$0$100$1$", "kept for the host; without effect", "", kNotForPeople},
     ReadRange<&Settings::debugImageBufferCount, kMaxImageBufferCount>,
     WriteNumber<&Settings::debugImageBufferCount>},
    {{"ExecuteInterval", kExact, ReadWrite, IntegerRange, "", "0 to 10000, not enforced",
      "0$0$10000$1$", "kept for the host; without effect", "", kNotForPeople},
     ReadRange<&Settings::executeInterval, kMaxExecuteInterval>,
     WriteNumber<&Settings::executeInterval>},
    {{"useLocalPic", kExact, Write, Text, "", "up to 259 characters", kNotFixed,
      "kept; without effect", "", kNotForPeople},
     kNotRead,
     WriteText<&Settings::localPicture>},
    {{"useCamPic", kExact, Command, None, "", "", kNotFixed, "clears useLocalPic", "",
      kNotForPeople},
     kNotRead,
     write::UseCamPic},

    // Statistics and diagnosis
    {{"CameraErrorInfo", kExact, Read, Fields, "", "", "0$0$0",
      "error frames (USB3) $ lost frames (GigE) $ lost packets (GigE)", ""},
     read::CameraErrorInfo,
     kNotWritten},
    {{"CameraPreviewInfo", kExact, Read, Fields, "", "", "0$0$0$0$600$450$",
      "counts as in CameraErrorInfo, preview size, serial number",
      "In this order: error frames, 0, lost frames, lost packets, width and height of a preview "
      "within 600 x 450, serial number."},
     read::CameraPreviewInfo,
     kNotWritten},
    {{"LogLevel", kExact, Write, Integer, "", "1 debug, 2 information, 3 warning, 4 error",
      kNotFixed, "level of the module's log: 1 debug to 4 error",
      "A text that is not a number sets it to 0."},
     kNotRead,
     write::LogLevel},
    {{"DynamicInData", kExact, Read, Text, "", "", "", "returns nothing", "", kNotForPeople},
     read::Nothing,
     kNotWritten},
    {{"DynamicOutData", kExact, Read, Text, "", "", "", "returns nothing", "", kNotForPeople},
     read::Nothing,
     kNotWritten},
};

constexpr bool Matches(const ParameterInfo& row, std::string_view key) {
    return row.contained ? key.find(row.key) != key.npos : key == row.key;
}

// Hosts rely on the order in which keys are tried. It matters only where two rows match one key: no
// row matches another's name, and of the two rows that match by containment the I/O level comes
// first.
constexpr bool NoRowTakesAnothersName() {
    for (const Key& row : kKeys) {
        for (const Key& other : kKeys) {
            if (&row != &other && Matches(row.info, other.info.key)) {
                return false;
            }
        }
    }
    return true;
}
static_assert(NoRowTakesAnothersName());

constexpr bool ContainedKeysInOrder() {
    constexpr std::string_view kOrder[] = {"IOEnableElectricalLevel", "CameraMold"};
    std::size_t next = 0;
    for (const Key& row : kKeys) {
        if (row.info.contained) {
            if (next == std::size(kOrder) || row.info.key != kOrder[next++]) {
                return false;
            }
        }
    }
    return next == std::size(kOrder);
}
static_assert(ContainedKeysInOrder());

constexpr bool AccessIsWhatRowsDo() {
    return std::all_of(std::begin(kKeys), std::end(kKeys), [](const Key& row) {
        const KeyAccess access = row.info.access;
        return row.read.has_value() == (access == KeyAccess::Read || access == ReadWrite) &&
               row.write.has_value() == (access != KeyAccess::Read);
    });
}
static_assert(AccessIsWhatRowsDo());

constexpr auto kInfo = [] {
    std::array<ParameterInfo, std::size(kKeys)> info{};
    std::transform(std::begin(kKeys), std::end(kKeys), info.begin(),
                   [](const Key& row) { return row.info; });
    return info;
}();

// The first row that matches the key and offers this access; null: the key names a camera feature.
template <typename Way>
const Key* Find(std::string_view key, Way way) {
    for (const Key& row : kKeys) {
        if ((row.*way).has_value() && Matches(row.info, key)) {
            return &row;
        }
    }
    return nullptr;
}

}  // namespace

Status Keys::Get(std::string_view key, Answer& answer) {
    if (const Key* const row = Find(key, &Key::read)) {
        return (*row->read)(m_module, answer);
    }
    std::string text;
    const Status status = m_module.features.Read(key, text);
    answer.Text(text, kFeatureTextSize);
    return status;
}

Status Keys::Set(std::string_view key, const Value& value) {
    if (const Key* const row = Find(key, &Key::write)) {
        return (*row->write)(m_module, value);
    }
    return m_module.features.Write(key, value.Text());
}

std::span<const ParameterInfo> AllParameterInfo() {
    return kInfo;
}

const ParameterInfo* FindParameterInfo(std::string_view key) {
    const auto found = std::find_if(kInfo.begin(), kInfo.end(),
                                    [&](const ParameterInfo& info) { return Matches(info, key); });
    return found != kInfo.end() ? &*found : nullptr;
}

}  // namespace cam
