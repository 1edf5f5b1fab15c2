#pragma once

#include <mutex>

namespace common::log::trace {

/// A standard mutex, not recursive, that can be destroyed through its base.
class InheritMutex : public std::mutex
{
public:
    virtual ~InheritMutex() = default;
};

} // namespace common::log::trace
