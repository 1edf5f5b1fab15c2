// Writes a stream for the viewer to read: records of all severities, and such as it could get wrong.

#include <common/log/trace.h>

namespace {

constexpr unsigned int kMessage = 0x080A0112;
constexpr unsigned int kWarning = 0x080E0112;
constexpr unsigned int kError = 0x080F0112;

} // namespace

int main()
{
    using namespace common::log::trace;
    InternalTrace const internalTrace;
    Log axis("axis.control", nullptr);
    Log odd("odd|unit [0] \"x\"", nullptr);
    Log nameless("", nullptr);
    axis.setEnablingState(true);
    odd.setEnablingState(true);
    nameless.setEnablingState(true);

    axis.log(kMessage, "axis", "machine", "main.cpp", "main", 12, "Axis %d started", 3);
    axis.log(kWarning, "axis", "machine", "main.cpp", "ns::Axis::operator()", 13, "torque|speed|12|%d", 4);
    axis.log(kError, "axis", "machine", "main.cpp", "main", 14, "Trace message |||");
    axis.log(kMessage, nullptr, nullptr, nullptr, nullptr, 0, nullptr);
    axis.log(kError, "", "", "", "", 0, "only a text");
    axis.log(0x12345678, "axis", "machine", "main.cpp", "main", 15, "no class"); // three lines, the first two of errors
    axis.log(kMessage, "\xC3\xA4 \xE2\x82\xAC", "a b\tc", "C:\\x.cpp", "f<a, b>", 0x80000000U, "%s",
             "100 % \\ \" ' <>");
    odd.log(kWarning, "left|right", "machine", "main.cpp", "f<'|'>", 16, "a field with separators");
    nameless.log(kMessage, "axis", "machine", "main.cpp", "main", 17, "a unit without a name");
    internalTrace.activeUnit()->log(0, "", "", "", "", 0, "behind an ERR: line");
    axis.log(kMessage, "axis", "machine", "main.cpp", "main", 18, "the last one");
}
