#include "standins/kz_camera_control/simulated_cameras.h"

#include <string>

#include "standins/kz_camera_control/frame_compression.h"
#include "standins/kz_camera_control/library.h"
#include "standins/kz_camera_control/simulated/camera_description.h"

namespace {

using kz::SimulatedCamera;
using kz::TheLibrary;

// Runs `body(camera)`; returns `otherwise` when there is no such camera or on an exception.
template <typename Result, typename Body>
Result OnCamera(const char* serial, Result otherwise, Body&& body) noexcept {
    try {
        const auto camera =
            serial == nullptr ? nullptr : TheLibrary().discovery.Simulated().Find(serial);
        return camera ? body(*camera) : otherwise;
    } catch (...) {
        return otherwise;
    }
}

}  // namespace

extern "C" {

std::uint32_t KZSim_Configure(const char* description) {
    try {
        return TheLibrary().discovery.Simulated().Configure(description == nullptr ? ""
                                                                                   : description);
    } catch (...) {
        return 1;
    }
}

void KZSim_WrongWord(const char* description, char* word, std::uint32_t size) {
    if (word == nullptr || size == 0) {
        return;
    }
    word[0] = '\0';
    try {
        const std::string wrong =
            kz::ParseCameraDescription(description == nullptr ? "" : description).wrongWord;
        word[wrong.copy(word, size - 1)] = '\0';
    } catch (...) {
        // Out of memory: no word.
        word[0] = '\0';
    }
}

void KZSim_UseRealCameras(bool use) {
    TheLibrary().discovery.UseRealCameras(use);
}

bool KZSim_SetFaults(const char* serial, const char* faults) {
    if (serial == nullptr || faults == nullptr) {
        return false;
    }
    try {
        if (serial[0] == '\0') {
            return TheLibrary().discovery.Simulated().SetLibraryFaults(faults);
        }
    } catch (...) {
        return false;
    }
    return OnCamera(serial, false,
                    [&](SimulatedCamera& camera) { return camera.SetFaults(faults); });
}

bool KZSim_Unplug(const char* serial) {
    return OnCamera(serial, false, [](SimulatedCamera& camera) {
        camera.Unplug();
        return true;
    });
}

bool KZSim_Plug(const char* serial) {
    return OnCamera(serial, false, [](SimulatedCamera& camera) {
        camera.Plug();
        return true;
    });
}

bool KZSim_RaiseException(const char* serial, std::uint32_t messageType) {
    return OnCamera(serial, false,
                    [&](SimulatedCamera& camera) { return camera.RaiseException(messageType); });
}

bool KZSim_RaiseEvent(const char* serial, const char* eventName) {
    return eventName != nullptr && OnCamera(serial, false, [&](SimulatedCamera& camera) {
               return camera.RaiseEvent(eventName);
           });
}

bool KZSim_DeliverFrame(const char* serial, const void* data, const void* info) {
    return OnCamera(serial, false, [&](SimulatedCamera& camera) {
        return camera.DeliverFrame(static_cast<const std::uint8_t*>(data),
                                   static_cast<const FrameOutInfo*>(info));
    });
}

std::uint64_t KZSim_FramesDelivered(const char* serial) {
    return OnCamera(serial, std::uint64_t{0},
                    [](SimulatedCamera& camera) { return camera.FramesDelivered(); });
}

std::uint32_t KZSim_Journal(const char* serial, char* text, std::uint32_t size) {
    return OnCamera(serial, std::uint32_t{0}, [&](SimulatedCamera& camera) {
        const std::string journal = camera.Journal();
        if (text != nullptr && size > 0) {
            text[journal.copy(text, size - 1)] = '\0';
        }
        return static_cast<std::uint32_t>(journal.size());
    });
}

void KZSim_ClearJournal(const char* serial) {
    OnCamera(serial, false, [](SimulatedCamera& camera) {
        camera.ClearJournal();
        return true;
    });
}

std::uint32_t KZSim_OpenHandles() {
    return static_cast<std::uint32_t>(TheLibrary().handles.Size());
}

std::uint32_t KZSim_EnumerationOverlaps() {
    return TheLibrary().discovery.Overlaps();
}

void KZSim_SetEnumerationHook(void (*hook)(void* user), void* user) {
    TheLibrary().discovery.SetHook(hook, user);
}

std::uint32_t KZSim_Compress(std::uint32_t pixelType, const std::uint8_t* pixels,
                             std::uint32_t length, std::uint8_t* destination,
                             std::uint32_t capacity) {
    try {
        return kz::CompressFrame(pixelType, pixels, length, destination, capacity);
    } catch (...) {
        return 0;
    }
}

}  // extern "C"
