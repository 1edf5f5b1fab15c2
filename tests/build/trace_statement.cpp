// One statement that traces, right or wrong as STATEMENT says.

#include "helper/self_trace.h"

#include <common/log/trace.h>

[[maybe_unused]] constexpr char const * kTraceComponent = "test";

void trace(common::log::trace::Log & unit, char const * text, int number)
{
    STATEMENT;
    (void)unit;
    (void)text;
    (void)number;
}
