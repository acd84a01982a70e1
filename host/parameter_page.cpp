#include "host/parameter_page.h"

#include <cctype>

#include "params/parameter_info.h"

namespace host {

namespace {

constexpr std::string_view kHead = R"(# Keys of the module

The keys that a host reads with `GetParam` and writes with `SetParam`. `camera_host params --markdown`
prints this page; to change it, change the table of keys in `params/keys.cpp`.

Values are text. If a value is followed by its range, the fields are separated by `$`; a write uses the
part before the first one, so an answer can be written back unchanged. A boolean is False exactly when it
begins with `False`. A number that does not parse leaves the setting unchanged. A key marked * matches
every key that contains it; all others match as a whole.

Status codes: 0 for success, 0xE0000001 for a missing key, value, buffer or length; the others are listed
with their keys.

| Key | Access | Value | Initially | Meaning |
|---|---|---|---|---|
)";

std::string_view AccessText(cam::KeyAccess access) {
    switch (access) {
        case cam::KeyAccess::Read:
            return "read";
        case cam::KeyAccess::Write:
            return "write";
        case cam::KeyAccess::ReadWrite:
            return "read, write";
        case cam::KeyAccess::Command:
            return "command";
    }
    return "";
}

std::string_view FormText(cam::ValueForm form) {
    switch (form) {
        case cam::ValueForm::None:
            return "-";
        case cam::ValueForm::Text:
            return "text";
        case cam::ValueForm::Integer:
            return "integer";
        case cam::ValueForm::IntegerRange:
            return "`value$minimum$maximum$increment$`";
        case cam::ValueForm::Switch:
            return "`True$$$$$` or `False$$$$$`";
        case cam::ValueForm::Plain:
            return "`True` or `False`";
        case cam::ValueForm::Fields:
            return "fields separated by `$`";
        case cam::ValueForm::Choices:
            return "list of cameras";
        case cam::ValueForm::Record:
            return "64-byte `BufferNode`";
    }
    return "";
}

std::string ValueText(const cam::ParameterInfo& info) {
    std::string text(FormText(info.form));
    if (!info.unit.empty()) {
        text.append(", ").append(info.unit);
    }
    if (!info.range.empty()) {
        text.append("; ").append(info.range);
    }
    return text;
}

// The summary as a sentence, and the ones that go on from it.
std::string MeaningText(const cam::ParameterInfo& info) {
    std::string text(info.summary);
    text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
    text += '.';
    return info.details.empty() ? text : text.append(" ").append(info.details);
}

std::string InitialText(const cam::ParameterInfo& info) {
    if (!info.initial) {
        return "";
    }
    return info.initial->empty() ? "empty" : '`' + std::string(*info.initial) + '`';
}

}  // namespace

std::string ParameterPage() {
    std::string page(kHead);
    for (const cam::ParameterInfo& info : cam::AllParameterInfo()) {
        page.append("| `").append(info.key).append(info.contained ? "` * | " : "` | ");
        page.append(AccessText(info.access)).append(" | ");
        page.append(ValueText(info)).append(" | ");
        page.append(InitialText(info)).append(" | ");
        page.append(MeaningText(info)).append(" |\n");
    }
    page.append("\n## Camera features\n\n").append(cam::CameraFeatureNote());
    return page;
}

}  // namespace host
