#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

namespace common_zep {

/// The threads that are not released yet, by handle.
template <class Thread>
class ThreadTable
{
public:
    /// The one of the process. Never destroyed: destructors of static objects may still use it.
    static ThreadTable & instance()
    {
        static ThreadTable & table = *new ThreadTable;
        return table;
    }

    /// @param handle  set ahead of the start
    /// @param start   starts the thread, and tells whether that succeeded; otherwise nothing is added
    template <class Start>
    bool add(std::shared_ptr<Thread> const & thread, std::uint64_t & handle, Start const & start)
    {
        // The lock is held over the start, so that whoever gets the handle from the new thread finds it complete.
        std::lock_guard<std::mutex> const lock(m_mutex);
        m_threads.emplace(m_lastHandle + 1, thread);
        handle = ++m_lastHandle;
        if (start()) {
            return true;
        }
        m_threads.erase(handle);
        handle = 0;
        return false;
    }

    std::shared_ptr<Thread> find(std::uint64_t handle)
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        auto const found = m_threads.find(handle);
        return found == m_threads.end() ? nullptr : found->second;
    }

    /// @return whether the caller is the one who releases the thread
    bool remove(std::uint64_t handle)
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        return m_threads.erase(handle) != 0;
    }

private:
    std::mutex m_mutex;
    std::uint64_t m_lastHandle = 0;
    std::map<std::uint64_t, std::shared_ptr<Thread>> m_threads;
};

} // namespace common_zep
