#include "helper/printf/common_form.h"

#include "helper/printf/binary_number.h"
#include "helper/printf/integer.h"
#include "helper/printf/scaled_integer.h"

namespace common::log::trace {

char * writeCommonSigned(char * position, std::int64_t number) noexcept
{
    auto magnitude = static_cast<std::uint64_t>(number);
    if (number < 0) {
        *position++ = '-';
        magnitude = 0 - magnitude;
    }
    return writeDigitsAt(position, magnitude);
}

char * writeCommonFixed(char * position, double number, unsigned int places) noexcept
{
    NumberFields const fields(number);
    std::uint64_t scaled = 0;
    if (!fields.isFinite() || !scaleToInteger(fields.magnitude(), places, scaled)) {
        return nullptr;
    }
    if (fields.isNegative) {
        *position++ = '-';
    }
    std::uint64_t const unit = powerOfTen(places);
    position = writeDigitsAt(position, scaled / unit);
    if (places == 0) {
        return position;
    }
    *position++ = '.';
    char * const end = position + places;
    std::uint64_t rest = scaled % unit;
    for (char * digit = end; digit != position; rest /= 10) {
        *--digit = static_cast<char>('0' + rest % 10);
    }
    return end;
}

} // namespace common::log::trace
