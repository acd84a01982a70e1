// The simulated cameras of the SDK stand-in, for tests and the host program; the module never sees
// this. Plain C types only.
//
// A description is a text with one camera per line (or separated by ';'); '#' starts a comment. A
// line is a kind - "gige", "usb3" or "gentl" - followed by name=value pairs; values with blanks are
// in double quotes:
//
//   gige serial=SIM0001 model=KZ-SIM-G maker=Simulated name="Line 1" ip=10.0.0.2 nic=10.0.0.1
//        width=640 height=480 format=Mono8 rate=30
//
// `format` is a PFNC name, with ":compressed" appended for the compressed variant. `events=1` lets
// the camera send "FrameStart". `interface=N` (gentl) puts it behind the Nth interface;
// `transport=N` makes its record report transport type N instead of its kind's. Omitted values have
// the defaults above, with serials counted up and events=1.
//
// The cameras come from the environment's KZ_SIM_CAMERAS (a description, or "@" and a file) when
// the library is first used, and from KZSim_Configure. KZ_REAL_CAMERAS=0 keeps real ones out of the
// enumeration (Linux); if KZ_SIM_CAMERAS and KZSim_Configure name none, there are only real ones.
//
// Widths and heights are even, at least 16 and 2. Omitted addresses are counted up from 10.0.0.2.
// Two lines with one serial are one camera found twice, as through two network cards.
//
// Frame numbers start at 1 with each KZ_CC_StartGrabbing; a missing number is a frame that a slow
// callback lost. TriggerSource starts as Software, so TriggerMode 1 and TriggerSoftware give
// frames; a free run follows AcquisitionFrameRate. User sets start in factory state: TriggerMode
// Off, TriggerSource Software. A camera that was unplugged restarts from its user set Default.
#pragma once

#include <cstddef>
#include <cstdint>

#include "camera/sdk/pixel_format.h"

// The number of a test picture's frame, which its first four pixels carry as grey values, lowest
// byte first. `pixels`: Mono8, or RGB8 where `pixelType` says so; at least four of them. Exact for
// frames sent in these formats or in BGR8, and for Mono10 to Mono16 converted to Mono8 by keeping
// the upper eight bits.
[[nodiscard]] inline std::uint32_t KZSim_FrameNumberIn(const std::uint8_t* pixels,
                                                       std::uint32_t pixelType) {
    const std::size_t stride = pixelType == pixel_format::kRGB8 ? 3 : 1;
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < sizeof number; ++i) {
        number |= std::uint32_t{pixels[i * stride]} << (8 * i);
    }
    return number;
}

extern "C" {

// Replaces the set of simulated cameras. Open handles keep their camera, which is unplugged.
// Returns 0, or the 1-based wrong line; then nothing changes.
std::uint32_t KZSim_Configure(const char* description);

// Copies the word that makes a description wrong, at most size-1 characters; empty if the
// description is right or no single word is wrong (a quote is not closed, a text is too long).
void KZSim_WrongWord(const char* description, char* word, std::uint32_t size);

// Keeps real cameras in or out of the enumeration.
void KZSim_UseRealCameras(bool use);

// Faults of one camera ("" = the library itself), instead of those set before ("" sets none):
//   open=CODE       KZ_CC_OpenDevice returns CODE       create=CODE   KZ_CC_CreateHandle does
//   packet=N        the optimal packet size             missing=NAME  no such feature
//   refuse=NAME:CODE  writes of NAME return CODE        start=CODE / stop=CODE  grabbing calls do
//   range=NAME:N    the next N writes of NAME return KZ_CC_E_NODE_RANGE
//   slow=FUNCTION:MS  calls of FUNCTION take MS longer ("KZ_CC_StopGrabbing")
//   fail=FUNCTION:CODE  calls of FUNCTION return CODE and do nothing
//   short=N         frames report N bytes less than they hold
//   decode=CODE     decoding returns CODE               convert=CODE  conversion does
//   claimed=N       both report N bytes written
//   stopswait=1     stopping, closing and destroying wait for the exception or event callback in
//                   progress, too, except on its own thread
//   interface=N:CODE  ("") GenTL interface N cannot list its devices
//   list=N          ("") each list starts with a null record and claims N records
// For the library itself, slow and fail apply to the enumerating functions.
// Several are separated by blanks. CODEs are hexadecimal with 0x or decimal. False: not understood.
bool KZSim_SetFaults(const char* serial, const char* faults);

// Unplugs the device: its exception callback comes (KZ_EXCEPTION_DISCONNECTED), frames end, calls
// return KZ_CC_E_DEVICE_LOST, no enumeration lists it. Returns without waiting for the callback.
bool KZSim_Unplug(const char* serial);
bool KZSim_Plug(const char* serial);
// An exception callback with any message type, without losing the device.
bool KZSim_RaiseException(const char* serial, std::uint32_t messageType);
// An event callback, as if the camera had sent it.
bool KZSim_RaiseEvent(const char* serial, const char* eventName);

// One frame as given, on the camera's own delivery thread, regardless of the trigger; returns when
// the callback has returned. `info` is a FrameOutInfo; null data or info are passed on as they are.
// False when the camera is not grabbing with a callback registered. Must not be called from a
// callback.
bool KZSim_DeliverFrame(const char* serial, const void* data, const void* info);

// Frames that this camera delivered to a callback since it was configured.
std::uint64_t KZSim_FramesDelivered(const char* serial);

// The calls on a camera since the journal was cleared, one per line, oldest first:
// "KZ_CC_SetEnumValue TriggerMode 1" "KZ_CC_OpenDevice 3" "KZ_CC_StopGrabbing" Reads, conversions
// and decodings are omitted, and everything after the first 4 MiB. Copies at most size-1 characters
// and returns the full length.
std::uint32_t KZSim_Journal(const char* serial, char* text, std::uint32_t size);
void KZSim_ClearJournal(const char* serial);

// Handles created and not destroyed, in the process.
std::uint32_t KZSim_OpenHandles();

// Calls of the enumerating functions that came while another was in progress, in the process. Such
// a call returns KZ_CC_E_CALL_ORDER and finds nothing.
std::uint32_t KZSim_EnumerationOverlaps();

// `hook` runs inside each call of KZ_CC_EnumDevices and KZ_CC_EnumInterfacesByGenTL; null removes
// it.
void KZSim_SetEnumerationHook(void (*hook)(void* user), void* user);

// Compresses pixels as the simulator's compressed formats do, for tests. Returns the length, 0 when
// `capacity` is too small.
std::uint32_t KZSim_Compress(std::uint32_t pixelType, const std::uint8_t* pixels,
                             std::uint32_t length, std::uint8_t* destination,
                             std::uint32_t capacity);

}  // extern "C"
