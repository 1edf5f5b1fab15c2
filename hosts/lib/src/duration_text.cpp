#include <common/log/host/duration_text.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <limits>

namespace common::log::host {

namespace {

struct Unit
{
    std::string_view name;
    std::int64_t nanoseconds;
};

constexpr std::array<Unit, 6> kUnits{{{"h", 3'600'000'000'000},
                                      {"m", 60'000'000'000},
                                      {"s", 1'000'000'000},
                                      {"ms", 1'000'000},
                                      {"us", 1'000},
                                      {"ns", 1}}};

} // namespace

std::optional<std::chrono::nanoseconds> parseDuration(std::string_view text)
{
    std::uint64_t number = 0; // unsigned, so that no sign is taken
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{}) {
        return std::nullopt;
    }
    std::string_view const unitName = text.substr(static_cast<std::size_t>(end - text.data()));
    for (Unit const & unit : kUnits) {
        if (unit.name == unitName) {
            auto const most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max() / unit.nanoseconds);
            if (number > most) {
                return std::nullopt;
            }
            return std::chrono::nanoseconds(static_cast<std::int64_t>(number) * unit.nanoseconds);
        }
    }
    return std::nullopt;
}

std::string durationText(std::chrono::nanoseconds duration)
{
    for (Unit const & unit : kUnits) {
        if (duration.count() % unit.nanoseconds == 0) {
            return std::to_string(duration.count() / unit.nanoseconds).append(unit.name);
        }
    }
    return {}; // not reached: every count is a whole number of nanoseconds
}

} // namespace common::log::host
