#pragma once

#include "descriptor.h"
#include "line_splitter.h"

#include <cstdint>
#include <optional>
#include <string>
#include <sys/stat.h>

namespace tracehost {

/// Follows a file by its name, as it grows, is renamed and replaced, is truncated, goes and comes back.
///
/// A file that exists at the start is read from its end, each later one of the same name from its beginning. Ahead of a
/// switch to a new file the old one is read to its end. A new file that is still empty does not count yet: its writer
/// may still hold the old one. So a file that was deleted stays open until one of its name has something to read.
///
/// What looking at intervals cannot see is lost: a file that comes and goes between two looks, and a truncated one
/// that by the next look has grown past where it was read to.
///
/// Threads    One at a time; never waits for anything but the disk.
/// Errors     By `takeProblem`. A file that is not there is none.
class FileFollower
{
public:
    explicit FileFollower(std::string path);

    /// Gives out the lines that came since, of at most `kMostBytes` bytes.
    ///
    /// @return whether there is more to read by now
    bool look(LineFunction const & onLine);

    /// Opens the file by its name again, also one that is empty, unless that is the file that is open by now. Ahead of
    /// that the latter is read to its end.
    void reopen(LineFunction const & onLine);

    /// Reads what is there to its end, and gives out a last line without line end.
    void finish(LineFunction const & onLine);

    /// What hinders the reading, once until the file is opened anew or another problem takes its place.
    std::optional<std::string> takeProblem();

    std::string const & path() const { return m_path; }

    static constexpr std::uint64_t kMostBytes = 1U << 20U;

private:
    bool openFrom(bool isAtEnd);
    bool readOn(std::uint64_t mostBytes, LineFunction const & onLine);
    void switchFile(LineFunction const & onLine);
    bool isOpenedFile(struct stat const & status) const;
    void setProblem(std::string const & problem);

    std::string m_path;
    Descriptor m_file;
    dev_t m_device = 0;
    ino_t m_inode = 0;
    std::uint64_t m_position = 0;
    LineSplitter m_splitter;
    std::string m_problem;
    bool m_isProblemNew = false;
};

} // namespace tracehost
