#include "support/record_stream.h"

#include <iostream>
#include <string>
#include <utility>

namespace common::log::test {

namespace {

thread_local std::string t_record;

} // namespace

// Without unit buffering, since a flush is taken for the end of a record.
RecordStream::RecordStream(Receiver receiver)
    : m_receiver(std::move(receiver)), m_previous(std::cerr.rdbuf(this)),
      m_hadUnitBuffering((std::cerr.flags() & std::ios_base::unitbuf) != 0)
{
    std::cerr.unsetf(std::ios_base::unitbuf);
}

RecordStream::~RecordStream()
{
    std::cerr.rdbuf(m_previous);
    if (m_hadUnitBuffering) {
        std::cerr.setf(std::ios_base::unitbuf);
    }
}

std::streamsize RecordStream::xsputn(char const * text, std::streamsize size)
{
    t_record.append(text, static_cast<std::size_t>(size));
    return size;
}

RecordStream::int_type RecordStream::overflow(int_type character)
{
    if (!traits_type::eq_int_type(character, traits_type::eof())) {
        t_record.push_back(traits_type::to_char_type(character));
    }
    return traits_type::not_eof(character);
}

int RecordStream::sync()
{
    std::string_view record = t_record;
    if (!record.empty() && record.front() == '\n') {
        record.remove_prefix(1);
    }
    m_receiver(record);
    t_record.clear();
    return 0;
}

} // namespace common::log::test
