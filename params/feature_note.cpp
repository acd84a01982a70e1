// The documentation of keys that name a camera feature.
#include "params/parameter_info.h"

namespace cam {

namespace {

constexpr std::string_view kFeatureNote =
    R"(Every other key names a feature of the open camera by its GenICam name, up to the first '_'
of the key. The format depends on the feature's type:

| Type | Read as | Written from |
|---|---|---|
| integer | value$minimum$maximum$increment$1$ | the number before the first '$' |
| float | value$minimum$maximum$1.000000$, three decimals | the number before the first '$' |
| boolean | True or False | True, in upper or lower case, before the first '$' |
| enumeration | the number, then $ and every allowed number | the number before the first '$' |
| string | the text | the whole text |
| command | - | any text executes it |

A feature that cannot be read - no camera open, no such feature, the camera refuses - reads as
`NULL$0$0$1$1$1`, with status 0 or, when the camera no longer responds, 0x80000206. A value takes
at most 256 bytes. Writing returns 0xE0000410 without a camera, 0 for a feature that the camera
does not have, 0xE0000001 for text that is not a number where one is expected and for a stream that
could not be stopped, and the camera's own status otherwise.

- Writing Width, Height, PixelFormat, GevSCPSPacketSize, AcquisitionBurstFrameCount or GevSCPD stops
  a running stream; it is restarted within 200 ms.
- Writing TriggerSource drops the queued frames.
- ExposureTime and Gain (and ExposureTimeAbs, GainRaw) are written only when they differ by 0.01 or
  more from the value last written since the camera was opened.
- A float that the camera rejects as out of range is retried 0.005 lower and then 0.005 higher.
- ExposureTimeAbs, GainRaw, AcquisitionFrameRateAbs and TriggerDelayAbs act on cameras made by
  Basler only, Gamma_Smart on KZ-QS models only; others accept and ignore them.
)";

}  // namespace

std::string_view CameraFeatureNote() {
    return kFeatureNote;
}

}  // namespace cam
