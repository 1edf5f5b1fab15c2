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

/// One call of the system, as a value, so that whoever stands between can look at any of them in the same way.
struct FileCall
{
    enum class Kind
    {
        openFolder,
        openToRead,
        create, ///< only where nothing of that name is there
        makeFolder,
        stateOf, ///< of `name`, or of `descriptor` itself where that is empty
        read,
        write,
        flush, ///< to the disk, of a folder its names
        close, ///< closed also where it fails
        rename,
        remove,
        tryLock ///< against all other descriptors of all processes, until it is closed; never waits
    };

    Kind kind;
    int descriptor; ///< of a call with a name, its folder
    char const * name = "";
    char const * newName = ""; ///< rename
    std::string_view text{};   ///< write
    char * buffer = nullptr;   ///< read
    std::size_t size = 0;      ///< of the buffer

    int opened = -1;
    std::size_t bytes = 0; ///< read or written
    FileState state{};
};

/// The calls of the system that the file store makes, each once and without any thought: interruptions, short reads and
/// writes are its caller's. Names are single ones, inside of the open folder; links are not followed.
///
/// Threads  Any number at once.
/// Errors   As the generic conditions (std::errc); of a lock that somebody else has, resource_unavailable_try_again.
class FileOperations
{
public:
    using Kind = FileCall::Kind;

    /// In the place of a folder: `name` is a path, whose links are followed.
    static constexpr int kNoFolder = -1;

    virtual ~FileOperations() = default;

    virtual std::error_code make(FileCall & call) = 0;

    std::error_code open(Kind kind, int folder, char const * name, int & opened)
    {
        FileCall call{kind, folder, name};
        std::error_code const error = make(call);
        opened = call.opened;
        return error;
    }
    std::error_code stateOf(int descriptor, char const * name, FileState & state)
    {
        FileCall call{Kind::stateOf, descriptor, name};
        std::error_code const error = make(call);
        state = call.state;
        return error;
    }
    std::error_code read(int file, char * buffer, std::size_t size, std::size_t & bytes)
    {
        FileCall call{Kind::read, file};
        call.buffer = buffer;
        call.size = size;
        std::error_code const error = make(call);
        bytes = call.bytes;
        return error;
    }
    std::error_code write(int file, std::string_view text, std::size_t & bytes)
    {
        FileCall call{Kind::write, file, "", "", text};
        std::error_code const error = make(call);
        bytes = call.bytes;
        return error;
    }
    /// makeFolder, flush, close, rename, remove, tryLock
    std::error_code act(Kind kind, int descriptor, char const * name = "", char const * newName = "")
    {
        FileCall call{kind, descriptor, name, newName};
        return make(call);
    }
};

/// Those of this system.
std::unique_ptr<FileOperations> systemFileOperations();

} // namespace common::log::host
