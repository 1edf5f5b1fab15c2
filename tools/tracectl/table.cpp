#include "table.h"

#include <common/log/host/record_text.h>

#include <algorithm>
#include <cstddef>

namespace tracectl {

namespace {

/// In characters, not bytes. Wide ones count as one.
std::size_t widthOf(std::string const & text)
{
    auto const isStart = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; };
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isStart));
}

} // namespace

void Table::add(std::vector<std::string> const & cells)
{
    std::vector<std::string> row;
    row.reserve(cells.size());
    for (std::string const & cell : cells) {
        row.push_back(common::log::host::printable(cell));
    }
    m_rows.push_back(std::move(row));
}

std::string Table::text(bool isAligned) const
{
    std::vector<std::vector<std::string>> rows(1);
    for (Column const & column : m_columns) {
        rows.front().push_back(column.title);
    }
    rows.insert(rows.end(), m_rows.begin(), m_rows.end());
    std::vector<std::size_t> widths(m_columns.size(), 0);
    for (auto const & row : rows) {
        for (std::size_t index = 0; index < widths.size(); ++index) {
            widths[index] = std::max(widths[index], widthOf(row[index]));
        }
    }
    std::string text;
    for (auto const & row : rows) {
        std::string line;
        for (std::size_t index = 0; index < widths.size(); ++index) {
            line += index == 0 ? "" : isAligned ? "  " : "\t";
            std::string const padding(isAligned ? widths[index] - widthOf(row[index]) : 0, ' ');
            line += m_columns[index].side == Side::right ? padding + row[index] : row[index] + padding;
        }
        if (isAligned) {
            line.erase(line.find_last_not_of(' ') + 1);
        }
        text += line + "\n";
    }
    return text;
}

} // namespace tracectl
