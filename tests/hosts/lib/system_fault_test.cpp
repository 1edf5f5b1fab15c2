#include "ring_support.h"
#include "support/rounds.h"
#include "tap_support.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <map>
#include <optional>
#include <system_error>

#include <sys/mman.h>
#include <sys/stat.h>

namespace {

std::atomic<int> g_left{-1}; ///< calls until the one that fails; below zero none does
std::atomic<int> g_error{0}; ///< of that one; 0 for a write that takes one byte

bool fails()
{
    bool const isTheOne = g_left-- == 0;
    errno = isTheOne ? g_error.load() : errno;
    return isTheOne;
}

} // namespace

// The linker brings the calls of the host library here (--wrap), and lets these reach the system.
#define FAILING_CALL(result, name, parameters, arguments, failure)                                                     \
    extern "C" result __real_##name parameters;                                                                        \
    extern "C" result __wrap_##name parameters { return fails() ? failure : __real_##name arguments; }

FAILING_CALL(int, open, (char const * path, int flags, mode_t mode), (path, flags, mode), -1)
FAILING_CALL(int, fcntl, (int file, int command, void * argument), (file, command, argument), -1)
FAILING_CALL(int, posix_fallocate, (int file, off_t begin, off_t size), (file, begin, size), errno)
FAILING_CALL(void *, mmap, (void * place, std::size_t size, int access, int flags, int file, off_t begin),
             (place, size, access, flags, file, begin), MAP_FAILED)
FAILING_CALL(ssize_t, pread, (int file, void * bytes, std::size_t size, off_t begin), (file, bytes, size, begin), -1)
FAILING_CALL(int, fstat, (int file, struct stat * state), (file, state), -1)
FAILING_CALL(int, stat, (char const * path, struct stat * state), (path, state), -1)
FAILING_CALL(int, link, (char const * path, char const * other), (path, other), -1)
FAILING_CALL(int, unlink, (char const * path), (path), -1)
FAILING_CALL(int, rename, (char const * path, char const * other), (path, other), -1)
FAILING_CALL(ssize_t, getrandom, (void * bytes, std::size_t size, unsigned flags), (bytes, size, flags), -1)
FAILING_CALL(ssize_t, write, (int file, void const * bytes, std::size_t size), (file, bytes, size),
             g_error == 0 ? __real_write(file, bytes, 1) : -1)

namespace common::log::host::test {

namespace {

using common::log::test::printSeen;

/// What a tap calls the loss by each error of a write; of those that lose nothing, none.
using Error = std::pair<int, std::optional<Loss>>;
Error const kErrors[] = {{ENOSPC, Loss::noSpace},
                         {EIO, Loss::inputOutput},
                         {EACCES, Loss::other},
                         {EROFS, Loss::other},
                         {EMFILE, Loss::other},
                         {EINTR, {}},
                         {0, {}},
                         {EPIPE, Loss::readerGone},
                         {EBADF, Loss::badDescriptor}};

/// Runs an action while its call of a number fails.
///
/// @return whether it came to that call
template <typename Action>
bool fail(int number, int error, Action const & action)
{
    g_error = error;
    g_left = number;
    action();
    return g_left.exchange(-1) < 0;
}

} // namespace

// Its opening while each of its calls of the system fails; its writing makes none.
TEST(SystemFault, LeavesTheOldRingOrTheNew)
{
    int failures = 0;
    for (auto const & [error, loss] : kErrors) {
        bool hasFailed = error != 0;
        for (int number = 0; hasFailed; ++number) {
            SCOPED_TRACE(std::string(std::strerror(error)) + " in call " + std::to_string(number));
            tracehost::test::TemporaryFolder const folder;
            std::string const path = folder.pathOf("ring");
            addNumbered(*std::make_unique<RecordRing>(path, kSmall), 10);
            std::optional<RecordRing> ring;
            hasFailed = fail(number, error, [&, code = error] {
                try {
                    ring.emplace(path, kSmall);
                } catch (std::system_error const & failure) {
                    int const told = failure.code().value();
                    EXPECT_TRUE(told == code || (told == EBUSY && code == EACCES)) << failure.what(); // of a lock
                }
            });
            failures += hasFailed ? 1 : 0;
            EXPECT_TRUE((ring || hasFailed) && !std::filesystem::exists(path + ".new"));
            RecordRingReader old(ring ? path + ".old" : path);
            EXPECT_EQ(Reading(old).got, 10U);
            if (!ring) {
                ring.emplace(path, kSmall); // now that the fault is over
            }
            EXPECT_FALSE(fail(0, error, [&] { addNumbered(*ring, 5); }));
            RecordRingReader reader(path);
            Reading const reading(reader);
            EXPECT_TRUE(reading.isSound && reading.first == 11 && reading.got == 5);
        }
    }
    printSeen(std::to_string(failures) + " calls of a ring that failed");
}

TEST(SystemFault, LosesTheRecordOfThatWriteAndCountsIt)
{
    std::uint64_t failures = 0;
    std::uint64_t lost = 0;
    for (std::chrono::milliseconds const period : {std::chrono::milliseconds(0), std::chrono::milliseconds(1)}) {
        for (auto const & [error, loss] : kErrors) {
            for (int number = 0; number < 4; ++number) {
                SCOPED_TRACE(std::string(std::strerror(error)) + " in write " + std::to_string(number));
                Channel pipe = Channel::pipe();
                Collector collector;
                RecordTapAccount account;
                std::optional<RecordTap> tap(
                    std::in_place,
                    RecordTapOptions{pipe.writer(), {collector.sink()}, 65536, std::chrono::milliseconds(20), period});
                failures += fail(number, error, [&] {
                    for (char const * const record : {"0", "1", "2", "3"}) {
                        sendRecord(record);
                        account = settled(*tap);
                    }
                });
                tap.reset();
                std::string expected = "0123";
                expected.erase(static_cast<std::size_t>(number), loss ? 1 : 0);
                std::string received;
                for (std::string const & line : splitLines(pipe.rest())) {
                    received += parseRecord(line).message;
                }
                EXPECT_EQ(received, expected);
                EXPECT_EQ(account.written, expected.size());
                EXPECT_TRUE(account.lostAltogether() == (loss ? 1U : 0U) && (!loss || account.lostFor(*loss) == 1U));
                EXPECT_TRUE(collector.ends().size() == 4U && std::cerr.good());
                lost += account.lostAltogether();
            }
        }
    }
    printSeen(std::to_string(failures) + " writes of the stream that failed, " + std::to_string(lost) +
              " records lost, each counted");
}

} // namespace common::log::host::test
