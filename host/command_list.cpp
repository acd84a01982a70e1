// list: the cameras that are there.
#include <nlohmann/json.hpp>

#include "host/camera_inspector.h"
#include "host/commands.h"
#include "host/module_session.h"
#include "host/network.h"
#include "host/print.h"

namespace host {
namespace {

// The name of the card that has the address, or the address itself.
std::string CardText(const std::string& localAddress) {
    const auto card = CardOf(ParseAddress(localAddress).value_or(0));
    return card ? card->name + " " + localAddress : localAddress;
}

std::vector<CameraRecord> FindCameras(const Options& options) {
    const ModuleLibrary library(options);
    if (const auto inspector = CameraInspector::Find()) {
        return inspector->Cameras(!options.genTLPath.empty());
    }
    PrintMessage("this camera SDK tells serial numbers and names only");
    std::vector<CameraRecord> cameras;
    ModuleSession session(options);
    for (const CameraChoice& camera : session.Cameras().cameras) {
        CameraRecord& record = cameras.emplace_back();
        record.serial = camera.serial;
        record.name = camera.name;
    }
    return cameras;
}

Json ToJson(const CameraRecord& camera) {
    Json json;
    json["serial"] = camera.serial;
    json["name"] = camera.name;
    json["model"] = camera.model;
    json["manufacturer"] = camera.maker;
    json["address"] = camera.address;
    json["interface"] = camera.localAddress.empty() ? "" : CardText(camera.localAddress);
    json["transport"] = camera.transport;
    json["access"] = AccessText(camera);
    return json;
}

}  // namespace

ExitCode RunList(const Options& options) {
    const std::vector<CameraRecord> cameras = FindCameras(options);
    if (options.json) {
        Json json = Json::array();
        for (const CameraRecord& camera : cameras) {
            json.push_back(ToJson(camera));
        }
        PrintJson(json);
        return ExitCode::Ok;
    }
    if (cameras.empty()) {
        PrintMessage("no camera was found");
        return ExitCode::Ok;
    }
    Table table(
        {"SERIAL", "NAME", "MODEL", "MANUFACTURER", "ADDRESS", "INTERFACE", "TRANSPORT", "ACCESS"});
    for (const CameraRecord& camera : cameras) {
        table.Add({camera.serial, camera.name, camera.model, camera.maker, camera.address,
                   camera.localAddress.empty() ? "" : CardText(camera.localAddress),
                   camera.transport, AccessText(camera)});
    }
    Print(table);
    return ExitCode::Ok;
}

}  // namespace host
