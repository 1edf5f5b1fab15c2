#include "helper/printf/decimal_point.h"

#if __has_include(<langinfo.h>)
#include <langinfo.h>
#endif

namespace common::log::trace {

bool hasDecimalDot() noexcept
{
#if __has_include(<langinfo.h>)
    // Not localeconv, which fills one object for all threads.
    // It only reads what the thread's locale points to: who changes the locale of the process at the same time is in the
    // way of the C library's formatter as well.
    char const * const point = nl_langinfo(RADIXCHAR); // NOLINT(concurrency-mt-unsafe)
    return point[0] == '.' && point[1] == '\0';
#else
    return true;
#endif
}

} // namespace common::log::trace
