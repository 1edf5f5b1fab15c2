#include "end_guard.h"

#include <chrono>
#include <utility>

namespace tracehost {

namespace {

/// Longer than the library's handler waits for its worker, which reports that itself where it can.
constexpr std::chrono::seconds kStandstill(5);

constexpr std::chrono::milliseconds kLookInterval(100);

} // namespace

EndGuard::EndGuard(Progress progress, std::function<void()> giveUp)
{
    m_thread.start([this, progress = std::move(progress), giveUp = std::move(giveUp)] { watch(progress, giveUp); });
}

EndGuard::~EndGuard()
{
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        m_hasReached = true;
    }
    m_reached.notify_one();
}

void EndGuard::watch(Progress const & progress, std::function<void()> const & giveUp)
{
    std::uint64_t last = progress();
    auto limit = std::chrono::steady_clock::now() + kStandstill;
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_reached.wait_for(lock, kLookInterval, [this] { return m_hasReached; })) {
        auto const now = std::chrono::steady_clock::now();
        if (std::uint64_t const present = progress(); present != last) {
            last = present;
            limit = now + kStandstill;
        } else if (now >= limit) {
            giveUp();
        }
    }
}

} // namespace tracehost
