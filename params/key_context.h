// What the keys act on.
#pragma once

namespace cam {

class CMyCamera;
class CameraConnection;
class FeatureAccess;
class FrameDelivery;
class FrameStore;
class LocalImages;
class Notices;
class ReceiverRegistry;
class SetUpGate;
struct ModuleEvents;
struct Settings;

struct KeyContext {
    const Notices& notices;
    Settings& settings;
    ModuleEvents& events;
    CMyCamera& camera;
    SetUpGate& setUpGate;
    CameraConnection& connection;
    FrameStore& store;
    FrameDelivery& delivery;
    LocalImages& localImages;
    ReceiverRegistry& receivers;
    FeatureAccess& features;
};

}  // namespace cam
