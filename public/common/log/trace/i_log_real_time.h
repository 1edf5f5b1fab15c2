#pragma once

#include <common/log/export.h>
#include <common/log/trace/i_log.h>
#include <common/log/trace/log_parameters.h>

namespace common::log::trace {

/// A trace unit that can also be called with all texts in one record.
class COMMON_LOG_EXPORT ILogRealTime : public ILog
{
public:
    /// @param parameters  a LogParametersExtended; anything else answers TRACE_INVALID_ARGUMENT. The arguments behind
    ///                    it belong to its `format`, against which no compiler checks them.
    virtual TraceResult logRealTime(unsigned int mainDiagnosisCode, LogParameters const & parameters, ...) = 0;

    /// @param arguments  by `argumentPointer`; unread afterwards
    virtual TraceResult logRealTimeVaList(unsigned int mainDiagnosisCode, LogParameters const & parameters,
                                          char * arguments) = 0;
};

} // namespace common::log::trace
