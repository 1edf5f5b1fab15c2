#include "byte_size.h"

#include <charconv>
#include <limits>

namespace tracehost {

namespace {

struct Unit
{
    std::string_view name;
    unsigned int bits;
};

constexpr Unit kUnits[] = {{"", 0}, {"KiB", 10}, {"MiB", 20}, {"GiB", 30}};

} // namespace

std::optional<std::uint64_t> parseByteSize(std::string_view text)
{
    std::uint64_t number = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{}) {
        return std::nullopt;
    }
    std::string_view const unitName = text.substr(static_cast<std::size_t>(end - text.data()));
    for (Unit const & unit : kUnits) {
        if (unit.name == unitName && number <= std::numeric_limits<std::uint64_t>::max() >> unit.bits) {
            return number << unit.bits;
        }
    }
    return std::nullopt;
}

} // namespace tracehost
