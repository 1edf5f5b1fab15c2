#include "load.h"

namespace tracehost {

Load::Load(unsigned int threads)
{
    try {
        for (unsigned int thread = 0; thread < threads; ++thread) {
            m_threads.emplace_back().start([this] { run(); });
        }
    } catch (...) {
        m_isStopping = true; // for those that the members' destructors wait for
        throw;
    }
}

Load::~Load() { m_isStopping = true; }

void Load::run() const
{
    while (!m_isStopping.load(std::memory_order_relaxed)) {
    }
}

} // namespace tracehost
