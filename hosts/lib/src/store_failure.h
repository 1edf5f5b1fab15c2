#pragma once

#include <common/log/host/file_store.h>

#include <cstdint>
#include <stdexcept>
#include <string>

namespace common::log::host {

/// A failure on its way from where it arises to the function of the helper that answers it.
class StoreFailure : public std::runtime_error
{
public:
    /// @param number  see StoreFault
    /// @param reason  without the file, which the helper's function knows
    StoreFailure(StoreFault fault, std::int32_t number, std::string const & reason)
        : std::runtime_error(reason), m_fault(fault), m_number(number)
    {}

    StoreFault fault() const { return m_fault; }
    std::int32_t number() const { return m_number; }
    /// Whether it is the file that is at fault, and not how it was reached.
    bool isOfContent() const { return m_fault >= StoreFault::size; }

private:
    StoreFault m_fault;
    std::int32_t m_number;
};

} // namespace common::log::host
