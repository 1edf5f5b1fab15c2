#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace tracehost {

/// An open file descriptor, closed at the end.
class Descriptor
{
public:
    explicit Descriptor(int number = -1) : m_number(number) {}
    Descriptor(Descriptor && other) noexcept : m_number(other.release()) {}
    Descriptor & operator=(Descriptor && other) noexcept;
    ~Descriptor();

    bool isOpen() const { return m_number >= 0; }
    int number() const { return m_number; }

private:
    int release();

    int m_number;
};

/// Opens whichever of the descriptors 0, 1 and 2 was closed at the start, so that no file opened later takes its number
/// and with it the records. Reading it gives the end at once, writing to it fails.
void reserveStandardDescriptors();

/// Lets this process open as many files as it has the right to: each client of the door takes one.
void raiseDescriptorLimit();

/// Writes all of `text`, waiting at most `limit` for a reader that does not read.
///
/// @return whether all of it was taken
bool writeWithin(int descriptor, std::string_view text, std::chrono::milliseconds limit);

/// Whether somebody listens at a Unix socket.
bool isListenedTo(std::string const & socketPath);

} // namespace tracehost
