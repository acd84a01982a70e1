// What a tool for commissioning wants to know of cameras beyond what the SDK's contract with the
// module offers: who has a camera, and what features it has. The module never sees this, and a
// vendor's SDK has none of it, so a tool looks the functions up at run time. Plain C types only.
//
// Nothing here changes a camera or takes control of it, whoever has it. Texts are UTF-8, NUL-ended
// and valid during the call of the visitor; an unknown one is empty. The functions answer 0 or a
// KZ_CC_E_... code, may be called from any thread but not from a frame callback, and call the
// visitor on the caller's thread.
#pragma once

#include <cstdint>

#include "camera/sdk/kz_camera_control.h"

extern "C" {

enum KZInspectAccess : std::uint32_t {
    KZ_INSPECT_UNKNOWN = 0,
    KZ_INSPECT_FREE = 1,         // can be opened
    KZ_INSPECT_CONTROLLED = 2,   // some program has control, be it this one
    KZ_INSPECT_UNREACHABLE = 3,  // shows up, and does not answer at its address
};

struct KZInspectCamera {
    const char* serial;
    const char* name;  // given by the user
    const char* model;
    const char* maker;
    const char* transport;     // "GigE Vision", "USB3 Vision", "GenTL"
    const char* address;       // a.b.c.d; GigE Vision only, like all below
    const char* subnetMask;    // the camera's own
    const char* localAddress;  // of the network card that reaches it
    const char* owner;         // address of the program in control, where the camera tells it
    KZInspectAccess access;
    bool simulated;
};
using KZInspectCameraVisitor = void (*)(void* user, const KZInspectCamera* camera);

// Looks for cameras now. Two paths to one camera, or two cameras of one serial number, are two.
std::uint32_t KZInspect_Cameras(KZInspectCameraVisitor visitor, void* user);

struct KZInspectEntry {
    const char* name;
    std::int64_t value;
};

struct KZInspectFeature {
    const char* name;
    const char* category;
    const char* description;
    const char* value;    // numbers in decimal, True or False, an entry's name; empty: not readable
    const char* unit;     // numbers
    const char* minimum;  // numbers; empty: none told
    const char* maximum;
    const char* increment;
    const KZInspectEntry* entries;  // of an enumeration: those available now
    std::uint32_t entryCount;
    KZNodeType type;
    bool readable;
    bool writable;  // now; it may be locked while the camera sends frames
};
using KZInspectFeatureVisitor = void (*)(void* user, const KZInspectFeature* feature);

// The features of a camera in its own order, or the one of that name (KZ_CC_E_NODE_MISSING where it
// has none); null: all. `camera` is a serial number or an address a.b.c.d. A camera that this
// process has open is read through its handle, any other one beside its owner.
std::uint32_t KZInspect_Features(const char* camera, const char* name,
                                 KZInspectFeatureVisitor visitor, void* user);

}  // extern "C"
