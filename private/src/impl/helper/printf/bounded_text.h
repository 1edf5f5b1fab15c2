#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace common::log::trace {

/// A text that is written from front to end into room of a fixed size, and counts on where that is full.
///
/// Real time  Safe. What does not fit costs no time, however long it is.
class BoundedText
{
public:
    /// @param size  with the zero behind the text; 0 writes nothing at all, and `buffer` may be null then
    BoundedText(char * buffer, std::size_t size) noexcept
        : m_begin(buffer), m_next(buffer), m_end(size == 0 ? buffer : buffer + (size - 1)), m_hasEnd(size != 0)
    {}

    void put(char character) noexcept
    {
        if (m_next != m_end) {
            *m_next++ = character;
        } else {
            ++m_missing;
        }
    }

    void put(char const * text, std::size_t length) noexcept
    {
        std::size_t const written = take(length);
        if (written != 0) {
            std::memcpy(m_next, text, written);
            m_next += written;
        }
    }

    void fill(char character, std::size_t count) noexcept
    {
        if (count == 0) {
            return; // most of the time
        }
        std::size_t const written = take(count);
        if (written != 0) {
            std::memset(m_next, character, written);
            m_next += written;
        }
    }

    /// For what is written straight into the text: no more than there is room for, and then `goOnAt` behind it.
    std::size_t room() const noexcept { return static_cast<std::size_t>(m_end - m_next); }
    char * next() noexcept { return m_next; }
    void goOnAt(char * position) noexcept { m_next = position; }

    void finish() noexcept
    {
        if (m_hasEnd) {
            *m_next = '\0';
        }
    }

    /// What the text would have had where there is room for all of it.
    std::uint64_t length() const noexcept { return static_cast<std::uint64_t>(m_next - m_begin) + m_missing; }

private:
    std::size_t take(std::size_t length) noexcept
    {
        if (length <= room()) {
            return length;
        }
        m_missing += length - room();
        return room();
    }

    char * m_begin;
    char * m_next;
    char * m_end;
    bool m_hasEnd;
    std::uint64_t m_missing = 0;
};

} // namespace common::log::trace
