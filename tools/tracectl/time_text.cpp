#include "time_text.h"

namespace tracectl {

std::string secondsText(std::int64_t seconds)
{
    constexpr std::int64_t kMinute = 60;
    constexpr std::int64_t kHour = 60 * kMinute;
    auto const text = [](std::int64_t large, char const * largeUnit, std::int64_t small, char const * smallUnit) {
        std::string result = std::to_string(large) + largeUnit;
        return small == 0 ? result : result + std::to_string(small) + smallUnit;
    };
    if (seconds >= kHour) {
        return text(seconds / kHour, "h", seconds % kHour / kMinute, "m");
    }
    return seconds >= kMinute ? text(seconds / kMinute, "m", seconds % kMinute, "s") : std::to_string(seconds) + "s";
}

std::string clockText(std::string_view time)
{
    constexpr std::string_view kForm = "0000-00-00T00:00:00Z";
    bool const isTime = time.size() == kForm.size() && time[10] == 'T' && time.back() == 'Z';
    return std::string(isTime ? time.substr(11, 8) : time);
}

} // namespace tracectl
