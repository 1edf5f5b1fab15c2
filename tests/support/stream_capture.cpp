#include "support/stream_capture.h"

#include <iostream>

namespace common::log::test {

// Without unit buffering, so that the flushes counted are those that somebody asked for.
StreamCapture::StreamCapture()
    : m_previous(std::cerr.rdbuf(this)), m_hadUnitBuffering((std::cerr.flags() & std::ios_base::unitbuf) != 0)
{
    std::cerr.unsetf(std::ios_base::unitbuf);
}

StreamCapture::~StreamCapture()
{
    std::cerr.rdbuf(m_previous);
    if (m_hadUnitBuffering) {
        std::cerr.setf(std::ios_base::unitbuf);
    }
}

std::string StreamCapture::text() const
{
    std::lock_guard<std::mutex> const lock(m_mutex);
    return m_text;
}

std::size_t StreamCapture::writes() const
{
    std::lock_guard<std::mutex> const lock(m_mutex);
    return m_writes;
}

std::size_t StreamCapture::flushes() const
{
    std::lock_guard<std::mutex> const lock(m_mutex);
    return m_flushes;
}

void StreamCapture::clear()
{
    std::lock_guard<std::mutex> const lock(m_mutex);
    m_text.clear();
    m_writes = 0;
    m_flushes = 0;
}

std::streamsize StreamCapture::xsputn(char const * text, std::streamsize size)
{
    std::lock_guard<std::mutex> const lock(m_mutex);
    m_text.append(text, static_cast<std::size_t>(size));
    ++m_writes;
    return size;
}

StreamCapture::int_type StreamCapture::overflow(int_type character)
{
    if (!traits_type::eq_int_type(character, traits_type::eof())) {
        char const text = traits_type::to_char_type(character);
        (void)xsputn(&text, 1);
    }
    return traits_type::not_eof(character);
}

int StreamCapture::sync()
{
    std::lock_guard<std::mutex> const lock(m_mutex);
    ++m_flushes;
    return 0;
}

} // namespace common::log::test
