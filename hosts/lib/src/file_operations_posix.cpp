#include "file_operations.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace common::log::host {

namespace {

constexpr mode_t kFileRights = 0644;
constexpr mode_t kFolderRights = 0755;

std::error_code outcome(long result)
{
    return result < 0 ? std::error_code(errno, std::generic_category()) : std::error_code();
}

std::int64_t nanosecondsOf(timespec const & time)
{
    constexpr std::int64_t kPerSecond = 1'000'000'000;
    return static_cast<std::int64_t>(time.tv_sec) * kPerSecond + time.tv_nsec;
}

std::error_code openBy(FileCall & call, int flags)
{
    bool const isPath = call.descriptor == FileOperations::kNoFolder;
    call.opened = ::openat(isPath ? AT_FDCWD : call.descriptor, call.name,
                           flags | O_CLOEXEC | (isPath ? 0 : O_NOFOLLOW), kFileRights);
    return outcome(call.opened);
}

std::error_code readState(FileCall & call)
{
    struct stat read = {};
    std::error_code const error =
        outcome(::fstatat(call.descriptor, call.name, &read, AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW));
    call.state.device = read.st_dev;
    call.state.inode = read.st_ino;
    call.state.bytes = static_cast<std::uint64_t>(read.st_size);
    call.state.modifiedNanoseconds = nanosecondsOf(read.st_mtim);
    call.state.changedNanoseconds = nanosecondsOf(read.st_ctim);
    call.state.isRegular = S_ISREG(read.st_mode);
    return error;
}

std::error_code counted(ssize_t result, FileCall & call)
{
    call.bytes = result > 0 ? static_cast<std::size_t>(result) : 0;
    return outcome(result);
}

class SystemFileOperations : public FileOperations
{
public:
    std::error_code make(FileCall & call) override
    {
        switch (call.kind) {
        case Kind::openFolder:
            return openBy(call, O_RDONLY | O_DIRECTORY);
        case Kind::openToRead:
            return openBy(call, O_RDONLY | O_NONBLOCK | O_NOCTTY); // a pipe of that name shall not hold up its reader
        case Kind::create:
            return openBy(call, O_WRONLY | O_CREAT | O_EXCL);
        case Kind::makeFolder:
            return outcome(::mkdirat(call.descriptor, call.name, kFolderRights));
        case Kind::stateOf:
            return readState(call);
        case Kind::read:
            return counted(::read(call.descriptor, call.buffer, call.size), call);
        case Kind::write:
            return counted(::write(call.descriptor, call.text.data(), call.text.size()), call);
        case Kind::flush:
            return outcome(::fsync(call.descriptor));
        case Kind::close:
            return outcome(::close(call.descriptor));
        case Kind::rename:
            return outcome(::renameat(call.descriptor, call.name, call.descriptor, call.newName));
        case Kind::remove:
            return outcome(::unlinkat(call.descriptor, call.name, 0));
        case Kind::tryLock:
            return outcome(::flock(call.descriptor, LOCK_EX | LOCK_NB));
        }
        return std::make_error_code(std::errc::invalid_argument);
    }
};

} // namespace

std::unique_ptr<FileOperations> systemFileOperations() { return std::make_unique<SystemFileOperations>(); }

} // namespace common::log::host
