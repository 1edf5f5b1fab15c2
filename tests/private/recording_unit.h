#pragma once

#include "helper/format.h"

#include <common/log/trace.h>

#include <cstdarg>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace common::log::test {

/// A unit that keeps what it is called with. Nothing but `logRealTime` may be called.
class RecordingUnit : public trace::ILogRealTime
{
public:
    trace::TraceResult log(unsigned int, char const *, char const *, char const *, char const *, unsigned int,
                           char const *, ...) override COMMON_LOG_PRINTF_FORMAT(8, 9)
    {
        throw std::logic_error("log");
    }
    trace::TraceResult logRealTime(unsigned int mainDiagnosisCode, trace::LogParameters const & parameters,
                                   ...) override
    {
        std::va_list arguments;
        va_start(arguments, parameters); // NOLINT(clang-diagnostic-varargs): as the interface is
        char text[256];
        auto const & extended = dynamic_cast<trace::LogParametersExtended const &>(parameters);
        (void)trace::formatArguments(text, sizeof text, extended.format, argumentPointer(arguments));
        va_end(arguments);
        codes.push_back(mainDiagnosisCode);
        texts.emplace_back(text);
        last = extended;
        whileCalled();
        return trace::TRACE_FAILED; // ignored
    }
    trace::TraceResult logRealTimeVaList(unsigned int, trace::LogParameters const &, char *) override
    {
        throw std::logic_error("logRealTimeVaList");
    }

    std::function<void()> whileCalled = [] {};
    std::vector<unsigned int> codes;
    std::vector<std::string> texts;
    trace::LogParametersExtended last;
};

} // namespace common::log::test
