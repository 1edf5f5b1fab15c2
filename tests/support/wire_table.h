#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace common::log::test {

/// A table of a finished flatbuffer, read by the published layout alone: neither by a schema nor by generated code.
///
/// @throws std::out_of_range for what leads out of the buffer
class WireTable
{
public:
    explicit WireTable(std::string_view buffer) : WireTable(buffer, number<std::uint32_t>(buffer, 0)) {}

    /// How many ids the vtable has room for.
    std::size_t ids() const { return number<std::uint16_t>(m_buffer, vtable()) / 2U - 2U; }
    /// Whether the field is stored.
    bool has(std::size_t id) const { return offset(id) != 0; }

    std::uint8_t byte(std::size_t id) const { return number<std::uint8_t>(m_buffer, place(id)); }
    std::string text(std::size_t id) const
    {
        std::size_t const start = target(place(id));
        std::size_t const size = number<std::uint32_t>(m_buffer, start);
        if (m_buffer.at(start + 4 + size) != '\0') {
            throw std::out_of_range("a text without a terminator");
        }
        return std::string(m_buffer.substr(start + 4, size));
    }
    WireTable table(std::size_t id) const { return {m_buffer, target(place(id))}; }
    std::vector<WireTable> tables(std::size_t id) const
    {
        std::size_t const start = target(place(id));
        std::vector<WireTable> elements;
        for (std::uint32_t i = 1; i <= number<std::uint32_t>(m_buffer, start); ++i) {
            elements.push_back({m_buffer, target(start + std::size_t{4} * i)});
        }
        return elements;
    }

private:
    WireTable(std::string_view buffer, std::size_t start) : m_buffer(buffer), m_start(start) {}

    template <typename Number>
    static Number number(std::string_view buffer, std::size_t position)
    {
        if (position + sizeof(Number) > buffer.size()) {
            throw std::out_of_range("beyond the buffer");
        }
        Number value;
        std::memcpy(&value, buffer.data() + position, sizeof value); // the machines here are little-endian
        return value;
    }
    std::size_t target(std::size_t position) const { return position + number<std::uint32_t>(m_buffer, position); }
    std::size_t vtable() const
    {
        return m_start - static_cast<std::size_t>(std::int64_t{number<std::int32_t>(m_buffer, m_start)});
    }
    std::size_t offset(std::size_t id) const
    {
        return id < ids() ? number<std::uint16_t>(m_buffer, vtable() + 4 + 2 * id) : 0U;
    }
    std::size_t place(std::size_t id) const
    {
        if (!has(id)) {
            throw std::out_of_range("a field that is not stored");
        }
        return m_start + offset(id);
    }

    std::string_view m_buffer;
    std::size_t m_start;
};

} // namespace common::log::test
