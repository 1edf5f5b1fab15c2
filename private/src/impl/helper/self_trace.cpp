#include "helper/self_trace.h"

namespace common::log::trace {

namespace {

// Real-time threads come here: the build gives this the initial-exec model, with which the first access of a thread
// neither allocates nor locks.
thread_local unsigned int t_nestedReports = 0;

constexpr unsigned int kMostNestedReports = 2;

} // namespace

SelfTraceNesting::SelfTraceNesting() noexcept : m_isTooDeep(t_nestedReports >= kMostNestedReports)
{
    ++t_nestedReports;
}

SelfTraceNesting::~SelfTraceNesting() { --t_nestedReports; }

} // namespace common::log::trace
