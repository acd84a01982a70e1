#include "host/doctor.h"

#include <algorithm>

#include "host/text.h"

namespace host {
namespace {

constexpr std::uint64_t kUsualQueue = 50;  // "ImageCacheNum" of a module that nobody configured
constexpr std::uint64_t kFramesInHand = 4;
constexpr std::uint32_t kJumboMtu = 9000;
constexpr double kMega = 1e6;

using Findings = std::vector<Finding>;

std::string MegabyteText(std::uint64_t bytes) {
    return Decimal(static_cast<double>(bytes) / kMega, 1) + " MB";
}

std::optional<std::uint64_t> NumberOf(const Patient& patient, std::string_view name) {
    const auto found = std::find_if(patient.features.begin(), patient.features.end(),
                                    [&](const ValueInfo& feature) { return feature.name == name; });
    if (found == patient.features.end()) {
        return std::nullopt;
    }
    const auto number = ParseInteger(found->value);
    return number && *number >= 0 ? std::optional(static_cast<std::uint64_t>(*number))
                                  : std::nullopt;
}

std::string FormatOf(const Patient& patient) {
    for (const ValueInfo& feature : patient.features) {
        if (feature.name == "PixelFormat") {
            return feature.value;
        }
    }
    return {};
}

// Bytes of a frame as the camera sends it.
std::optional<std::uint64_t> SentFrame(const Patient& patient) {
    if (const auto payload = NumberOf(patient, "PayloadSize")) {
        return payload;
    }
    const auto width = NumberOf(patient, "Width");
    const auto height = NumberOf(patient, "Height");
    return width && height ? std::optional(*width * *height) : std::nullopt;
}

// Bytes of a frame as the module keeps it: one per pixel where it is grey, else three.
std::optional<std::uint64_t> KeptFrame(const Patient& patient) {
    const auto width = NumberOf(patient, "Width");
    const auto height = NumberOf(patient, "Height");
    if (!width || !height) {
        return SentFrame(patient);
    }
    return *width * *height * (FormatOf(patient).starts_with("Mono") ? 1 : 3);
}

void ExamineOwner(const Patient& patient, Findings& findings) {
    Finding finding{"owner", Verdict::Good, AccessText(patient.camera), {}};
    if (patient.camera.access == KZ_INSPECT_CONTROLLED) {
        finding.verdict = Verdict::Problem;
        finding.remedy =
            "end the program that has the camera, or wait until its heartbeat is over; "
            "get and features read beside it";
    } else if (patient.camera.access == KZ_INSPECT_UNREACHABLE) {
        finding.verdict = Verdict::Problem;
        finding.remedy = "see network; a firewall may also keep UDP port 3956 closed";
    }
    findings.push_back(finding);
}

void ExamineNetwork(const Patient& patient, Findings& findings) {
    const auto camera = ParseAddress(patient.camera.address);
    const auto local = ParseAddress(patient.camera.localAddress);
    Finding finding{"network", Verdict::Good, {}, {}};
    const auto reaches = [&](const NetworkCard& card) {
        return camera && (*camera & card.netmask) == (card.address & card.netmask);
    };
    const auto card = std::find_if(patient.cards.begin(), patient.cards.end(), reaches);
    if (!camera || !local) {
        finding.verdict = Verdict::Problem;
        finding.text = "no network card reaches " + patient.camera.address;
    } else if (card == patient.cards.end()) {
        finding.verdict = Verdict::Problem;
        finding.text = "no network card is in the subnet of " + patient.camera.address;
    } else {
        finding.text = patient.camera.address + " through " + card->name + " (" +
                       patient.camera.localAddress + ", MTU " + std::to_string(card->mtu) + ")";
    }
    if (finding.verdict == Verdict::Problem) {
        finding.remedy = "give the camera and the card addresses in one subnet";
    }
    findings.push_back(finding);
    if (card == patient.cards.end()) {
        return;
    }
    const auto packet = NumberOf(patient, "GevSCPSPacketSize");
    Finding size{"packet size",
                 Verdict::Good,
                 packet ? std::to_string(*packet) + " bytes" : "the camera does not tell it",
                 {}};
    if (packet && card->mtu > 0 && *packet > card->mtu) {
        size.verdict = Verdict::Problem;
        size.text += ", more than the card's MTU of " + std::to_string(card->mtu);
        size.remedy = "ip link set " + card->name + " mtu " + std::to_string(kJumboMtu) +
                      ", or set GevSCPSPacketSize to at most " + std::to_string(card->mtu);
    } else if (card->mtu > 0 && card->mtu < kJumboMtu) {
        size.verdict = Verdict::Advice;
        size.text += ", MTU " + std::to_string(card->mtu);
        size.remedy = "with jumbo frames (MTU " + std::to_string(kJumboMtu) +
                      " on card and switch) the machine handles a sixth of the packets";
    } else if (packet && card->mtu >= kJumboMtu && *packet * 2 < kJumboMtu) {
        size.verdict = Verdict::Advice;
        size.text += ", and the card takes " + std::to_string(card->mtu);
        size.remedy = "set GevSCPSPacketSize to " + std::to_string(std::min(kJumboMtu, card->mtu));
    }
    findings.push_back(size);
}

void ExamineReceiver(const Patient& patient, Findings& findings) {
    const bool packetSocket = patient.machine.packetSocket.value_or(false);
    if (patient.machine.packetSocket) {
        findings.push_back({"packet socket", packetSocket ? Verdict::Good : Verdict::Advice,
                            packetSocket ? "may be opened" : "may not be opened by this user",
                            packetSocket ? ""
                                         : "AmbientCapabilities=CAP_NET_RAW in the systemd unit of "
                                           "the host; receiving then costs less CPU time"});
    }
    const auto frame = SentFrame(patient);
    if (patient.machine.receiveBuffer && frame) {
        const std::uint64_t limit = *patient.machine.receiveBuffer;
        const std::uint64_t wanted = 2 * *frame;
        Finding finding{"receive buffer",
                        Verdict::Good,
                        "at most " + MegabyteText(limit) + ", a frame has " + MegabyteText(*frame),
                        {}};
        if (packetSocket) {
            finding.text += "; a packet socket does without";
        } else if (limit < wanted) {
            finding.verdict = Verdict::Advice;
            finding.remedy = "sysctl -w net.core.rmem_max=" + std::to_string(wanted);
        }
        findings.push_back(finding);
    }
}

void ExamineMachine(const Patient& patient, Findings& findings) {
    if (patient.machine.threadPriority) {
        const bool may = *patient.machine.threadPriority;
        findings.push_back(
            {"thread priority", may ? Verdict::Good : Verdict::Advice,
             may ? "may be raised" : "may not be raised by this user",
             may ? "" : "LimitNICE=-10 in the systemd unit of the host, or in limits.conf"});
    }
    const auto frame = KeptFrame(patient);
    if (patient.machine.sharedMemory && frame && *frame > 0) {
        const std::uint64_t room = *patient.machine.sharedMemory / *frame;
        Finding finding{"shared memory",
                        Verdict::Good,
                        MegabyteText(*patient.machine.sharedMemory) + " free, room for " +
                            std::to_string(room) + " frames",
                        {}};
        if (room < kUsualQueue + kFramesInHand) {
            finding.verdict = room < kFramesInHand ? Verdict::Problem : Verdict::Advice;
            finding.remedy = "make room: " + MegabyteText((kUsualQueue + kFramesInHand) * *frame) +
                             " hold a full queue; or set ImageCacheNum to " +
                             std::to_string(room > kFramesInHand ? room - kFramesInHand : 1);
        }
        findings.push_back(finding);
    }
}

}  // namespace

std::vector<Finding> Examine(const Patient& patient) {
    Findings findings;
    ExamineOwner(patient, findings);
    if (!patient.camera.address.empty() && !patient.camera.simulated) {
        ExamineNetwork(patient, findings);
        ExamineReceiver(patient, findings);
    }
    ExamineMachine(patient, findings);
    return findings;
}

}  // namespace host
