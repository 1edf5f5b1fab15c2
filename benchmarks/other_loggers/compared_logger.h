#pragma once

#include <memory>
#include <string>

namespace common::log::benchmarks {

/// A logger that hands records over to a thread of its own, or keeps them in memory, and writes them to a file. It is
/// set as its documents advise who wants a short call and a bounded memory.
///
/// Threads    log: any number at once.
class ComparedLogger
{
public:
    ComparedLogger() = default;
    ComparedLogger(ComparedLogger const &) = delete;
    ComparedLogger & operator=(ComparedLogger const &) = delete;
    virtual ~ComparedLogger() = default;

    virtual char const * name() const = 0;

    /// The text of the benchmarks of the real-time road, with file, function and line.
    ///
    /// @return false where the logger says that it is refused
    virtual bool log(unsigned int call) = 0;
};

/// Entries that each queue has room for; that of this library has 3200. More than there are calls between two pauses.
constexpr unsigned int kComparedQueueSize = 4096;

/// @param folder  where the file goes
std::unique_ptr<ComparedLogger> makeOwnLogger(std::string const & folder);
std::unique_ptr<ComparedLogger> makeSpdlog(std::string const & folder);
std::unique_ptr<ComparedLogger> makeLog4cplus(std::string const & folder);
std::unique_ptr<ComparedLogger> makeGlog(std::string const & folder);
std::unique_ptr<ComparedLogger> makeBoostLog(std::string const & folder);

} // namespace common::log::benchmarks
