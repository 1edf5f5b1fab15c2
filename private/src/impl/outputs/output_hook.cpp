#include <common/log/trace/output_hook.h>

#include "helper/format.h"

#include <common/log/argument_pointer.h>

#include <cstdarg>
#include <iostream>
#include <string>

namespace common::log::trace {

LogHookFunction volatile g_logHookFunc = nullptr;
void volatile * volatile g_logUserData = nullptr;

void setOutputHook(LogHookFunction const function, void volatile * userData)
{
    g_logHookFunc = function;
    g_logUserData = userData;
}

void outputMessageLog(OutputType type, char const * format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    if (g_logHookFunc != nullptr) {
        g_logHookFunc(g_logUserData, type, format, argumentPointer(arguments));
    }
    va_end(arguments);
}

void outputFunction(char const * prefix, int line, char const * functionName, char const * format, ...)
{
    char text[200] = ""; // a text that cannot be formatted is empty, whatever the C library leaves behind
    std::va_list arguments;
    va_start(arguments, format);
    (void)formatArguments(text, sizeof text, format, argumentPointer(arguments)); // a cut is not reported here
    va_end(arguments);
    std::cerr << std::endl << prefix;
    if (line != 0) {
        // A text of its own: the stream might be set to another base or group its digits.
        std::cerr << ": " << functionName << " (line " << std::to_string(line) << "): ";
    } else {
        std::cerr << ": ";
    }
    std::cerr << text;
}

} // namespace common::log::trace
