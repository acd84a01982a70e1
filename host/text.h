// Small text helpers of the program: numbers, status codes, the module's value texts, tables.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace host {

[[nodiscard]] std::string Decimal(double value, int digits);

// "0xE0000409 (no image to deliver)"; the code alone when it is none of the usual.
[[nodiscard]] std::string StatusText(std::uint32_t status);

// The fields of a value text, which stand between '$'.
[[nodiscard]] std::vector<std::string_view> SplitFields(std::string_view text,
                                                        char separator = '$');

// The text in at most so many characters (3 or more), the last ones "..." where it is longer. For
// texts without characters beyond ASCII.
[[nodiscard]] std::string Shortened(std::string_view text, std::size_t length);

// Rows of cells. For a terminal: a heading, columns lined up. For another program: no heading, one
// tab between two cells, so that `cut -f` finds its way.
class Table {
  public:
    explicit Table(std::vector<std::string> heading) : m_heading(std::move(heading)) {}

    void Add(std::vector<std::string> row) { m_rows.push_back(std::move(row)); }

    [[nodiscard]] std::string Text(bool forTerminal) const;

  private:
    std::vector<std::string> m_heading;
    std::vector<std::vector<std::string>> m_rows;
};

}  // namespace host
