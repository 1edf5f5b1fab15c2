#include "format/format_case.h"

#include "helper/format.h"
#include "helper/printf/bounded_format.h"

#include <common/log/argument_pointer.h>

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <sstream>

namespace common::log::test {

namespace {

constexpr std::size_t kMaximalSize = 8192;

char const * const kTexts[] = {"moving", "", nullptr, "100 % of \xC3\xBC and \x01",
                               "a text of more than a few letters"};

/// Writes the next conversion of a format and sets its arguments.
class CaseBuilder
{
public:
    CaseBuilder(FormatCase & made, Choices & choices) : m_made(made), m_choices(choices) {}

    bool hasRoom() const { return m_integer + 3 <= m_made.integers.size() && m_number != m_made.numbers.size(); }

    void addText()
    {
        static char const * const texts[] = {"", " ", "axis ", "%%", "a longer text between two values: "};
        m_made.format += pick(texts);
    }

    void addConversion()
    {
        static char const letters[] = "fdsguexXeicpoEFGaA%";
        char const letter = letters[m_choices.below(sizeof letters - 1)];
        bool const isInteger = std::strchr("diouxX", letter) != nullptr;
        bool const isNumber = std::strchr("fFeEgGaA", letter) != nullptr;
        m_made.format += '%';
        for (std::uint64_t flags = m_choices.below(4) == 3 ? m_choices.below(32) : 0; flags != 0; flags &= flags - 1) {
            m_made.format += "-+ #0"[__builtin_ctzll(flags)];
        }
        if (std::uint64_t const kind = m_choices.below(8); kind >= 5) {
            addCount(kind == 7, 30, 3000);
        }
        if (std::uint64_t const kind = m_choices.below(8); kind >= 3) {
            m_made.format += '.';
            addCount(kind == 7, 20, 1500);
        }
        if (isInteger) {
            static char const * const lengths[] = {"", "hh", "h", "l", "ll", "j", "z", "t"};
            m_made.format += pick(lengths);
            m_made.integers[m_integer++] = integer();
        } else if (isNumber) {
            m_made.format += m_choices.below(8) == 7 ? "l" : "";
            m_made.numbers[m_number++] = number();
        } else if (letter == 's') {
            m_made.integers[m_integer++] = static_cast<long long>(reinterpret_cast<std::intptr_t>(pick(kTexts)));
        } else if (letter != '%') {
            m_made.integers[m_integer++] = integer();
        }
        m_made.format += letter;
    }

private:
    template <typename Value, std::size_t kSize>
    Value pick(Value const (&values)[kSize])
    {
        return values[m_choices.below(kSize)];
    }

    /// A width or a precision, most of the time a small one.
    void addCount(bool isListed, int usual, int greatest)
    {
        std::uint64_t const kind = m_choices.below(64);
        int count = static_cast<int>(m_choices.below(static_cast<std::uint64_t>(kind == 63 ? greatest : usual)));
        if (!isListed) {
            m_made.format += kind == 62 ? "" : std::to_string(count);
            return;
        }
        m_made.format += '*';
        count = kind == 61 ? -count : kind == 60 ? -1 : count;
        m_made.integers[m_integer++] = count;
    }

    long long integer()
    {
        static long long const special[] = {0, 1, -1, 9, 10, 99, 100, INT64_MIN, INT64_MAX, INT32_MIN, INT32_MAX, 0x80};
        std::uint64_t const kind = m_choices.below(4);
        return kind == 0 ? pick(special) : static_cast<long long>(m_choices.bits() >> m_choices.below(64));
    }

    double number()
    {
        double const value = magnitude();
        return m_choices.below(4) == 3 ? -value : value;
    }

    double magnitude()
    {
        using Limits = std::numeric_limits<double>;
        static double const special[] = {0,
                                         1,
                                         Limits::infinity(),
                                         Limits::quiet_NaN(),
                                         Limits::denorm_min(),
                                         Limits::min(),
                                         Limits::max(),
                                         0.5,
                                         9.5,
                                         999999.5,
                                         1e22,
                                         9007199254740993.0};
        auto const power = [this] { return std::pow(10.0, static_cast<double>(m_choices.below(45)) - 22); };
        auto const few = [this] { return static_cast<double>(m_choices.bits() >> 11 >> m_choices.below(53)); };
        switch (m_choices.below(10)) {
        case 0:
            return pick(special);
        case 1:
            return few();
        case 2:
            return few() / 1000;
        case 3:
            return (few() + 0.5) * power(); // about half of a digit
        case 4:
            return few() * std::ldexp(1.0, -static_cast<int>(m_choices.below(40))); // halves
        case 5:
            return power() * (1 - 1e-16 * static_cast<double>(m_choices.below(3))); // and its neighbour
        case 6:
            return std::pow(10.0, static_cast<double>(m_choices.below(632)) - 323); // all of them
        case 7:
            return std::ldexp(1.0, static_cast<int>(m_choices.below(2098)) - 1074); // all of them
        case 8:
            return std::ldexp(few(), -1074); // subnormal and a bit above
        default:
            break;
        }
        std::uint64_t const bits = m_choices.bits();
        double result = 0;
        std::memcpy(&result, &bits, sizeof result);
        return result;
    }

    FormatCase & m_made;
    Choices & m_choices;
    std::size_t m_integer = 0;
    std::size_t m_number = 0;
};

/// What one of the two wrote, in room that ends where it has to.
struct Written
{
    char text[kMaximalSize + 16];
    int length;
};

/// Behind `format` stand all arguments of a case.
void writeBoth(Written & own, Written & system, std::size_t size, char const * format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    own.length = trace::formatArguments(own.text, size, format, argumentPointer(arguments));
    // NOLINTNEXTLINE(clang-diagnostic-format-nonliteral)
    system.length = std::vsnprintf(system.text, size, format, arguments);
    va_end(arguments);
}

} // namespace

std::uint64_t ChoicesOfBytes::take(unsigned int bytes)
{
    std::uint64_t result = 0;
    for (; bytes != 0 && m_next != m_end; --bytes) {
        result = result << 8 | *m_next++;
    }
    return result;
}

std::uint64_t ChoicesOfBytes::below(std::uint64_t bound) { return take(bound > 256 ? 2 : 1) % bound; }

std::uint64_t ChoicesOfBytes::bits() { return take(8); }

/// A counter, scrambled: neighbours differ in half of their bits.
std::uint64_t ChoicesOfSeed::bits()
{
    m_state += 0x9E3779B97F4A7C15;
    std::uint64_t mixed = (m_state ^ m_state >> 30) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EB;
    return mixed ^ mixed >> 31;
}

FormatCase::FormatCase(Choices & choices)
{
    CaseBuilder builder(*this, choices);
    for (std::uint64_t conversions = 1 + choices.below(4); conversions != 0 && builder.hasRoom(); --conversions) {
        builder.addConversion();
        builder.addText();
    }
    std::uint64_t const kind = choices.below(16);
    bufferSize = kind < 12 ? 256 : kind < 14 ? kMaximalSize : choices.below(64);
}

std::string differenceOf(FormatCase const & tested)
{
    static Written own;
    static Written system;
    if (!trace::BoundedFormat(tested.format.c_str()).isTaken()) {
        return "'" + tested.format + "' is left to the C library";
    }
    std::size_t const compared = tested.bufferSize + 16; // with what nobody may write to
    std::memset(own.text, '~', compared);
    std::memset(system.text, '~', compared);
    auto const & i = tested.integers;
    auto const & d = tested.numbers;
    writeBoth(own, system, tested.bufferSize, tested.format.c_str(), i[0], i[1], i[2], i[3], i[4], i[5], i[6], i[7],
              i[8], i[9], i[10], i[11], d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7]);
    if (own.length == system.length && std::memcmp(own.text, system.text, compared) == 0) {
        return "";
    }
    std::ostringstream difference;
    difference << "'" << tested.format << "', room for " << tested.bufferSize << std::hexfloat;
    std::copy(i.begin(), i.end(), std::ostream_iterator<long long>(difference << "\n  integers ", " "));
    std::copy(d.begin(), d.end(), std::ostream_iterator<double>(difference << "\n  numbers ", " "));
    difference << "\n  expected " << system.length << " '" << std::string(system.text, strnlen(system.text, compared))
               << "'\n  is " << own.length << " '" << std::string(own.text, strnlen(own.text, compared)) << "'";
    return difference.str();
}

std::string differenceOfInput(std::string const & input)
{
    (void)trace::BoundedFormat(input.c_str()).isTaken();
    ChoicesOfBytes choices(reinterpret_cast<std::uint8_t const *>(input.data()), input.size());
    return differenceOf(FormatCase(choices));
}

} // namespace common::log::test
