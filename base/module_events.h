// The events that synchronise the threads of one module.
#pragma once

#include "module/framework/status_codes.h"
#include "platform/event.h"

namespace cam {

// Opened by Init, closed by DeInit; setting or waiting on a closed one does nothing.
struct ModuleEvents {
    platform::Event ImageArrivedEvent;   // a frame was queued, or grabbing restarted
    platform::Event ReconnectStopEvent;  // the reconnect thread's pause; set after an open
    platform::Event GrabStartedEvent;    // reset whenever grabbing is stopped on purpose
    platform::Event WakeEvent;           // the workers' pause; set when the module ends
    platform::Event EventDeinit;         // set while no frame is in the module's hands

    [[nodiscard]] Status Create() {
        Status status = kOk;
        for (platform::Event* event : {&ImageArrivedEvent, &ReconnectStopEvent, &GrabStartedEvent,
                                       &WakeEvent, &EventDeinit}) {
            if (!event->Create()) {
                status |= kNoResources;
            }
        }
        EventDeinit.Set();
        WakeEvent.Reset();
        return status;
    }

    // All but EventDeinit, which a late frame may still set.
    void Close() {
        for (platform::Event* event :
             {&ImageArrivedEvent, &ReconnectStopEvent, &GrabStartedEvent, &WakeEvent}) {
            event->Close();
        }
    }
};

}  // namespace cam
