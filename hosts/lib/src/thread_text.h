#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

namespace common::log::host {

/// What one thread has written and not brought out yet.
///
/// Its thread appends without a lock: it writes behind the end and then moves the end up. Whoever brings the text out
/// (the sweep, the removal, the thread itself) holds the lock of the tap's output. Under that lock alone the begin moves
/// up, and anything moves that lies there: so the sweep reads what no thread writes any more.
///
/// Threads    `appendQuickly`, `appendWithoutLock` by the thread alone; `isUntouched`, `isAwaitingLock` by any; all else with the lock held.
class alignas(64) ThreadText // of a cache line on, so that threads do not slow each other down
{
public:
    /// @param limitBytes  of what may lie here at once
    /// @throws std::bad_alloc
    ThreadText(std::uint64_t threadNumber, std::size_t limitBytes);

    /// Appends a text where that needs nothing but a short copy: it fits, and it does not begin a line behind anything
    /// else. Without any call, since a record takes some twenty of these.
    ///
    /// @return false where nothing has happened
    bool appendQuickly(std::string_view text) noexcept
    {
        std::size_t const end = m_end.load(std::memory_order_relaxed); // this thread's own
        if (text.size() - 1 >= kShortBytes || end > m_quickEnd || (text.front() == '\n' && !isFresh(end))) {
            return false;
        }
        copyShort(m_buffer.get() + end, text);
        m_end.store(end + text.size(), std::memory_order_release); // pairs with view(): the bytes come ahead of it
        return true;
    }
    /// The same for a text of any size but 0.
    bool appendWithoutLock(std::string_view text) noexcept;
    /// Whether nothing was written since the text was brought out by its thread.
    bool isUntouched() const noexcept { return m_end.load(std::memory_order_relaxed) == kBegin; }

    std::string_view view() const noexcept
    {
        std::size_t const end = m_end.load(std::memory_order_acquire); // pairs with appendQuickly
        return {m_buffer.get() + m_begin, end - m_begin};
    }
    /// A view with a line end ahead, for which there is always room.
    std::string_view withLineEnd(std::string_view seen) noexcept;

    /// As much of a text as the limit leaves room for.
    ///
    /// @return how many bytes
    /// @throws std::bad_alloc
    std::size_t append(std::string_view text);

    /// By the sweep, which may come in the midst of an insertion: what was seen is out, and the rest stays.
    void dropSeen(std::size_t bytes) noexcept { m_begin += bytes; }
    /// By the thread or behind its end.
    void clear() noexcept;

    std::uint64_t const number;              ///< of all threads of a tap, from 1
    std::atomic<bool> isAwaitingLock{false}; ///< its thread does, and sees to the text itself
    bool isFlushOwed = false;                ///< there was a flush behind nothing but line ends
    bool isContinued = false;                ///< a piece of the record went out already
    bool beganWithLineEnd = false;           ///< the record did, with its first piece
    unsigned passes = 0;                     ///< passes of the sweep that have seen this text

private:
    static constexpr std::size_t kBegin = 1;       ///< the byte ahead is room for a line end
    static constexpr std::size_t kShortBytes = 64; ///< more than most messages have

    /// From both ends of the text, so that the two parts may overlap.
    template <std::size_t kBytes>
    static void copyEnds(char * to, std::string_view text) noexcept
    {
        std::memcpy(to, text.data(), kBytes);
        std::memcpy(to + text.size() - kBytes, text.data() + text.size() - kBytes, kBytes);
    }
    /// @param text  of 1 to kShortBytes bytes
    static void copyShort(char * to, std::string_view text) noexcept
    {
        if (text.size() == 1) {
            *to = text.front(); // the separators of the fields are half of all insertions
        } else if (text.size() < 4) {
            copyEnds<2>(to, text);
        } else if (text.size() < 8) {
            copyEnds<4>(to, text);
        } else if (text.size() < 16) {
            copyEnds<8>(to, text);
        } else if (text.size() <= 32) {
            copyEnds<16>(to, text);
        } else {
            copyEnds<32>(to, text);
        }
    }

    /// The sweep sets the flags only behind an end that it has seen above the begin. So they are the thread's to read
    /// where the end is still there.
    bool isFresh(std::size_t end) const noexcept { return end == kBegin && !isFlushOwed && !isContinued; }
    void makeRoomFor(std::size_t bytes);
    void replaceBuffer(std::unique_ptr<char[]> buffer, std::size_t capacity) noexcept;

    std::size_t const m_limitBytes;
    std::unique_ptr<char[]> m_buffer;
    std::size_t m_capacity; ///< at most what the limit and the byte ahead take
    std::size_t m_quickEnd; ///< up to here, any short text fits behind the end; 0 where none does
    std::size_t m_begin = kBegin;
    std::atomic<std::size_t> m_end{kBegin};
};

} // namespace common::log::host
