#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace common::log::test {

/// Sets an environment variable, or takes it away, while it lives. Only while no other thread reads the environment.
class ScopedEnvironment
{
public:
    ScopedEnvironment(char const * name, std::optional<std::string> const & value) : m_name(name)
    {
        if (char const * const previous = std::getenv(name)) {
            m_previous = previous;
        }
        set(value);
    }
    ScopedEnvironment(ScopedEnvironment const &) = delete;
    ScopedEnvironment & operator=(ScopedEnvironment const &) = delete;
    ~ScopedEnvironment() { set(m_previous); }

    void set(std::optional<std::string> const & value)
    {
#if defined(_WIN32)
        // The empty value takes a variable away: set and empty is a state that this system does not have.
        (void)_putenv_s(m_name, value ? value->c_str() : "");
#else
        (void)(value ? ::setenv(m_name, value->c_str(), 1) : ::unsetenv(m_name));
#endif
    }

private:
    char const * m_name;
    std::optional<std::string> m_previous;
};

} // namespace common::log::test
