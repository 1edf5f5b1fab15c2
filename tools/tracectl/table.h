#pragma once

#include <string>
#include <vector>

namespace tracectl {

/// Rows of cells below a heading. Cells may hold any bytes; what reaches the text is printable.
class Table
{
public:
    enum class Side
    {
        left,
        right
    };
    struct Column
    {
        std::string title;
        Side side = Side::left;
    };

    explicit Table(std::vector<Column> columns) : m_columns(std::move(columns)) {}

    void add(std::vector<std::string> const & cells); ///< one for each column

    /// With the columns below each other for a terminal; otherwise with a tab between cells.
    std::string text(bool isAligned) const;

private:
    std::vector<Column> m_columns;
    std::vector<std::vector<std::string>> m_rows;
};

} // namespace tracectl
