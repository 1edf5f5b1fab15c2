#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace common::log::test {

/// Where the decisions of a generator come from. All of them 0 make the plainest case.
class Choices
{
public:
    virtual ~Choices() = default;

    /// @param bound  not 0
    virtual std::uint64_t below(std::uint64_t bound) = 0;
    virtual std::uint64_t bits() = 0;
};

/// Reads decisions out of what a fuzzer hands over; behind its end they are 0.
class ChoicesOfBytes : public Choices
{
public:
    ChoicesOfBytes(std::uint8_t const * bytes, std::size_t size) : m_next(bytes), m_end(bytes + size) {}

    std::uint64_t below(std::uint64_t bound) override;
    std::uint64_t bits() override;

private:
    std::uint64_t take(unsigned int bytes);

    std::uint8_t const * m_next;
    std::uint8_t const * m_end;
};

class ChoicesOfSeed : public Choices
{
public:
    explicit ChoicesOfSeed(std::uint64_t seed) : m_state(seed) {}

    std::uint64_t below(std::uint64_t bound) override { return (bits() >> 32) * bound >> 32; }
    std::uint64_t bits() override;

private:
    std::uint64_t m_state;
};

/// A format with arguments that match it, and the room for its text.
///
/// Integers, pointers and floating-point numbers of one call lie in two sequences, from either of which a format takes
/// the next one. That is how all 64-bit systems but Windows pass them on.
struct FormatCase
{
    explicit FormatCase(Choices & choices);

    std::string format;
    std::array<long long, 12> integers{}; // and pointers
    std::array<double, 8> numbers{};
    std::size_t bufferSize = 0;
};

/// What the library's formatter makes different from the C library's, in words; empty where all bytes and the returned
/// count are the same.
std::string differenceOf(FormatCase const & tested);

/// The same for the case that the bytes of a fuzzer choose. They are looked over as a format as well.
std::string differenceOfInput(std::string const & input);

} // namespace common::log::test
