#pragma once

#include <functional>
#include <streambuf>
#include <string_view>

namespace common::log::test {

/// Takes the place of the buffer of `std::cerr` while it lives, and hands out each record as a whole and without its
/// line end: at the flush that ends it, on the thread that wrote it. Whoever receives it may block, which is how a test
/// stalls a writer, and runs on several threads at once where several write.
class RecordStream : private std::streambuf
{
public:
    using Receiver = std::function<void(std::string_view record)>;

    explicit RecordStream(Receiver receiver);
    RecordStream(RecordStream const &) = delete;
    RecordStream & operator=(RecordStream const &) = delete;
    ~RecordStream() override;

private:
    std::streamsize xsputn(char const * text, std::streamsize size) override;
    int_type overflow(int_type character) override;
    int sync() override;

    Receiver m_receiver;
    std::streambuf * m_previous;
    bool m_hadUnitBuffering;
};

} // namespace common::log::test
