// Rows of cells, for people and for programs.
#pragma once

#include <string>
#include <vector>

namespace host {

// For a terminal: a heading and columns that line up within its width - the last column wraps, and
// where the others leave it no room each row is a block of lines. For another program: no heading,
// one tab between two cells, so that `cut -f` finds its way.
class Table {
  public:
    explicit Table(std::vector<std::string> heading) : m_heading(std::move(heading)) {}

    void Add(std::vector<std::string> row) { m_rows.push_back(std::move(row)); }

    // `width`: columns of the terminal; 0: for a program.
    [[nodiscard]] std::string Text(std::size_t width) const;

  private:
    [[nodiscard]] std::string Tabbed() const;
    [[nodiscard]] std::string Aligned(const std::vector<std::size_t>& widths,
                                      std::size_t width) const;
    [[nodiscard]] std::string Blocks(std::size_t width) const;

    std::vector<std::string> m_heading;
    std::vector<std::vector<std::string>> m_rows;
};

}  // namespace host
