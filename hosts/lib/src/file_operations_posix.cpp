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

class SystemFileOperations : public FileOperations
{
public:
    std::error_code open(int folder, char const * name, Mode mode, int & descriptor) override
    {
        int flags = O_CLOEXEC;
        switch (mode) {
        case Mode::folder:
            flags |= O_RDONLY | O_DIRECTORY;
            break;
        case Mode::read:
            flags |= O_RDONLY | O_NONBLOCK | O_NOCTTY; // a pipe of that name shall not hold up its reader
            break;
        case Mode::create:
            flags |= O_WRONLY | O_CREAT | O_EXCL;
            break;
        }
        bool const isPath = folder == kNoFolder;
        descriptor = ::openat(isPath ? AT_FDCWD : folder, name, isPath ? flags : flags | O_NOFOLLOW, kFileRights);
        return outcome(descriptor);
    }

    std::error_code makeFolder(int folder, char const * name) override
    {
        return outcome(::mkdirat(folder, name, kFolderRights));
    }

    std::error_code stateOf(int descriptor, char const * name, FileState & state) override
    {
        struct stat read = {};
        std::error_code const error = outcome(::fstatat(descriptor, name, &read, AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW));
        state.device = read.st_dev;
        state.inode = read.st_ino;
        state.bytes = static_cast<std::uint64_t>(read.st_size);
        state.modifiedNanoseconds = nanosecondsOf(read.st_mtim);
        state.changedNanoseconds = nanosecondsOf(read.st_ctim);
        state.isRegular = S_ISREG(read.st_mode);
        return error;
    }

    std::error_code read(int file, char * buffer, std::size_t size, std::size_t & bytes) override
    {
        return counted(::read(file, buffer, size), bytes);
    }

    std::error_code write(int file, std::string_view text, std::size_t & bytes) override
    {
        return counted(::write(file, text.data(), text.size()), bytes);
    }

    std::error_code flush(int descriptor) override { return outcome(::fsync(descriptor)); }

    std::error_code close(int descriptor) override { return outcome(::close(descriptor)); }

    std::error_code rename(int folder, char const * from, char const * to) override
    {
        return outcome(::renameat(folder, from, folder, to));
    }

    std::error_code remove(int folder, char const * name) override { return outcome(::unlinkat(folder, name, 0)); }

    std::error_code tryLock(int folder) override { return outcome(::flock(folder, LOCK_EX | LOCK_NB)); }

private:
    static std::error_code counted(ssize_t result, std::size_t & bytes)
    {
        bytes = result > 0 ? static_cast<std::size_t>(result) : 0;
        return outcome(result);
    }
};

} // namespace

std::unique_ptr<FileOperations> systemFileOperations() { return std::make_unique<SystemFileOperations>(); }

} // namespace common::log::host
