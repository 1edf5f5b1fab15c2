#pragma once

#include "support/record.h"

#include <functional>
#include <iostream>
#include <list>
#include <map>
#include <mutex>
#include <streambuf>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace common::log::test {

/// Takes the place of the buffer of `std::cerr` while it lives, without unit buffering, so that the only flushes are
/// those that somebody asked for.
class ErrorStreamBuffer : protected std::streambuf
{
public:
    ErrorStreamBuffer(ErrorStreamBuffer const &) = delete;
    ErrorStreamBuffer & operator=(ErrorStreamBuffer const &) = delete;

protected:
    ErrorStreamBuffer() : m_previous(std::cerr.rdbuf(this)), m_flags(std::cerr.flags())
    {
        std::cerr.unsetf(std::ios_base::unitbuf);
    }
    ~ErrorStreamBuffer() override
    {
        std::cerr.rdbuf(m_previous);
        std::cerr.setf(m_flags & std::ios_base::unitbuf);
    }

    int_type overflow(int_type character) override
    {
        char const text = traits_type::to_char_type(character);
        (void)xsputn(&text, traits_type::eq_int_type(character, traits_type::eof()) ? 0 : 1);
        return traits_type::not_eof(character);
    }

private:
    std::streambuf * m_previous;
    std::ios_base::fmtflags m_flags;
};

/// Keeps what is written. Safe for any number of writing threads, whose writes may interleave.
class StreamCapture : private ErrorStreamBuffer
{
public:
    /// All that was written so far.
    std::string text() const
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        return m_text;
    }
    std::vector<std::string> lines() const { return splitLines(text()); }
    std::vector<Record> records() const { return parseRecords(text()); }
    std::size_t flushes() const
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        return m_flushes;
    }
    void clear()
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        m_text.clear();
        m_flushes = 0;
    }

private:
    std::streamsize xsputn(char const * text, std::streamsize size) override
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        m_text.append(text, static_cast<std::size_t>(size));
        return size;
    }
    int sync() override
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        ++m_flushes;
        return 0;
    }

    mutable std::mutex m_mutex;
    std::string m_text;
    std::size_t m_flushes = 0;
};

/// Hands out each record as a whole and without its line end: at the flush that ends it, on the thread that wrote it.
/// Whoever receives it may block, which is how a test stalls a writer, and runs on several threads at once where
/// several write, and on the same one again for what it writes itself.
class RecordStream : private ErrorStreamBuffer
{
public:
    using Receiver = std::function<void(std::string_view record)>;

    explicit RecordStream(Receiver receiver) : m_receiver(std::move(receiver)) {}

private:
    std::string & record()
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        return m_records[std::this_thread::get_id()];
    }
    std::streamsize xsputn(char const * text, std::streamsize size) override
    {
        record().append(text, static_cast<std::size_t>(size));
        return size;
    }
    int sync() override
    {
        // Taken out: what the receiver writes is a record of its own, and a system may number its threads ever on.
        std::unique_lock<std::mutex> lock(m_mutex);
        auto const handed = m_handed.emplace(m_handed.end());
        auto const written = m_records.find(std::this_thread::get_id());
        if (written != m_records.end()) {
            handed->swap(written->second);
            m_records.erase(written);
        }
        lock.unlock();
        m_receiver(std::string_view(*handed).substr(handed->rfind('\n', 0) == 0 ? 1 : 0));
        lock.lock();
        m_handed.erase(handed);
        return 0;
    }

    Receiver m_receiver;
    std::mutex m_mutex;
    // The texts are the stream's and not the threads' own: a worker that is taken away destroys nothing.
    std::map<std::thread::id, std::string> m_records;
    std::list<std::string> m_handed; ///< to the receiver, on whichever thread
};

} // namespace common::log::test
