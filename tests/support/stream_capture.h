#pragma once

#include "support/record.h"

#include <mutex>
#include <streambuf>
#include <string>
#include <vector>

namespace common::log::test {

/// Takes the place of the buffer of `std::cerr` while it lives, and keeps what is written. Safe for any number of
/// writing threads, whose writes may interleave.
class StreamCapture : private std::streambuf
{
public:
    StreamCapture();
    StreamCapture(StreamCapture const &) = delete;
    StreamCapture & operator=(StreamCapture const &) = delete;
    ~StreamCapture() override;

    /// All that was written so far.
    std::string text() const;
    std::vector<std::string> lines() const { return splitLines(text()); }
    std::vector<Record> records() const { return parseRecords(text()); }

    /// Number of insertions, and of flushes.
    std::size_t writes() const;
    std::size_t flushes() const;

    void clear();

private:
    std::streamsize xsputn(char const * text, std::streamsize size) override;
    int_type overflow(int_type character) override;
    int sync() override;

    mutable std::mutex m_mutex;
    std::string m_text;
    std::size_t m_writes = 0;
    std::size_t m_flushes = 0;
    std::streambuf * m_previous;
    bool m_hadUnitBuffering;
};

} // namespace common::log::test
