#include "standins/module_frame/solution_file.h"

#include <utility>

namespace module_frame {
namespace {

constexpr std::string_view kFirstLine = "module-solution 1";
constexpr std::string_view kParam = "param";
constexpr std::string_view kModuleData = "module-data";
constexpr std::string_view kBinary = "binary";
constexpr std::string_view kLastLine = "end";
constexpr std::uint32_t kMaxBinarySize = 16U << 20;

void AppendHex(std::string& to, char byte) {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto code = static_cast<unsigned char>(byte);
    to += digits[code >> 4];
    to += digits[code & 0xF];
}

int DigitValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

std::optional<char> ByteOfHex(std::string_view text) {
    if (text.size() < 2) {
        return std::nullopt;
    }
    const int high = DigitValue(text[0]);
    const int low = DigitValue(text[1]);
    if (high < 0 || low < 0) {
        return std::nullopt;
    }
    return static_cast<char>(high << 4 | low);
}

std::optional<std::string> BytesOfHex(std::string_view text) {
    std::string bytes;
    bytes.reserve(text.size() / 2);
    for (; !text.empty(); text.remove_prefix(2)) {
        const std::optional<char> byte = ByteOfHex(text);
        if (!byte) {
            return std::nullopt;
        }
        bytes += *byte;
    }
    return bytes;
}

std::string HexOfBytes(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char byte : bytes) {
        AppendHex(text, byte);
    }
    return text;
}

void AppendQuoted(std::string& to, std::string_view text) {
    to += '"';
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (code < 0x20 || code == 0x7F) {
            to += "\\x";
            AppendHex(to, c);
        } else {
            if (c == '"' || c == '\\') {
                to += '\\';
            }
            to += c;
        }
    }
    to += '"';
}

void AppendLine(std::string& to, std::string_view kind, std::string_view first,
                std::string_view second) {
    to += kind;
    to += ' ';
    AppendQuoted(to, first);
    to += ' ';
    AppendQuoted(to, second);
    to += '\n';
}

// Removes a blank and a quoted text from the front of `line`.
std::optional<std::string> TakeQuoted(std::string_view& line) {
    if (!line.starts_with(" \"")) {
        return std::nullopt;
    }
    line.remove_prefix(2);
    std::string text;
    while (!line.empty()) {
        const char c = line.front();
        line.remove_prefix(1);
        if (c == '"') {
            return text;
        }
        if (c == '\0') {
            return std::nullopt;
        }
        if (c != '\\') {
            text += c;
        } else if (line.starts_with('"') || line.starts_with('\\')) {
            text += line.front();
            line.remove_prefix(1);
        } else if (line.starts_with('x')) {
            const std::optional<char> byte = ByteOfHex(line.substr(1));
            if (!byte || *byte == '\0') {
                return std::nullopt;
            }
            text += *byte;
            line.remove_prefix(3);
        } else {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

// What follows `kind` on a line: two quoted texts and nothing more.
std::optional<std::pair<std::string, std::string>> ReadPair(std::string_view line,
                                                            std::string_view kind) {
    line.remove_prefix(kind.size());
    std::optional<std::string> first = TakeQuoted(line);
    if (!first) {
        return std::nullopt;
    }
    std::optional<std::string> second = TakeQuoted(line);
    if (!second || !line.empty()) {
        return std::nullopt;
    }
    return std::pair(std::move(*first), std::move(*second));
}

// The next line, which must be terminated; an editor may have added a carriage return.
std::optional<std::string_view> TakeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

// Adds one line to the solution; false when it is damaged or too much.
bool ReadLine(std::string_view line, Solution& solution) {
    if (line == kModuleData) {
        solution.hasModuleData = true;
        return true;
    }
    if (line.starts_with(kParam)) {
        auto param = ReadPair(line, kParam);
        if (!param || !FitsName(param->first) || !FitsValue(param->second) ||
            solution.params.size() == kFrameworkMaxEntries) {
            return false;
        }
        solution.params.push_back({std::move(param->first), std::move(param->second)});
        return true;
    }
    if (line.starts_with(kBinary)) {
        auto item = ReadPair(line, kBinary);
        if (!item || !FitsName(item->first) ||
            solution.binaries.size() == std::size_t{kFrameworkMaxBinaryItems}) {
            return false;
        }
        std::optional<std::string> data = BytesOfHex(item->second);
        if (!data || data->size() > kMaxBinarySize) {
            return false;
        }
        solution.binaries.push_back({std::move(item->first), std::move(*data)});
        return true;
    }
    return false;
}

}  // namespace

std::string FormatSolution(const Solution& solution) {
    std::string text(kFirstLine);
    text += '\n';
    for (const NamedValue& param : solution.params) {
        AppendLine(text, kParam, param.name, param.value);
    }
    if (solution.hasModuleData) {
        text += kModuleData;
        text += '\n';
    }
    for (const BinaryItem& item : solution.binaries) {
        AppendLine(text, kBinary, item.name, HexOfBytes(item.data));
    }
    text += kLastLine;
    text += '\n';
    return text;
}

std::optional<Solution> ParseSolution(std::string_view text) {
    if (TakeLine(text) != kFirstLine) {
        return std::nullopt;
    }
    Solution solution;
    while (true) {
        const std::optional<std::string_view> line = TakeLine(text);
        if (line == kLastLine) {
            break;
        }
        if (!line || !ReadLine(*line, solution)) {
            return std::nullopt;
        }
    }
    if (!text.empty()) {
        return std::nullopt;
    }
    return solution;
}

std::optional<Solution> SolutionOfRecord(const SAVE_MODULE_DATA_PARAM& record) {
    const ModuleParamList& params = record.params;
    if (params.nNum < 0 || static_cast<std::uint32_t>(params.nNum) > kFrameworkMaxEntries ||
        record.binaryCount < 0 || record.binaryCount > kFrameworkMaxBinaryItems) {
        return std::nullopt;
    }
    Solution solution;
    solution.hasModuleData = record.hasModuleData != 0;
    for (std::int32_t i = 0; i < params.nNum; ++i) {
        const ModuleParamEntry& entry = params.entries[i];
        const std::string_view name = FieldText(entry.name, sizeof(entry.name));
        const std::string_view value = FieldText(entry.value, sizeof(entry.value));
        if (!FitsName(name) || !FitsValue(value)) {
            return std::nullopt;
        }
        solution.params.push_back({std::string(name), std::string(value)});
    }
    for (std::int32_t i = 0; i < record.binaryCount; ++i) {
        const ModuleBinaryItem& item = record.binaries[i];
        const std::string_view name = FieldText(item.name, sizeof(item.name));
        if (!FitsName(name) || item.length > kMaxBinarySize ||
            (item.data == nullptr && item.length > 0)) {
            return std::nullopt;
        }
        solution.binaries.push_back(
            {std::string(name),
             item.length == 0 ? std::string()
                              : std::string(static_cast<const char*>(item.data), item.length)});
    }
    return solution;
}

void FillRecord(const Solution& solution, SAVE_MODULE_DATA_PARAM& record) {
    FillList(solution.params, record.params);
    record.hasModuleData = solution.hasModuleData ? 1 : 0;
    record.binaryCount = static_cast<std::int32_t>(solution.binaries.size());
    for (std::size_t i = 0; i < solution.binaries.size(); ++i) {
        const BinaryItem& source = solution.binaries[i];
        ModuleBinaryItem& item = record.binaries[i];
        FillField(item.name, sizeof(item.name), source.name);
        item.data = source.data.data();
        item.length = static_cast<std::uint32_t>(source.data.size());
    }
}

}  // namespace module_frame
