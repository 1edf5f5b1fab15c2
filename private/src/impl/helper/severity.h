#pragma once

#include <common/log/priority_type.h>
#include <common/log/trace/enabling_state.h>
#include <common/log/trace/main_diagnosis_code.h>

#include <string_view>

namespace common::log::trace {

/// What the class of a main diagnosis code decides.
struct Severity
{
    PriorityType priority;
    std::string_view titleStart; ///< the title of a record is this and the unit name
    bool EnablingState::*flag;   ///< null for an invalid class, which no flag holds back

    bool isValid() const noexcept { return flag != nullptr; }
};

constexpr Severity severityOf(unsigned int mainDiagnosisCode) noexcept
{
    switch (diagnosisClass(mainDiagnosisCode)) {
    case CLASS_MESSAGE:
        return {PRIORITY_MESSAGE, "Trace message ", &EnablingState::messages};
    case CLASS_WARNING:
        return {PRIORITY_WARNING, "Trace warning ", &EnablingState::warnings};
    case CLASS_ERROR:
        return {PRIORITY_ERROR, "Trace error ", &EnablingState::errors};
    default: // 0xC is one of them; it gets no treatment of its own
        return {PRIORITY_ERROR, "Trace error ", nullptr};
    }
}

} // namespace common::log::trace
