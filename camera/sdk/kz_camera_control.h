// The camera SDK `KZCameraControl` as the module uses it. Little-endian, 64-bit; texts are
// NUL-terminated in the system's single-byte code page unless noted otherwise.
//
// Every function returns 0 or an error code. Any thread may call any function; the SDK serialises
// the calls of one handle. Callbacks come on threads of the SDK: frames one at a time per camera.
// Stopping, closing and destroying a handle wait until a frame callback in progress has returned
// (called from inside that callback they would deadlock). A handle may be destroyed from inside its
// exception callback.
#pragma once

#include <cstddef>
#include <cstdint>

using KZHandle = void*;

inline constexpr std::uint32_t KZ_CC_OK = 0;
inline constexpr std::uint32_t KZ_CC_E_HANDLE = 0x80000001;         // no such handle
inline constexpr std::uint32_t KZ_CC_E_PARAMETER = 0x80000002;      // null or invalid argument
inline constexpr std::uint32_t KZ_CC_E_CALL_ORDER = 0x80000003;     // not in this state
inline constexpr std::uint32_t KZ_CC_E_RESOURCE = 0x80000004;       // memory or buffer too small
inline constexpr std::uint32_t KZ_CC_E_NOT_SUPPORTED = 0x80000005;  // not by this camera or format
inline constexpr std::uint32_t KZ_CC_E_NO_DATA = 0x80000006;
inline constexpr std::uint32_t KZ_CC_E_NODE_MISSING = 0x80000101;  // no such feature
inline constexpr std::uint32_t KZ_CC_E_NODE_RANGE = 0x80000102;    // value outside the range
inline constexpr std::uint32_t KZ_CC_E_NODE_ACCESS = 0x80000103;   // not writable or readable now
inline constexpr std::uint32_t KZ_CC_E_NODE_TYPE = 0x80000104;     // feature is of another type
inline constexpr std::uint32_t KZ_CC_E_OPEN_REFUSED = 0x80000201;  // another user has control
inline constexpr std::uint32_t KZ_CC_E_DEVICE_LOST = 0x80000206;   // the camera does not respond

inline constexpr std::uint32_t KZ_TRANSPORT_GIGE = 1;
inline constexpr std::uint32_t KZ_TRANSPORT_USB3 = 4;

inline constexpr std::uint32_t KZ_ACCESS_EXCLUSIVE = 1;
inline constexpr std::uint32_t KZ_ACCESS_CONTROL = 3;

inline constexpr std::uint32_t KZ_EXCEPTION_DISCONNECTED = 0x8001;

inline constexpr std::uint32_t KZ_TRANSMISSION_UNICAST = 0;
inline constexpr std::uint32_t KZ_TRANSMISSION_UNICAST_AND_MULTICAST = 0x10001;

// GenICam interface types of a node.
enum KZNodeType : std::uint32_t {
    KZ_NODE_VALUE = 0,
    KZ_NODE_BASE = 1,
    KZ_NODE_INTEGER = 2,
    KZ_NODE_BOOLEAN = 3,
    KZ_NODE_COMMAND = 4,
    KZ_NODE_FLOAT = 5,
    KZ_NODE_STRING = 6,
    KZ_NODE_REGISTER = 7,
    KZ_NODE_CATEGORY = 8,
    KZ_NODE_ENUMERATION = 9,
    KZ_NODE_ENUM_ENTRY = 10,
    KZ_NODE_PORT = 11,
};

// IP addresses are packed a<<24 | b<<16 | c<<8 | d for a.b.c.d.
struct KZGigEDeviceInfo {
    std::uint32_t ipConfigOption;
    std::uint32_t ipConfigCurrent;
    std::uint32_t currentIp;
    std::uint32_t subnetMask;
    std::uint32_t gateway;
    char manufacturerName[32];
    char modelName[32];
    char deviceVersion[32];
    char manufacturerInfo[48];
    char serialNumber[16];
    char userDefinedName[16];
    std::uint32_t netExportIp;  // of the network card that reaches the camera
    std::uint32_t reserved[4];
};

struct KZUsb3DeviceInfo {
    std::uint8_t controlInEndpoint;
    std::uint8_t controlOutEndpoint;
    std::uint8_t streamEndpoint;
    std::uint8_t eventEndpoint;
    std::uint16_t vendorId;
    std::uint16_t productId;
    std::uint32_t deviceNumber;
    char deviceGuid[64];
    char vendorName[64];
    char modelName[64];
    char familyName[64];
    char deviceVersion[64];
    char manufacturerName[64];
    char serialNumber[64];
    char userDefinedName[64];
    std::uint32_t usbVersion;
    std::uint32_t deviceAddress;
    std::uint32_t reserved[2];
};

struct CameraDeviceInfo {
    std::uint16_t majorVersion;
    std::uint16_t minorVersion;
    std::uint32_t macAddressHigh;
    std::uint32_t macAddressLow;
    std::uint32_t transportType;  // KZ_TRANSPORT_GIGE or KZ_TRANSPORT_USB3
    std::uint32_t reserved[4];
    union {
        KZGigEDeviceInfo gige;
        KZUsb3DeviceInfo usb3;
    };
};
static_assert(sizeof(CameraDeviceInfo) == 572);
static_assert(offsetof(CameraDeviceInfo, transportType) == 12);
static_assert(offsetof(CameraDeviceInfo, gige.currentIp) == 40);
static_assert(offsetof(CameraDeviceInfo, gige.manufacturerName) == 52);
static_assert(offsetof(CameraDeviceInfo, gige.modelName) == 84);
static_assert(offsetof(CameraDeviceInfo, gige.serialNumber) == 196);
static_assert(offsetof(CameraDeviceInfo, gige.userDefinedName) == 212);
static_assert(offsetof(CameraDeviceInfo, gige.netExportIp) == 228);
static_assert(offsetof(CameraDeviceInfo, usb3.vendorName) == 108);
static_assert(offsetof(CameraDeviceInfo, usb3.modelName) == 172);
static_assert(offsetof(CameraDeviceInfo, usb3.manufacturerName) == 364);
static_assert(offsetof(CameraDeviceInfo, usb3.serialNumber) == 428);
static_assert(offsetof(CameraDeviceInfo, usb3.userDefinedName) == 492);

// One text per field, 64 bytes each.
struct GenTLDeviceInfo {
    char interfaceId[64];
    char deviceId[64];
    char vendorName[64];
    char modelName[64];
    char transportLayerType[64];
    char displayName[64];
    char userDefinedName[64];
    char serialNumber[64];
    char deviceVersion[64];
    std::uint32_t producerIndex;
    std::uint32_t reserved[8];
};
static_assert(sizeof(GenTLDeviceInfo) == 612);
static_assert(offsetof(GenTLDeviceInfo, vendorName) == 128);
static_assert(offsetof(GenTLDeviceInfo, modelName) == 192);
static_assert(offsetof(GenTLDeviceInfo, userDefinedName) == 384);
static_assert(offsetof(GenTLDeviceInfo, serialNumber) == 448);

struct GenTLInterfaceInfo {
    char interfaceId[64];
    char transportLayerType[64];
    char displayName[64];
    std::uint32_t producerIndex;
    std::uint32_t reserved[8];
};
static_assert(offsetof(GenTLInterfaceInfo, displayName) == 128);

inline constexpr std::uint32_t KZ_MAX_DEVICES = 256;

// The records belong to the SDK and stay valid until the next enumeration of that kind.
struct KZDeviceList {
    std::uint32_t count;
    CameraDeviceInfo* devices[KZ_MAX_DEVICES];
};
struct GenTLInterfaceList {
    std::uint32_t count;
    GenTLInterfaceInfo* interfaces[KZ_MAX_DEVICES];
};
struct GenTLDeviceList {
    std::uint32_t count;
    GenTLDeviceInfo* devices[KZ_MAX_DEVICES];
};

// Describes one frame; the record and the pixels are valid during the callback only.
struct FrameOutInfo {
    std::uint16_t width;      // pixels per line
    std::uint16_t height;     // lines
    std::uint32_t pixelType;  // pixel_format.h
    std::uint32_t frameNumber;
    std::uint32_t deviceTimestampHigh;
    std::uint32_t deviceTimestampLow;
    std::uint32_t reserved0;
    std::int64_t hostTimestamp;  // milliseconds
    std::uint32_t frameLength;   // bytes received
    std::uint32_t lostPackets;
    std::uint8_t reserved1[56];
    std::uint32_t tagValue;
    std::uint8_t reserved2[156];
};
static_assert(sizeof(FrameOutInfo) == 256);
static_assert(offsetof(FrameOutInfo, frameNumber) == 8);
static_assert(offsetof(FrameOutInfo, frameLength) == 32);
static_assert(offsetof(FrameOutInfo, tagValue) == 96);

struct HbDecodeParam {
    const std::uint8_t* source;
    std::uint32_t sourceLength;
    std::uint8_t reserved0[12];
    std::uint8_t* destination;
    std::uint32_t destinationCapacity;
    std::uint32_t decodedLength;     // out
    std::uint32_t decodedPixelType;  // out
    std::uint8_t reserved1[156];
};
static_assert(sizeof(HbDecodeParam) == 200);
static_assert(offsetof(HbDecodeParam, destination) == 24);
static_assert(offsetof(HbDecodeParam, destinationCapacity) == 32);
static_assert(offsetof(HbDecodeParam, decodedLength) == 36);
static_assert(offsetof(HbDecodeParam, decodedPixelType) == 40);

struct PixelConvertParam {
    std::uint16_t width;
    std::uint16_t height;
    std::uint32_t sourcePixelType;
    const std::uint8_t* source;
    std::uint32_t sourceLength;
    std::uint32_t destinationPixelType;
    std::uint8_t* destination;
    std::uint32_t convertedLength;  // out
    std::uint32_t destinationCapacity;
    std::uint8_t reserved[16];
};
static_assert(sizeof(PixelConvertParam) == 56);
static_assert(offsetof(PixelConvertParam, source) == 8);
static_assert(offsetof(PixelConvertParam, destination) == 24);
static_assert(offsetof(PixelConvertParam, convertedLength) == 32);
static_assert(offsetof(PixelConvertParam, destinationCapacity) == 36);

struct KZIntValue {
    std::uint32_t current;
    std::uint32_t maximum;
    std::uint32_t minimum;
    std::uint32_t increment;
    std::uint32_t reserved[4];
};

struct KZFloatValue {
    float current;
    float maximum;
    float minimum;
    std::uint32_t reserved[4];
};

inline constexpr std::uint32_t KZ_MAX_ENUM_ENTRIES = 64;
struct KZEnumValue {
    std::uint32_t current;
    std::uint32_t supportedCount;
    std::uint32_t supported[KZ_MAX_ENUM_ENTRIES];
    std::uint32_t reserved[4];
};

struct KZStringValue {
    char current[256];
    std::int64_t maximumLength;
    std::uint32_t reserved[2];
};

struct KZTransmissionType {
    std::uint32_t type;                // KZ_TRANSMISSION_...
    std::uint32_t destinationAddress;  // packed like every IP address here
    std::uint16_t destinationPort;
    std::uint16_t reserved[33];
};
static_assert(offsetof(KZTransmissionType, destinationPort) == 8);

inline constexpr std::uint32_t KZ_MATCH_INFO_GIGE = 1;
inline constexpr std::uint32_t KZ_MATCH_INFO_USB3 = 2;

struct KZGigEMatchInfo {
    std::int64_t receivedBytes;
    std::int64_t lostPackets;
    std::uint32_t lostFrames;
    std::uint32_t receivedFrames;
    std::int64_t requestedResends;
    std::int64_t resentPackets;
};
static_assert(sizeof(KZGigEMatchInfo) == 40);
static_assert(offsetof(KZGigEMatchInfo, lostPackets) == 8);
static_assert(offsetof(KZGigEMatchInfo, lostFrames) == 16);

struct KZUsb3MatchInfo {
    std::int64_t receivedBytes;
    std::uint32_t receivedFrames;
    std::uint32_t errorFrames;
    std::uint32_t reserved[2];
};
static_assert(sizeof(KZUsb3MatchInfo) == 24);
static_assert(offsetof(KZUsb3MatchInfo, errorFrames) == 12);

struct KZMatchInfo {
    std::uint32_t type;  // KZ_MATCH_INFO_...
    std::uint32_t size;  // of the record at `info`
    void* info;
};

struct KZEventInfo {
    char name[128];
    std::uint16_t eventId;
    std::uint16_t streamChannel;
    std::uint32_t blockIdHigh;
    std::uint32_t blockIdLow;
    std::uint32_t timestampHigh;
    std::uint32_t timestampLow;
    void* data;
    std::uint32_t dataSize;
    std::uint32_t reserved[16];
};

extern "C" {

using KZImageCallback = void (*)(std::uint8_t* data, FrameOutInfo* info, void* user);
using KZExceptionCallback = void (*)(std::uint32_t messageType, void* user);
using KZEventCallback = void (*)(KZEventInfo* event, void* user);

// `transportMask`: KZ_TRANSPORT_... or-ed.
std::uint32_t KZ_CC_EnumDevices(std::uint32_t transportMask, KZDeviceList* list);
// `path`: that of the GenTL producers, in the system's single-byte code page.
std::uint32_t KZ_CC_EnumInterfacesByGenTL(GenTLInterfaceList* list, const char* path);
std::uint32_t KZ_CC_EnumDevicesByGenTL(const GenTLInterfaceInfo* interfaceInfo,
                                       GenTLDeviceList* list);
std::uint32_t KZ_CC_UnloadGenTLLibrary(const char* path);

std::uint32_t KZ_CC_CreateHandle(KZHandle* handle, const CameraDeviceInfo* device);
std::uint32_t KZ_CC_CreateHandleByGenTL(KZHandle* handle, const GenTLDeviceInfo* device);
std::uint32_t KZ_CC_DestroyHandle(KZHandle handle);
std::uint32_t KZ_CC_OpenDevice(KZHandle handle, std::uint32_t accessMode,
                               std::uint16_t switchoverKey);
std::uint32_t KZ_CC_CloseDevice(KZHandle handle);

std::uint32_t KZ_CC_StartGrabbing(KZHandle handle);
// Harmless on an open camera that does not grab.
std::uint32_t KZ_CC_StopGrabbing(KZHandle handle);
// A null callback unregisters. Does not wait: a frame callback in progress continues.
std::uint32_t KZ_CC_RegisterImageCallBackEx(KZHandle handle, KZImageCallback callback, void* user);
std::uint32_t KZ_CC_RegisterExceptionCallBack(KZHandle handle, KZExceptionCallback callback,
                                              void* user);
std::uint32_t KZ_CC_RegisterEventCallBackEx(KZHandle handle, const char* eventName,
                                            KZEventCallback callback, void* user);

// Features by GenICam (SFNC) name.
std::uint32_t KZ_XML_GetNodeInterfaceType(KZHandle handle, const char* name, KZNodeType* type);
std::uint32_t KZ_CC_GetIntValue(KZHandle handle, const char* name, KZIntValue* value);
std::uint32_t KZ_CC_SetIntValue(KZHandle handle, const char* name, std::uint32_t value);
std::uint32_t KZ_CC_GetFloatValue(KZHandle handle, const char* name, KZFloatValue* value);
std::uint32_t KZ_CC_SetFloatValue(KZHandle handle, const char* name, float value);
std::uint32_t KZ_CC_GetEnumValue(KZHandle handle, const char* name, KZEnumValue* value);
std::uint32_t KZ_CC_SetEnumValue(KZHandle handle, const char* name, std::uint32_t value);
std::uint32_t KZ_CC_SetEnumValueByString(KZHandle handle, const char* name, const char* entry);
std::uint32_t KZ_CC_GetBoolValue(KZHandle handle, const char* name, bool* value);
std::uint32_t KZ_CC_SetBoolValue(KZHandle handle, const char* name, bool value);
std::uint32_t KZ_CC_GetStringValue(KZHandle handle, const char* name, KZStringValue* value);
std::uint32_t KZ_CC_SetStringValue(KZHandle handle, const char* name, const char* value);
std::uint32_t KZ_CC_SetCommandValue(KZHandle handle, const char* name);
std::uint32_t KZ_CC_GetWidth(KZHandle handle, KZIntValue* value);
std::uint32_t KZ_CC_GetHeight(KZHandle handle, KZIntValue* value);

// In bytes; below 1 when it cannot be determined.
std::int32_t KZ_CC_GetOptimalPacketSize(KZHandle handle);
std::uint32_t KZ_GIGE_SetTransmissionType(KZHandle handle, const KZTransmissionType* type);
std::uint32_t KZ_CC_GetAllMatchInfo(KZHandle handle, KZMatchInfo* info);

std::uint32_t KZ_CC_HB_Decode(KZHandle handle, HbDecodeParam* param);
std::uint32_t KZ_CC_ConvertPixelType(KZHandle handle, PixelConvertParam* param);

}  // extern "C"
