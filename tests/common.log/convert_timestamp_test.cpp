#include <common/log/convert_timestamp.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <limits>
#include <string>

namespace common::log::test {

namespace {

constexpr std::int64_t kFirstSecondOf3001 = 32'535'216'000;
constexpr char kUntouched = '#';

timespec timeOf(std::int64_t seconds, std::int64_t nanoseconds)
{
    timespec timestamp{};
    timestamp.tv_sec = static_cast<decltype(timestamp.tv_sec)>(seconds);
    timestamp.tv_nsec = static_cast<decltype(timestamp.tv_nsec)>(nanoseconds);
    return timestamp;
}

/// What stands in the buffer behind a conversion; all that was not written shows as kUntouched.
std::string bufferOf(timespec const & timestamp, unsigned int textSize)
{
    std::string buffer(64, kUntouched);
    convertTimestamp(timestamp, nullptr, buffer.data(), static_cast<std::uint16_t>(textSize));
    return buffer;
}

std::string textOf(timespec const & timestamp)
{
    std::string const buffer = bufferOf(timestamp, 64);
    return buffer.substr(0, buffer.find('\0'));
}

TEST(TimestampText, IsUtcOrEmpty)
{
    struct Case
    {
        std::int64_t seconds;
        std::int64_t nanoseconds;
        char const * text;
    };
    for (Case const & value : {
             Case{1'709'806'530, 123'456'789, "2024-03-07T10:15:30.123456Z"},
             Case{kFirstSecondOf3001 - 1, 999'999'999, "3000-12-31T23:59:59.999999Z"},
             // Second 0, and all that is no calendar time.
             Case{0, 0, ""},
             Case{kFirstSecondOf3001, 0, ""},
             Case{std::numeric_limits<std::int64_t>::max(), 0, ""},
             Case{-1, 0, ""},
             Case{std::numeric_limits<std::int64_t>::min(), 0, ""},
             // Seven digits push the Z out, eight characters a digit as well.
             Case{1'709'806'530, 1'000'000'000, "2024-03-07T10:15:30.1000000"},
             Case{1'709'806'530, 2'147'483'647, "2024-03-07T10:15:30.2147483"},
             Case{1'709'806'530, -2'147'483'648LL, "2024-03-07T10:15:30.-214748"},
             Case{1'709'806'530, -999, "2024-03-07T10:15:30.000000Z"}, // towards zero
             Case{1'709'806'530, -1'999, "2024-03-07T10:15:30.-00001Z"},
             // Only the low 32 bits count, as a signed number.
             Case{1'709'806'530, 0xFFFF'F830, "2024-03-07T10:15:30.-00002Z"},
         }) {
        EXPECT_EQ(textOf(timeOf(value.seconds, value.nanoseconds)), value.text)
            << value.seconds << " s, " << value.nanoseconds << " ns";
    }
}

std::string systemText(std::int64_t seconds)
{
    auto const time = static_cast<std::time_t>(seconds);
    char text[64] = "";
    if (std::tm const * const calendar = std::gmtime(&time)) {
        (void)std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S.000000Z", calendar);
    }
    return text;
}

TEST(TimestampText, AgreesWithTheSystemAroundEachMidnightAndInEachDay)
{
    std::int64_t const lastDay = kFirstSecondOf3001 / 86'400 - 1;
    for (std::int64_t day = 1; day <= lastDay; ++day) {
        // Any time of the day in between, in the end each one.
        for (std::int64_t const second : {std::int64_t{-1}, std::int64_t{0}, day * 7'919 % 86'400}) {
            std::int64_t const seconds = day * 86'400 + second;
            ASSERT_EQ(textOf(timeOf(seconds, 0)), systemText(seconds));
        }
    }
}

TEST(TimestampText, FillsItsBufferWithWhatFitsTerminatedAndNothingBehindIt)
{
    std::string const whole = "2024-03-07T10:15:30.123456Z";
    for (unsigned int const textSize : {0U, 1U, 11U, 27U, 28U, 29U, 64U}) {
        std::string expected(64, kUntouched);
        if (textSize > 0) {
            std::string const kept = whole.substr(0, textSize - 1U) + '\0';
            expected.replace(0, kept.size(), kept);
        }
        EXPECT_EQ(bufferOf(timeOf(1'709'806'530, 123'456'000), textSize), expected) << textSize;
    }
    EXPECT_EQ(bufferOf(timeOf(0, 0), 1), std::string(1, '\0') + std::string(63, kUntouched));
}

TEST(TimestampMicroseconds, AreSignedTruncatedAndWrapAround)
{
    struct Case
    {
        std::int64_t seconds;
        std::int64_t nanoseconds;
        std::int64_t microseconds;
    };
    constexpr std::int64_t kMostSeconds = 9'223'372'036'854; // 9'223'372'036'854'775'807 microseconds are the most
    for (Case const & value : {
             Case{1'709'806'530, 123'456'789, 1'709'806'530'123'456},
             Case{0, 1'999, 1}, // second 0 has no text, but its microseconds
             Case{0, -1'999, -1},
             Case{-2, 999'999, -1'999'001},
             Case{5, 0x1'0000'03E8, 5'000'001}, // the low 32 bits of the nanoseconds
             Case{kMostSeconds, 775'807'000, std::numeric_limits<std::int64_t>::max()},
             Case{kMostSeconds, 775'808'000, std::numeric_limits<std::int64_t>::min()},
             Case{std::numeric_limits<std::int64_t>::max(), 0, -1'000'000},
         }) {
        SCOPED_TRACE(std::to_string(value.seconds) + " s, " + std::to_string(value.nanoseconds) + " ns");
        char text[28];
        for (char * const given : {static_cast<char *>(nullptr), text}) {
            std::int64_t microseconds = 42;
            convertTimestamp(timeOf(value.seconds, value.nanoseconds), &microseconds, given, sizeof text);
            EXPECT_EQ(microseconds, value.microseconds) << "with a text or without";
        }
    }
    convertTimestamp(timeOf(1, 0), nullptr, nullptr, 28); // asks for nothing
}

} // namespace

} // namespace common::log::test
