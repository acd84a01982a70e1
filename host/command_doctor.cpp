// doctor: looks for what keeps cameras from working well.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "host/commands.h"
#include "host/console.h"
#include "host/doctor.h"
#include "host/module_library.h"
#include "host/print.h"
#include "host/text.h"

namespace host {
namespace {

const char* VerdictText(Verdict verdict) {
    switch (verdict) {
        case Verdict::Good:
            return "ok";
        case Verdict::Advice:
            return "advice";
        case Verdict::Problem:
            return "problem";
    }
    return "";
}

std::vector<CameraRecord> Chosen(const CameraInspector& inspector, const Options& options) {
    std::vector<CameraRecord> cameras = inspector.Cameras(!options.genTLPath.empty());
    const std::string wanted = options.address ? options.address->camera : options.camera;
    if (!wanted.empty()) {
        std::erase_if(cameras, [&](const CameraRecord& camera) {
            return camera.serial != wanted && camera.address != wanted;
        });
    }
    if (cameras.empty()) {
        throw Failure(ExitCode::NoCamera,
                      wanted.empty()
                          ? "no camera was found: look at its power and cable, at the addresses of "
                            "the network cards, and whether a firewall keeps UDP port 3956 closed"
                          : "there is no camera '" + wanted + "'");
    }
    return cameras;
}

Json ToJson(const CameraRecord& camera, const Finding& finding) {
    Json json;
    json["camera"] = camera.Id();
    json["check"] = finding.subject;
    json["verdict"] = VerdictText(finding.verdict);
    json["finding"] = finding.text;
    json["remedy"] = finding.remedy;
    return json;
}

void PrintFinding(const Finding& finding) {
    constexpr std::size_t kColumn = 28;
    const std::size_t width = OutputWidth() == 0 ? kUsualWidth : OutputWidth();
    std::string head = "  ";
    head += VerdictText(finding.verdict);
    head.resize(10, ' ');
    head += finding.subject;
    const std::string text =
        finding.text + (finding.remedy.empty() ? "" : "\n-> " + finding.remedy);
    if (width < 2 * kColumn) {
        constexpr std::size_t kIndent = 4;
        Print(head + "\n    " + Wrapped(text, width - kIndent, kIndent) + "\n");
        return;
    }
    head.resize(std::max(kColumn, head.size() + 2), ' ');
    Print(head + Wrapped(text, width - kColumn, kColumn) + "\n");
}

}  // namespace

ExitCode RunDoctor(const Options& options) {
    const ModuleLibrary library(options);
    const CameraInspector inspector = CameraInspector::Need("who has a camera");
    ExitCode code = ExitCode::Ok;
    Json json = Json::array();
    for (const CameraRecord& camera : Chosen(inspector, options)) {
        Patient patient{camera, {}, NetworkCards(), AskMachine()};
        std::vector<Finding> findings;
        try {
            patient.features = inspector.Features(camera.Id());
        } catch (const Failure& failure) {
            findings.push_back({"features", Verdict::Problem, failure.what(), {}});
        }
        const std::vector<Finding> examined = Examine(patient);
        findings.insert(findings.begin(), examined.begin(), examined.end());
        if (!options.json) {
            Print(camera.Id() + " (" + camera.maker + " " + camera.model + ", " + camera.transport +
                  (camera.simulated ? ", simulated" : "") + ")\n");
        }
        for (const Finding& finding : findings) {
            if (finding.verdict == Verdict::Problem) {
                code = ExitCode::Failure;
            }
            if (options.json) {
                json.push_back(ToJson(camera, finding));
            } else {
                PrintFinding(finding);
            }
        }
    }
    if (options.json) {
        PrintJson(json);
    }
    return code;
}

}  // namespace host
