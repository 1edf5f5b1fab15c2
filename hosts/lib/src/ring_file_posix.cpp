#include "ring_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <system_error>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace common::log::host {

namespace {

/// The texts of all units: for the group of the host, like its door.
constexpr mode_t kRights = 0640;

[[noreturn]] void fail(int error, std::string const & what)
{
    throw std::system_error(error, std::generic_category(), what);
}

template <typename Call>
auto uninterrupted(Call const & call)
{
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

RingDescriptor open(std::string const & path, int flags)
{
    int const number = uninterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, kRights); });
    if (number == -1) {
        fail(errno, path);
    }
    return RingDescriptor(number);
}

struct flock wholeFile(short type)
{
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return lock;
}

/// Of the open file and not of the process: another descriptor of the same process, which a reader may have, neither
/// shares nor ends it.
void lockToWrite(RingDescriptor const & file, std::string const & path)
{
    struct flock lock = wholeFile(F_WRLCK);
    if (uninterrupted([&] { return ::fcntl(file.number(), F_OFD_SETLK, &lock); }) == -1) {
        bool const isHeld = errno == EAGAIN || errno == EACCES;
        fail(isHeld ? EBUSY : errno, isHeld ? path + " is written by a living process" : path);
    }
}

RingFileKey keyOf(struct stat const & state)
{
    return {state.st_dev, state.st_ino, static_cast<std::uint64_t>(state.st_size), S_ISREG(state.st_mode)};
}

std::string asideOf(std::string const & path) { return path + ".old"; }
std::string nextOf(std::string const & path) { return path + ".new"; }

void removeIfThere(std::string const & path)
{
    if (::unlink(path.c_str()) == -1 && errno != ENOENT) {
        fail(errno, path);
    }
}

} // namespace

RingDescriptor::~RingDescriptor()
{
    if (m_number >= 0) {
        (void)::close(m_number);
    }
}

RingMapping::RingMapping(RingDescriptor const & file, std::size_t bytes, Access access)
    : m_data(::mmap(nullptr, bytes, access == Access::write ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED,
                    file.number(), 0)),
      m_bytes(bytes)
{
    if (m_data == MAP_FAILED) { // NOLINT(performance-no-int-to-ptr): the system's constant
        fail(errno, "mapping of " + std::to_string(bytes) + " bytes");
    }
    if (access == Access::write) {
        // So that the first lap meets no missing page. An older system cannot do it, and goes on without.
        (void)::madvise(m_data, bytes, MADV_POPULATE_WRITE);
    }
}

RingMapping::~RingMapping() { (void)::munmap(m_data, m_bytes); }

// A pipe of that name shall not hold up its reader.
RingDescriptor openRing(std::string const & path) { return open(path, O_RDONLY | O_NONBLOCK); }

RingFileKey keyOf(RingDescriptor const & file)
{
    struct stat state = {};
    if (::fstat(file.number(), &state) == -1) {
        fail(errno, "state of a ring");
    }
    return keyOf(state);
}

RingFileKey keyOf(std::string const & path)
{
    struct stat state = {};
    return ::stat(path.c_str(), &state) == 0 ? keyOf(state) : RingFileKey();
}

RingIdentity RingPage::identity() const
{
    RingIdentity identity{};
    std::memcpy(&identity, words, sizeof identity);
    return identity;
}

RingPage pageOf(RingDescriptor const & file)
{
    RingPage page;
    if (uninterrupted([&] { return ::pread(file.number(), page.words, sizeof page.words, 0); }) == -1 &&
        errno != EISDIR) {
        fail(errno, "head of a ring");
    }
    return page;
}

bool isRingWritten(RingDescriptor const & file)
{
    // Asks who stands against a lock, without taking one. Of two that only read, none does.
    struct flock lock = wholeFile(F_RDLCK);
    return ::fcntl(file.number(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

RingName::RingName(std::string path) : m_path(std::move(path)), m_lock(open(m_path + ".lock", O_RDWR | O_CREAT))
{
    lockToWrite(m_lock, m_path);
}

std::uint64_t RingName::lastNumber() const
{
    if (keyOf(m_path).inode == 0 && errno == ENOENT) {
        return 0;
    }
    // A ring that is there and cannot be read is not passed over: numbers that begin anew would stand for two records.
    RingPage page = pageOf(openRing(m_path));
    RingIdentity const identity = page.identity();
    if (!faultOf(identity).empty()) {
        return 0;
    }
    auto const commit = RingMemory(page.words, identity.capacityBytes, identity.checksum).commit();
    return commit ? commit->lastNumber : 0;
}

RingDescriptor RingName::makeNext(std::uint64_t bytes) const
{
    std::string const next = nextOf(m_path);
    removeIfThere(next);
    RingDescriptor file = open(next, O_RDWR | O_CREAT | O_EXCL);
    try {
        lockToWrite(file, next);
        int error = EINTR;
        while (error == EINTR) {
            error = ::posix_fallocate(file.number(), 0, static_cast<off_t>(bytes));
        }
        if (error != 0) {
            fail(error, m_path + ", " + std::to_string(bytes) + " bytes");
        }
    } catch (...) {
        removeNext();
        throw;
    }
    return file;
}

void RingName::putNextInPlace() const
{
    std::string const aside = asideOf(m_path);
    removeIfThere(aside);
    // A second name instead of another one: this name then goes over from the old file to the new by one step. Some
    // kinds of disks, and of files, have but one name.
    if (::link(m_path.c_str(), aside.c_str()) == -1 && errno != ENOENT &&
        ::rename(m_path.c_str(), aside.c_str()) == -1) {
        fail(errno, m_path + " cannot be set aside");
    }
    if (::rename(nextOf(m_path).c_str(), m_path.c_str()) == -1) {
        fail(errno, m_path);
    }
}

void RingName::removeNext() const noexcept { (void)::unlink((m_path + ".new").c_str()); }

std::string makeRunName()
{
    unsigned char bytes[16];
    if (::getrandom(bytes, sizeof bytes, 0) != sizeof bytes) {
        fail(errno, "random name of a run");
    }
    std::string name;
    for (unsigned char const byte : bytes) {
        constexpr char kDigits[] = "0123456789abcdef";
        name += kDigits[byte >> 4U];
        name += kDigits[byte & 15U];
    }
    return name;
}

std::string bootName()
{
    std::string name;
    std::ifstream("/proc/sys/kernel/random/boot_id") >> name;
    return name;
}

std::int64_t thisProcess() { return ::getpid(); }

} // namespace common::log::host
