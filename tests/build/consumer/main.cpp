#include <common/log/trace.h>

int main()
{
    common::log::trace::InternalTrace const internalTrace;
    common::log::trace::Log unit("axis.control", nullptr);
    unit.setEnablingState(true);
    unit.log(0x080A0112, "axis", "machine", "main.cpp", "main", __LINE__, "Axis %d started", 3);
    // Of no class: what the library has to say of that carries the path of its own source.
    internalTrace.activeUnit()->log(0x08000112, "axis", "machine", "main.cpp", "main", __LINE__, "no class");
}
