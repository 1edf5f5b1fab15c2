#pragma once

#include "hosts/tracehost/temporary_folder.h"

#include <common/log/host/record_ring.h>
#include <common/log/host/record_ring_reader.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <gmock/gmock.h>

namespace common::log::host::test {

/// A text that only one number has, of up to some 400 bytes, or of a given size.
inline std::string textOf(std::uint64_t number, std::size_t size = 0)
{
    std::string text = "\nrecord " + std::to_string(number) + ": ";
    size = size != 0 ? size : text.size() + number * 7919 % 400;
    for (std::uint64_t state = number; text.size() < size;) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        text.append(reinterpret_cast<char const *>(&state), sizeof state);
    }
    text.resize(size);
    return text;
}

inline void add(RecordRing & ring, std::string_view text, RecordEnd end = RecordEnd::flush)
{
    ring.add({0, text, end});
}
/// Adds records with texts of their numbers.
inline void addNumbered(RecordRing & ring, std::uint64_t count, std::size_t size = 0)
{
    for (; count != 0; --count) {
        add(ring, textOf(ring.lastNumber() + 1, size));
    }
}

/// What a reader gives up to the head, of records with texts of their numbers.
struct Reading
{
    explicit Reading(RecordRingReader & reader, std::size_t size = 0)
    {
        while (auto const record = reader.next()) {
            first = got == 0 ? record->number : first;
            isSound = isSound && record->text == textOf(record->number, size) && record->number > last;
            last = record->number;
            missed += record->missedAhead;
            ++got;
        }
    }

    std::uint64_t got = 0;
    std::uint64_t missed = 0;
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    bool isSound = true; ///< each text right, all numbers in order
};

/// The least, so that laps are short.
constexpr RecordRingOptions kSmall{1};

class RingTest : public testing::Test
{
protected:
    tracehost::test::TemporaryFolder folder;
    std::string path = folder.pathOf("ring");
};

} // namespace common::log::host::test
