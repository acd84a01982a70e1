// What is told of the keys that name a feature of the camera.
#include "params/parameter_info.h"

namespace cam {

namespace {

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

std::string_view CameraFeatureNote() {
    return kFeatureNote;
}

}  // namespace cam
