#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <system_error>

namespace common::log::host {

/// What tells one content of a file from another.
struct FileState
{
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t bytes = 0;
    std::int64_t modifiedNanoseconds = 0; ///< since 1970
    std::int64_t changedNanoseconds = 0;  ///< likewise; also where somebody sets the time of modification back
    bool isRegular = false;               ///< and no folder, link, pipe or device
};

inline bool operator==(FileState const & left, FileState const & right)
{
    return left.device == right.device && left.inode == right.inode && left.bytes == right.bytes &&
           left.modifiedNanoseconds == right.modifiedNanoseconds &&
           left.changedNanoseconds == right.changedNanoseconds && left.isRegular == right.isRegular;
}

/// The calls of the system that the file store makes, each once and without any thought: interruptions, short reads and
/// writes are its caller's. Names are single ones, inside of the open folder; links are not followed.
///
/// Threads  Any number at once.
/// Errors   As the generic conditions (std::errc).
class FileOperations
{
public:
    /// In the place of a folder: `name` is a path, whose links are followed.
    static constexpr int kNoFolder = -1;

    enum class Mode
    {
        folder,
        read,
        create ///< only where nothing of that name is there
    };

    virtual ~FileOperations() = default;
    virtual std::error_code open(int folder, char const * name, Mode mode, int & descriptor) = 0;
    virtual std::error_code makeFolder(int folder, char const * name) = 0;
    /// Of `name`, or of `descriptor` itself where that is empty.
    virtual std::error_code stateOf(int descriptor, char const * name, FileState & state) = 0;
    virtual std::error_code read(int file, char * buffer, std::size_t size, std::size_t & bytes) = 0;
    virtual std::error_code write(int file, std::string_view text, std::size_t & bytes) = 0;
    virtual std::error_code flush(int descriptor) = 0; ///< to the disk, of a folder its names
    virtual std::error_code close(int descriptor) = 0; ///< closed also where it fails
    virtual std::error_code rename(int folder, char const * from, char const * to) = 0;
    virtual std::error_code remove(int folder, char const * name) = 0;
    /// Against all other descriptors of all processes, until it is closed. Never waits: resource_unavailable_try_again.
    virtual std::error_code tryLock(int folder) = 0;
};

/// Those of this system.
std::unique_ptr<FileOperations> systemFileOperations();

} // namespace common::log::host
