#include "host/text.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <numeric>
#include <utility>

#include "camera/sdk/kz_camera_control.h"
#include "module/framework/status_codes.h"
#include "standins/module_frame/module_frame_host.h"

namespace host {
namespace {

const char* Meaning(std::uint32_t status) {
    switch (status) {
        case cam::kInvalid:
            return "not understood, or the operation failed";
        case cam::kNoResources:
            return "no resources";
        case cam::kNoImageFolder:
            return "no such folder, or it cannot be listed";
        case cam::kOpenFailed:
            return "no camera of that serial number, or it could not be looked for";
        case cam::kNoImage:
            return "no image to deliver";
        case cam::kNoCamera:
            return "no camera is open";
        case KZ_CC_E_NODE_RANGE:
            return "outside the feature's range";
        case KZ_CC_E_NODE_ACCESS:
            return "cannot be read or written now";
        case KZ_CC_E_NODE_TYPE:
            return "not of the feature's type";
        case KZ_CC_E_OPEN_REFUSED:
            return "another program has control of the camera";
        case KZ_CC_E_DEVICE_LOST:
            return "the camera does not answer";
        case kModuleFrameBadArgument:
            return "not accepted: too long, or empty";
        case kModuleFrameNoFile:
            return "the file cannot be read or written";
        default:
            return nullptr;
    }
}

char Lower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

// Letters to add, leave out or exchange (two neighbours count as one) to get from one to the other.
std::size_t EditDistance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> before;
    std::vector<std::size_t> last(to.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::vector<std::size_t> row(to.size() + 1, i);
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const bool same = Lower(from[i - 1]) == Lower(to[j - 1]);
            row[j] = std::min({row[j - 1] + 1, last[j] + 1, last[j - 1] + (same ? 0 : 1)});
            if (i > 1 && j > 1 && Lower(from[i - 1]) == Lower(to[j - 2]) &&
                Lower(from[i - 2]) == Lower(to[j - 1])) {
                row[j] = std::min(row[j], before[j - 2] + 1);
            }
        }
        before = std::exchange(last, std::move(row));
    }
    return last.back();
}

// The functions of the C library share one result; the program tells times on its main thread only.
std::string FormatTime(std::chrono::system_clock::time_point time, const char* format,
                       std::tm* (*convert)(const std::time_t*)) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count() %
        1000;
    char text[40] = {};
    if (const std::tm* const parts = convert(&seconds); parts != nullptr) {
        std::strftime(text, sizeof text, format, parts);
    }
    char fraction[8];
    std::snprintf(fraction, sizeof fraction, ".%03d", static_cast<int>(milliseconds));
    return std::string(text) + fraction;
}

template <typename Number>
std::optional<Number> Parse(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional(number)
                                                                    : std::nullopt;
}

}  // namespace

std::string Decimal(double value, int digits) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

std::optional<std::int64_t> ParseInteger(std::string_view text) {
    return Parse<std::int64_t>(text);
}

std::optional<double> ParseFloat(std::string_view text) {
    return Parse<double>(text);
}

std::string StatusText(std::uint32_t status) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%08X", status);
    const char* meaning = Meaning(status);
    return meaning == nullptr ? code : std::string(code) + " (" + meaning + ")";
}

std::vector<std::string_view> SplitFields(std::string_view text, char separator) {
    std::vector<std::string_view> fields;
    for (std::size_t end; (end = text.find(separator)) != std::string_view::npos;
         text.remove_prefix(end + 1)) {
        fields.push_back(text.substr(0, end));
    }
    fields.push_back(text);
    return fields;
}

std::size_t Columns(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
    }));
}

std::vector<std::string> WrapLines(std::string_view text, std::size_t width) {
    std::vector<std::string> lines;
    for (const std::string_view paragraph : SplitFields(text, '\n')) {
        // What a line is indented by stays in front of its first word.
        const std::size_t begin = std::min(paragraph.find_first_not_of(' '), paragraph.size());
        std::string line(paragraph.substr(0, begin));
        bool empty = true;
        for (const std::string_view word : SplitFields(paragraph.substr(begin), ' ')) {
            if (!empty && Columns(line) + 1 + Columns(word) > width) {
                lines.push_back(std::move(line));
                line.clear();
                empty = true;
            }
            line.append(empty ? "" : " ").append(word);
            empty = false;
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

std::string Wrapped(std::string_view text, std::size_t width, std::size_t indent) {
    std::string wrapped;
    for (const std::string& line : WrapLines(text, width)) {
        wrapped += (wrapped.empty() ? "" : '\n' + std::string(indent, ' ')) + line;
    }
    return wrapped;
}

std::string Shortened(std::string_view text, std::size_t length) {
    constexpr std::string_view kCut = "...";
    if (text.size() <= length) {
        return std::string(text);
    }
    return std::string(text.substr(0, length - kCut.size())).append(kCut);
}

std::string NearestWord(std::string_view mistyped, std::span<const std::string> words) {
    constexpr std::size_t kEnoughToStop = 5;
    // A third of the letters wrong is another word.
    const std::size_t farthest = std::max<std::size_t>(1, mistyped.size() / 3);
    const std::string* nearest = nullptr;
    std::size_t least = farthest + 1;
    for (const std::string& word : words) {
        std::size_t distance = EditDistance(mistyped, word);
        // People also stop early: "ExposureTme" for "ExposureTimeAbs".
        for (std::size_t length = mistyped.size(); length <= mistyped.size() + 1; ++length) {
            if (length < word.size() && length >= kEnoughToStop) {
                distance = std::min(
                    distance, EditDistance(mistyped, std::string_view(word).substr(0, length)) + 1);
            }
        }
        if (distance < least) {
            least = distance;
            nearest = &word;
        }
    }
    return nearest != nullptr ? *nearest : std::string();
}

std::string Suggestion(std::string_view mistyped, std::span<const std::string> words) {
    const std::string nearest = NearestWord(mistyped, words);
    return nearest.empty() ? nearest : " (did you mean '" + nearest + "'?)";
}

bool MatchesPattern(std::string_view text, std::string_view pattern) {
    const auto same = [](char a, char b) { return Lower(a) == Lower(b); };
    if (pattern.find_first_of("*?") == std::string_view::npos) {
        return std::search(text.begin(), text.end(), pattern.begin(), pattern.end(), same) !=
               text.end();
    }
    // Every '*' takes as little as it can; the last one is the only one worth another try.
    std::size_t at = 0;
    std::size_t next = 0;
    std::size_t star = std::string_view::npos;
    std::size_t starAt = 0;
    while (at < text.size()) {
        if (next < pattern.size() && pattern[next] == '*') {
            star = next++;
            starAt = at;
        } else if (next < pattern.size() &&
                   (pattern[next] == '?' || same(text[at], pattern[next]))) {
            ++at, ++next;
        } else if (star != std::string_view::npos) {
            next = star + 1;
            at = ++starAt;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', next) == std::string_view::npos;
}

std::string TimeOfDay(std::chrono::system_clock::time_point time) {
    return FormatTime(time, "%H:%M:%S", std::localtime);
}

std::string TimestampText(std::chrono::system_clock::time_point time) {
    return FormatTime(time, "%Y-%m-%dT%H:%M:%S", std::gmtime) + "Z";
}

}  // namespace host
