#include "channel.h"

#include "support/process_state.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

namespace common::log::host::test {

Channel Channel::pipe(int flags)
{
    static int number = 0; // tests make their channels on one thread
    std::string const name = R"(\\.\pipe\)" + std::to_string(GetCurrentProcessId()) + "_" + std::to_string(++number);
    HANDLE const reader =
        CreateNamedPipeA(name.c_str(), PIPE_ACCESS_INBOUND, static_cast<DWORD>(flags), 1, 1 << 18, 1 << 18, 0, nullptr);
    HANDLE const writer = CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    Channel channel;
    channel.m_ends[0] = _open_osfhandle(reinterpret_cast<intptr_t>(reader), _O_BINARY);
    channel.m_ends[1] = _open_osfhandle(reinterpret_cast<intptr_t>(writer), _O_TEXT); // as that of the error stream
    return channel;
}

Channel Channel::packets() { return pipe(PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE); }

void Channel::close(int & descriptor) { (void)_close(std::exchange(descriptor, -1)); }

std::string Channel::next(std::size_t most) const
{
    auto const reader = reinterpret_cast<HANDLE>(_get_osfhandle(m_ends[0]));
    DWORD size = 0;
    (void)log::test::waitUntil(
        [&] { return PeekNamedPipe(reader, nullptr, 0, nullptr, &size, nullptr) == FALSE || size > 0; });
    std::string text(most, '\0');
    bool const isRead = size > 0 && ReadFile(reader, text.data(), static_cast<DWORD>(most), &size, nullptr);
    text.resize(isRead ? size : 0);
    return text;
}

} // namespace common::log::host::test
