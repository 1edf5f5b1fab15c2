#include <common/log/trace.h>

using namespace common::log::trace;
constexpr char const * kTraceComponent = "axis";

int main()
{
    Log unit("axis.control", std::make_shared<Handler>());
    unit.setEnablingState(true);
    COMMON_LOG_MESSAGE(unit, "Axis %d started", 3);
    COMMON_LOG_WARNING_REAL_TIME(unit, "Axis %d is %.3f mm off", 3, 0.125);
}
