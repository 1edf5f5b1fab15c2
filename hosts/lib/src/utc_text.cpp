#include "utc_text.h"

#include <common/log/convert_timestamp.h>

namespace common::log::host {

std::string utcText(std::chrono::system_clock::time_point time)
{
    constexpr std::size_t kToTheSecond = 19;
    timespec timestamp{};
    timestamp.tv_sec = std::chrono::system_clock::to_time_t(time);
    char text[28];
    convertTimestamp(timestamp, nullptr, text, sizeof text);
    return *text == '\0' ? "" : std::string(text, kToTheSecond) + "Z";
}

} // namespace common::log::host
