#include "thread_text.h"

#include <algorithm>
#include <utility>

namespace common::log::host {

namespace {

constexpr std::size_t kUsualBytes = 1024; // more than nearly all records have

} // namespace

ThreadText::ThreadText(std::uint64_t threadNumber, std::size_t limitBytes)
    : number(threadNumber), m_limitBytes(limitBytes)
{
    std::size_t const capacity = std::min(kUsualBytes, kBegin + limitBytes);
    replaceBuffer(std::make_unique<char[]>(capacity), capacity);
}

bool ThreadText::appendWithoutLock(std::string_view text) noexcept
{
    std::size_t const end = m_end.load(std::memory_order_relaxed); // this thread's own
    if (text.size() > m_capacity - end || (text.front() == '\n' && !isFresh(end))) {
        return false;
    }
    (void)text.copy(m_buffer.get() + end, text.size());
    m_end.store(end + text.size(), std::memory_order_release); // as in appendQuickly
    return true;
}

std::string_view ThreadText::withLineEnd(std::string_view seen) noexcept
{
    m_buffer[m_begin - 1] = '\n'; // over what is out already
    return {seen.data() - 1, seen.size() + 1};
}

std::size_t ThreadText::append(std::string_view text)
{
    std::size_t const taken = std::min(text.size(), m_limitBytes - view().size());
    makeRoomFor(taken);
    std::size_t const end = m_end.load(std::memory_order_relaxed);
    (void)text.copy(m_buffer.get() + end, taken);
    m_end.store(end + taken, std::memory_order_relaxed); // the lock orders it
    return taken;
}

void ThreadText::makeRoomFor(std::size_t bytes)
{
    std::size_t const needed = kBegin + view().size() + bytes;
    if (m_end.load(std::memory_order_relaxed) + bytes <= m_capacity) {
        return;
    }
    std::string_view const rest = view();
    if (needed <= m_capacity) {
        std::memmove(m_buffer.get() + kBegin, rest.data(), rest.size());
    } else {
        std::size_t const capacity = std::min(std::max(needed, 2 * m_capacity), kBegin + m_limitBytes);
        auto larger = std::make_unique<char[]>(capacity);
        (void)rest.copy(larger.get() + kBegin, rest.size());
        replaceBuffer(std::move(larger), capacity);
    }
    m_begin = kBegin;
    m_end.store(kBegin + rest.size(), std::memory_order_relaxed);
}

void ThreadText::replaceBuffer(std::unique_ptr<char[]> buffer, std::size_t capacity) noexcept
{
    m_buffer = std::move(buffer);
    m_capacity = capacity;
    m_quickEnd = capacity - std::min(capacity, kShortBytes);
}

void ThreadText::clear() noexcept
{
    m_begin = kBegin;
    m_end.store(kBegin, std::memory_order_relaxed); // the lock orders it
}

} // namespace common::log::host
