// One report of the library about itself, right or wrong as ARGUMENTS says.

#include "helper/self_trace.h"

void report(char const * text, int number)
{
    SELF_TRACE_ERROR(ARGUMENTS);
    (void)text;
    (void)number;
}
