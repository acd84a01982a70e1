// What a commissioning tool needs to know about cameras beyond the SDK functions that the module
// uses: who controls a camera, and what features it has. The module never sees this, and a vendor's
// SDK lacks it, so a tool looks the functions up at run time. Plain C types only.
//
// Nothing here changes a camera or takes control of it. Texts are UTF-8, NUL-terminated and valid
// during the call of the visitor; an unknown one is empty. The functions return 0 or a KZ_CC_E_...
// code, may be called from any thread but not from a frame callback, and call the visitor on the
// caller's thread.
#pragma once

#include <cstdint>

#include "camera/sdk/kz_camera_control.h"

extern "C" {

enum KZInspectAccess : std::uint32_t {
    KZ_INSPECT_UNKNOWN = 0,
    KZ_INSPECT_FREE = 1,         // can be opened
    KZ_INSPECT_CONTROLLED = 2,   // a program, perhaps this one, has control
    KZ_INSPECT_UNREACHABLE = 3,  // is listed, but does not answer at its address
};

struct KZInspectCamera {
    const char* serial;
    const char* name;  // user-defined
    const char* model;
    const char* maker;
    const char* transport;     // "GigE Vision", "USB3 Vision", "GenTL"
    const char* address;       // a.b.c.d; GigE Vision only, as all below
    const char* subnetMask;    // the camera's own
    const char* localAddress;  // of the network card that reaches it
    const char* owner;         // address of the program in control, if the camera reports it
    KZInspectAccess access;
    bool simulated;
};
using KZInspectCameraVisitor = void (*)(void* user, const KZInspectCamera* camera);

// Enumerates cameras. Two paths to one camera, or two cameras with one serial number, count as two.
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
    const char* minimum;  // numbers; empty: none reported
    const char* maximum;
    const char* increment;
    const KZInspectEntry* entries;  // of an enumeration: those available now
    std::uint32_t entryCount;
    KZNodeType type;
    bool readable;
    bool writable;  // now; it may be locked while the camera sends frames
};
using KZInspectFeatureVisitor = void (*)(void* user, const KZInspectFeature* feature);

// The features of a camera in its own order, or the one of that name (KZ_CC_E_NODE_MISSING if there
// is none); null: all. `camera` is a serial number or an address a.b.c.d. A camera that this
// process has open is read through its handle, any other one alongside its owner.
std::uint32_t KZInspect_Features(const char* camera, const char* name,
                                 KZInspectFeatureVisitor visitor, void* user);

}  // extern "C"
