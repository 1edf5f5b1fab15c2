#pragma once

#include "file_follower.h"
#include "host_thread.h"
#include "line_splitter.h"
#include "standard_input.h"

#include <common/log/trace.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace tracehost {

/// Traces each line of standard input and of the followed files.
///
/// One thread reads all of them in turn, so that none starves another. Followed files are looked at ten times a second,
/// since that holds on every file system, network ones included, which notifications do not.
///
/// Threads  The members below may be called by any thread.
class Inputs
{
public:
    struct LineCount
    {
        std::string unitName;
        std::uint64_t lines;
    };

    Inputs();
    ~Inputs();

    /// Both only ahead of `start`. A file that exists is read from the end that it has at this call.
    void addStandardInput(common::log::trace::CountedLog & unit);
    void addFile(std::string const & path, common::log::trace::CountedLog & unit);

    /// Starts the thread, if there is anything to read.
    void start();

    void reopenFiles();

    /// What a pipe and the files hold by now is still traced.
    void stop();

    HostThread & thread() { return m_thread; }
    std::vector<LineCount> lines() const;

private:
    struct Source
    {
        explicit Source(common::log::trace::CountedLog & tracedUnit)
            : unit(tracedUnit), unitName(tracedUnit.getUnitName())
        {}

        common::log::trace::CountedLog & unit;
        std::string const unitName; ///< its own, for the summary, which comes behind the unit
        std::atomic<std::uint64_t> lines{0};
    };
    struct File
    {
        File(std::string const & path, common::log::trace::CountedLog & unit) : source(unit), follower(path) {}

        Source source;
        FileFollower follower;
    };

    void run();
    void readStandardInput();
    void finishStandardInput();
    bool lookAtFiles();
    LineFunction tracerOf(Source & source);
    void traceLine(Source & source, std::string const & line);
    void traceProblem(File & file);

    StandardInput m_input;
    std::deque<Source> m_standardInput; ///< one or none
    bool m_isStandardInputOpen = false;
    bool m_isStandardInputReady = false;
    LineSplitter m_splitter;
    std::deque<File> m_files;
    std::atomic<bool> m_isReopening{false};
    std::atomic<bool> m_isStopping{false};
    HostThread m_thread; // the last: it uses all the others
};

} // namespace tracehost
