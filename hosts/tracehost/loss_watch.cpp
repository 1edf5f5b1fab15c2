#include "loss_watch.h"

#include <chrono>
#include <cinttypes>
#include <utility>

namespace tracehost {

constexpr char const * kTraceComponent = "host";

namespace {

constexpr std::chrono::seconds kInterval(1);

} // namespace

LossWatch::LossWatch(common::log::trace::CountedLog & unit, Ask ask) : m_unit(unit), m_ask(std::move(ask)) {}

LossWatch::~LossWatch() { stop(); }

void LossWatch::start()
{
    m_thread.start([this] { run(); });
}

void LossWatch::stop()
{
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        m_isStopping = true;
    }
    m_stopping.notify_all();
}

void LossWatch::run()
{
    bool isStopping = false;
    while (!isStopping) {
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            isStopping = m_stopping.wait_for(lock, kInterval, [this] { return m_isStopping; });
        }
        look();
    }
}

void LossWatch::look()
{
    Losses const now = m_ask();
    std::uint64_t const refused = now.refused - m_told.refused;
    std::uint64_t const lost = now.lost - m_told.lost;
    if (refused == 0 && lost == 0) {
        return;
    }
    m_told = now;
    // On the ordinary road: the queue of the other one may be just what is full.
    COMMON_LOG_WARNING(m_unit,
                       "Lost since the last word of it: %" PRIu64 " calls that were refused, %" PRIu64
                       " records that the error stream did not take",
                       refused, lost);
}

} // namespace tracehost
