#pragma once

#include "host_thread.h"

#include <common/log/trace.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

namespace tracehost {

/// Tells once a second of records that were lost since it last told, and says nothing while there are none.
///
/// Threads  One of its own, on which it asks and traces. The members are for the owner's thread.
class LossWatch
{
public:
    /// Sums since the start.
    struct Losses
    {
        std::uint64_t refused = 0; ///< calls that left no record: the queue was full
        std::uint64_t lost = 0;    ///< records that the error stream did not take
    };
    using Ask = std::function<Losses()>;

    /// @param unit  outlives this object, as does what `ask` uses
    LossWatch(common::log::trace::CountedLog & unit, Ask ask);
    ~LossWatch();

    void start();
    /// Asks one last time. Does not wait for the thread, which may be held up by the stream.
    void stop();
    HostThread & thread() { return m_thread; }

private:
    void run();
    void look();

    common::log::trace::CountedLog & m_unit;
    Ask m_ask;
    Losses m_told;
    std::mutex m_mutex;
    std::condition_variable m_stopping;
    bool m_isStopping = false;
    HostThread m_thread; // the last: it uses all the others
};

} // namespace tracehost
