#include "helper/printf/decimal_point.h"

#if __has_include(<langinfo.h>)
#include <langinfo.h>
#endif

namespace common::log::trace {

bool hasDecimalDot() noexcept
{
#if __has_include(<langinfo.h>)
    // Not localeconv, which fills one object for all threads.
    char const * const point = nl_langinfo(RADIXCHAR);
    return point[0] == '.' && point[1] == '\0';
#else
    return true;
#endif
}

} // namespace common::log::trace
