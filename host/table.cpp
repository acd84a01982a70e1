#include "host/table.h"

#include <algorithm>
#include <cctype>

#include "host/text.h"

namespace host {
namespace {

constexpr std::size_t kGap = 2;
// A last column narrower than this reads worse than a block.
constexpr std::size_t kNarrowest = 24;

std::string LowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

}  // namespace

std::string Table::Text(std::size_t width) const {
    if (width == 0) {
        return Tabbed();
    }
    std::vector<std::size_t> widths(m_heading.size(), 0);
    const auto widen = [&](const std::vector<std::string>& row) {
        for (std::size_t i = 0; i < row.size() && i < widths.size(); ++i) {
            widths[i] = std::max(widths[i], Columns(row[i]));
        }
    };
    widen(m_heading);
    std::for_each(m_rows.begin(), m_rows.end(), widen);
    std::size_t lastColumn = 0;  // where it begins
    for (std::size_t i = 0; i + 1 < widths.size(); ++i) {
        lastColumn += widths[i] + kGap;
    }
    const bool fits = lastColumn + std::min(widths.back(), kNarrowest) <= width;
    return fits ? Aligned(widths, width) : Blocks(width);
}

std::string Table::Tabbed() const {
    std::string text;
    for (const auto& row : m_rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            text += (i > 0 ? "\t" : "") + row[i];
        }
        text += '\n';
    }
    return text;
}

std::string Table::Aligned(const std::vector<std::size_t>& widths, std::size_t width) const {
    std::string text;
    const auto append = [&](const std::vector<std::string>& row) {
        std::string line;
        std::size_t column = 0;
        for (std::size_t i = 0; i < row.size(); ++i) {
            if (i + 1 < row.size()) {
                line += row[i] + std::string(widths[i] - Columns(row[i]) + kGap, ' ');
                column += widths[i] + kGap;
            } else {
                line += Wrapped(row[i], width - column, column);
            }
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + '\n';
    };
    append(m_heading);
    std::for_each(m_rows.begin(), m_rows.end(), append);
    return text;
}

std::string Table::Blocks(std::size_t width) const {
    std::string text;
    for (const auto& row : m_rows) {
        text += row.front() + '\n';
        for (std::size_t i = 1; i < row.size(); ++i) {
            if (!row[i].empty()) {
                const std::string label = "  " + LowerCase(m_heading[i]) + ": ";
                const std::size_t indent = 4;
                text +=
                    Wrapped(label + row[i], std::max(width, kNarrowest) - indent, indent) + '\n';
            }
        }
    }
    return text;
}

}  // namespace host
