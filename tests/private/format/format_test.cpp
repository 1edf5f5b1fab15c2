// What the formatter promises beyond being the same as the C library for usual formats: its oddities, sizes that no
// buffer holds, and which formats it leaves to the C library.

#include "format/format_case.h"

#include "helper/format.h"
#include "helper/printf/bounded_format.h"

#include <common/log/argument_pointer.h>

#include <gtest/gtest.h>

#include <langinfo.h>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>

namespace {

char g_decimalPoint[4] = ".";

} // namespace

/// In front of that of the C library, since a machine need not have a locale with another decimal point.
char * nl_langinfo(nl_item /*item*/) noexcept { return g_decimalPoint; }

namespace common::log::test {

namespace {

constexpr std::size_t kSize = 64;

struct Result
{
    std::string text;
    int length;
    int error;

    bool operator==(Result const & other) const { return text == other.text && length == other.length; }
};

std::ostream & operator<<(std::ostream & stream, Result const & result)
{
    return stream << "'" << result.text << "' of " << result.length;
}

Result formatted(char const * format, ...)
{
    char text[kSize] = "untouched";
    std::va_list arguments;
    va_start(arguments, format);
    errno = 0;
    int const length = trace::formatArguments(text, sizeof text, format, argumentPointer(arguments));
    va_end(arguments);
    return {text, length, errno};
}

int formatInto(char * buffer, std::size_t size, char const * format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    int const length = trace::formatArguments(buffer, size, format, argumentPointer(arguments));
    va_end(arguments);
    return length;
}

Result whole(std::string const & text) { return {text, static_cast<int>(text.size()), 0}; }

bool isTaken(char const * format) { return trace::BoundedFormat(format).isTaken(); }

TEST(Format, PrintsOdditiesAsTheCLibraryDoes)
{
    char const * const noText = nullptr;
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    void * const address = reinterpret_cast<void *>(std::uintptr_t{0x12});
    EXPECT_EQ(formatted("%s|%9s|%.6s|%.5s|%-7.5s|", noText, noText, noText, noText, noText),
              whole("(null)|   (null)|(null)||       |"));
    EXPECT_EQ(formatted("%p|%010p|%.2p|%-7p|", nullptr, nullptr, nullptr, nullptr),
              whole("(nil)|     (nil)|(nil)|(nil)  |"));
    EXPECT_EQ(formatted("%p|%+p|% p|%08p|%.4p", address, address, address, address, address),
              whole("0x12|+0x12| 0x12|0x000012|0x0012"));
    EXPECT_EQ(formatted("%05s|%05c|%-5c|%5%|%*%|%.3%", "ab", 'x', 'y', 7), whole("   ab|    x|y    |%|%|%"));
    EXPECT_EQ(formatted("a%cb", 0), (Result{"a", 3, 0}));
    EXPECT_EQ(formatted("%.0d|%#.0o|%#o|%#x|%+.0u|%05.2d|%-05d|", 0, 0, 0, 0, 0, 3, 3), whole("|0|0|0||   03|3    |"));
    EXPECT_EQ(formatted("%*d|%.*d|%-*d|%0*d", -4, 3, -1, 0, 4, 3, -4, 3), whole("3   |0|3   |3   "));
    EXPECT_EQ(formatted("%hhd %hu %hhx", 300, 65537, 0x1FF), whole("44 1 ff"));
    EXPECT_EQ(formatted("%f|%+F|%08.1e|%-6G|% a", NAN, -INFINITY, INFINITY, NAN, -NAN),
              whole("nan|-INF|     inf|NAN   |-nan"));
    EXPECT_EQ(formatted("%g|%#g|%.1f|%e|%a|%+.0f", -0.0, 0.0, -0.01, 0.0, -0.0, 0.0),
              whole("-0|0.00000|-0.0|0.000000e+00|-0x0p+0|+0"));
    EXPECT_EQ(formatted("%.0f %.0f %.0f %.1f %.2f %.3e", 0.5, 1.5, 2.5, 0.25, 1.005, 1.0005),
              whole("0 2 2 0.2 1.00 1.000e+00"));
    EXPECT_EQ(formatted("%g %g %g %#.3g %g", 999999.5, 0.0001, 0.00001, 1.0, 1e100),
              whole("1e+06 0.0001 1e-05 1.00 1e+100"));
    EXPECT_EQ(formatted("%#g|%#.2g|%#g|%#g", 999999.5, 99.5, 1e6, 99999.96),
              whole("1.e+06|1.e+02|1.00000e+06|100000."));
    EXPECT_EQ(formatted("%.0a|%.1a|%#.0A|%a|%012a", 1.5, 0x1.f8p0, 1.0, 0x1p-1074, 1.0),
              whole("0x2p+0|0x2.0p+0|0X1.P+0|0x0.0000000000001p-1022|0x0000001p+0"));
}

TEST(Format, CountsWhatNoBufferHolds)
{
    EXPECT_EQ(formatted("%2147483647d", 3), (Result{std::string(kSize - 1, ' '), INT_MAX, 0}));
    EXPECT_EQ(formatted("%.2147483645f", 1.0), (Result{"1." + std::string(kSize - 3, '0'), INT_MAX, 0}));
    EXPECT_EQ(formatted("%.*e", 2'000'000'000, 0.5).length, 2'000'000'006);
    for (char const * const format :
         {"%2147483647d%d", "%2147483647d ", "%.2147483647d% d", "%2147483647d%2147483647d"}) {
        Result const result = formatted(format, 3, 3);
        EXPECT_EQ(result.length, -1) << format;
        EXPECT_EQ(result.error, EOVERFLOW) << format;
    }
    EXPECT_EQ(formatted("%*d", INT_MIN, 3).length, -1);
    EXPECT_EQ(formatted("%.*f", INT_MAX, 1.0).length, -1);

    EXPECT_EQ(formatInto(nullptr, 0, "%d of %d", 3, 4), 6);
}

TEST(Format, FillsAnyRoomWithWhatIsCommonAsTheCLibraryDoes)
{
    constexpr char const * kFormat = "a%db%.9fc%.0fd%se%.3f%.1ff%d";
    double const large = -9223372036.8547758; // the largest number of the short way
    for (std::size_t size = 0; size != 80; ++size) {
        std::string own(80, '~');
        std::string system = own;
        int const length = std::snprintf(system.data(), size, kFormat, INT_MIN, large, 0.5, "text", 9.9996, -0.04, 0);
        EXPECT_EQ(formatInto(own.data(), size, kFormat, INT_MIN, large, 0.5, "text", 9.9996, -0.04, 0), length);
        EXPECT_EQ(own, system) << size;
    }
}

TEST(Format, LeavesToTheCLibraryWhatItDoesNotTake)
{
    for (char const * const format :
         {"%n",    "%m",     "%ls", "%lc", "%S",    "%C",           "%Lf",           "%llf",     "%1$d",
          "%*1$d", "%.*2$d", "%'d", "%Id", "%hs",   "%zf",          "%lp",           "%qd",      "%b",
          "%",     "%5",     "%.",  "%-",  "%hhhd", "%2147483648d", "%.2147483648d", "%d %s %n", "%5-d"}) {
        EXPECT_FALSE(isTaken(format)) << format;
    }
    EXPECT_EQ(formatted("%2$s %1$s", "a", "b"), whole("b a"));
    EXPECT_EQ(formatted("%d %s %.2Lf %d", 3, "of", 2.5L, 4), whole("3 of 2.50 4"));
    EXPECT_EQ(formatted("%2147483648d", 3).length, -1);
    EXPECT_EQ(formatted("%d %d %d %d %d %d %d %d %m", 1, 2, 3, 4, 5, 6, 7, 8).text.substr(0, 16), "1 2 3 4 5 6 7 8 ");
}

TEST(Format, TakesFloatingPointWhereTheDecimalPointIsADotOnly)
{
    EXPECT_TRUE(isTaken("%d %s %p %f"));
    g_decimalPoint[0] = ',';
    for (char const * const format : {"%f", "%E", "%.3g", "%a", "%d %s %d %d %d %d %d %lf"}) {
        EXPECT_FALSE(isTaken(format)) << format;
    }
    EXPECT_TRUE(isTaken("%d %s %p %%"));
    g_decimalPoint[0] = '.';
}

} // namespace

} // namespace common::log::test
