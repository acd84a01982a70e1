// Small text helpers of the program: numbers, status codes, the module's value texts, suggestions.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace host {

[[nodiscard]] std::string Decimal(double value, int digits);

// The whole text as a number; nothing for any other text.
[[nodiscard]] std::optional<std::int64_t> ParseInteger(std::string_view text);
[[nodiscard]] std::optional<double> ParseFloat(std::string_view text);

// "0xE0000409 (no image to deliver)"; the code alone when it is none of the usual.
[[nodiscard]] std::string StatusText(std::uint32_t status);

// The fields of a value text, which stand between '$'.
[[nodiscard]] std::vector<std::string_view> SplitFields(std::string_view text,
                                                        char separator = '$');

// Columns that a UTF-8 text takes, one for each character.
[[nodiscard]] std::size_t Columns(std::string_view text);

// The text in lines of at most so many columns, broken at blanks; a word that is longer has a line
// of its own. Line breaks of the text stay.
[[nodiscard]] std::vector<std::string> WrapLines(std::string_view text, std::size_t width);

// The same in one text; every line but the first is indented.
[[nodiscard]] std::string Wrapped(std::string_view text, std::size_t width, std::size_t indent);

// The text in at most so many characters (3 or more), the last ones "..." where it is longer. For
// texts without characters beyond ASCII.
[[nodiscard]] std::string Shortened(std::string_view text, std::size_t length);

// The word that was most likely meant: the nearest one by letters added, left out and exchanged,
// whatever their case. Empty where none is near.
[[nodiscard]] std::string NearestWord(std::string_view mistyped,
                                      std::span<const std::string> words);
// " (did you mean 'X'?)", or nothing.
[[nodiscard]] std::string Suggestion(std::string_view mistyped, std::span<const std::string> words);

// True where the text holds the pattern, whatever the case of their letters; '*' and '?' in the
// pattern stand for any text and any character, and then the whole text has to match.
[[nodiscard]] bool MatchesPattern(std::string_view text, std::string_view pattern);

// "14:03:09.123", local time.
[[nodiscard]] std::string TimeOfDay(std::chrono::system_clock::time_point time);
// "2026-11-21T14:03:09.123Z", universal time.
[[nodiscard]] std::string TimestampText(std::chrono::system_clock::time_point time);

}  // namespace host
