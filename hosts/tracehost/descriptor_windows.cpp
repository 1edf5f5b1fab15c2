#include "descriptor.h"

#include <atomic>
#include <thread>

#include <fcntl.h>
#include <io.h>
#include <windows.h>

namespace tracehost {

Descriptor & Descriptor::operator=(Descriptor && other) noexcept
{
    if (this != &other) {
        if (isOpen()) {
            (void)_close(m_number);
        }
        m_number = other.release();
    }
    return *this;
}

Descriptor::~Descriptor()
{
    if (isOpen()) {
        (void)_close(m_number);
    }
}

int Descriptor::release()
{
    int const number = m_number;
    m_number = -1;
    return number;
}

// The runtime gives their numbers to nobody else here. But it changes line ends, unless it is told not to.
void reserveStandardDescriptors()
{
    for (int const descriptor : {0, 1, 2}) {
        (void)_setmode(descriptor, _O_BINARY);
    }
}

void raiseDescriptorLimit() {} // there is none that a door could meet

bool writeWithin(int descriptor, std::string_view text, std::chrono::milliseconds limit)
{
    auto const end = std::chrono::steady_clock::now() + limit;
    auto const file = reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
    // A write to a pipe that nobody reads waits for ever, and nothing tells ahead of it: it is called off.
    HANDLE writer = nullptr;
    (void)DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &writer, 0, FALSE,
                          DUPLICATE_SAME_ACCESS);
    std::atomic<bool> isDone{false};
    std::thread watch([&] {
        while (!isDone.load()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            if (std::chrono::steady_clock::now() >= end) {
                (void)CancelSynchronousIo(writer); // again and again: it may not have begun
            }
        }
    });
    while (!text.empty() && std::chrono::steady_clock::now() < end) {
        DWORD written = 0;
        if (WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) == FALSE) {
            break;
        }
        text.remove_prefix(written);
    }
    isDone.store(true);
    watch.join();
    (void)CloseHandle(writer);
    return text.empty();
}

} // namespace tracehost
