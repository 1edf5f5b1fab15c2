#pragma once

#include <common/log/clock.h>
#include <common/log/export.h>
#include <common/log/trace/enabling_state.h>
#include <common/log/trace/i_log_real_time.h>

#include <functional>
#include <memory>

namespace common::log::trace {

class Handler;

/// A named trace unit. A component holds one for each subject and calls it from whichever thread it is on.
///
/// A new unit is silent: it answers TRACE_DISABLED until a state is set. A code without a valid class passes whatever
/// is switched off; it is reported, and its record goes out as an error.
///
/// Ownership  Shares its Handler. Who registers the unit removes it again before it dies.
/// Threads    Trace calls: any number at once. Setters: one at a time; a call in flight may still see the old flags.
/// Real time  logRealTime, logRealTimeVaList: no allocation, no lock, no system call but one clock read, about 1.5 KiB
///            of stack. What goes wrong there (a cut text) reports itself, at the cost of the library's own unit. `log`
///            formats and waits for the stream; it is not for a thread with a deadline.
/// Errors     By TraceResult. A severity that is switched off answers TRACE_DISABLED, which is a success.
class COMMON_LOG_EXPORT Log : public ILogRealTime
{
public:
    /// @param unitName  not null; cut to 63 characters without a report
    /// @param handler   may be empty as long as only `log` is called
    Log(char const * unitName, std::shared_ptr<Handler> const & handler);
    ~Log() override;

    TraceResult log(unsigned int mainDiagnosisCode, char const * componentName, char const * snapName,
                    char const * fileName, char const * functionName, unsigned int line, char const * format,
                    ...) override COMMON_LOG_PRINTF_FORMAT(8, 9);

    /// Queues a record for the worker of the handler, which must not be empty.
    ///
    /// @return beside the results of `log`: TRACE_QUEUE_FULL and TRACE_SHUTTING_DOWN, where the record is lost. An
    ///         invalid code answers TRACE_INVALID_ARGUMENT and is reported by the worker, whose record is an error.
    TraceResult logRealTime(unsigned int mainDiagnosisCode, LogParameters const & parameters, ...) override;
    TraceResult logRealTimeVaList(unsigned int mainDiagnosisCode, LogParameters const & parameters,
                                  char * arguments) override;

    /// The three below give access to the unit's own fields, valid as long as the unit is.
    EnablingState const & getEnablingState() const { return m_enablingState; }
    EnablingState const & getDefaultEnablingState() const;
    char const * getUnitName() const;

    /// Switches the three severities, then calls the callback, also when nothing changed.
    void setEnablingState(EnablingState const & state);
    void setEnablingState(bool isEnabled);

    /// Sets what a return to the default will give. The current state stays, and the callback is not called.
    void setDefaultEnablingState(EnablingState const & state);

    /// Replaces the callback, which runs on the thread of each later `setEnablingState`. Empty removes it. Not to be
    /// called while another thread switches the unit.
    void setCallbackEnablingState(std::function<void(EnablingState const &)> const & callback);

private:
    static constexpr unsigned short kUnitNameSize = 64;

    /// The rest of a real-time call that is not switched off. A function of its own, so that one that is switched off
    /// does not pay for the frame of this one; under the same name, since its reports bear it.
    TraceResult logRealTimeVaList(unsigned int mainDiagnosisCode, LogParameters const & parameters, char * arguments,
                                  TraceResult result);

    std::function<void(EnablingState const &)> m_callbackEnablingState;
    EnablingState m_enablingState;
    EnablingState m_defaultEnablingState;
    char m_unitName[kUnitNameSize];
    std::shared_ptr<Handler> m_handler;
    Clock m_clock;
};

} // namespace common::log::trace
