#include "signals.h"

#include <atomic>

#include <windows.h>

namespace tracehost {

namespace {

HANDLE g_wish = nullptr; // an event; made once, for as long as the process lives
std::atomic<bool> g_endsAtOnce{false};

/// Runs on a thread of the system's. The end of the console, of the session or of the machine ends the process as soon
/// as this returns, so that it waits: the system allows for some seconds.
BOOL WINAPI onControl(DWORD event)
{
    if (g_endsAtOnce.load()) {
        return FALSE; // the next handler ends the process
    }
    SetEvent(g_wish);
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        Sleep(INFINITE);
    }
    return TRUE;
}

} // namespace

Signals::Signals()
{
    g_wish = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    (void)SetConsoleCtrlHandler(nullptr, FALSE); // a parent may have had Ctrl-C ignored
    (void)SetConsoleCtrlHandler(&onControl, TRUE);
}

std::optional<Signals::Wish> Signals::waitUntil(std::optional<std::chrono::steady_clock::time_point> end) const
{
    for (;;) {
        DWORD milliseconds = INFINITE;
        if (end) {
            auto const left =
                std::chrono::ceil<std::chrono::milliseconds>(*end - std::chrono::steady_clock::now()).count();
            if (left <= 0) {
                return std::nullopt;
            }
            milliseconds = left < 60'000 ? static_cast<DWORD>(left) : 60'000;
        }
        if (WaitForSingleObject(g_wish, milliseconds) == WAIT_OBJECT_0) {
            return Wish::end;
        }
    }
}

void Signals::endAtOnce() const { g_endsAtOnce.store(true); }

} // namespace tracehost
