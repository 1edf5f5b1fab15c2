#include "thread_delete_support.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace common_zep::test {
namespace {

/// A pipe that takes nothing more, so that a write to it waits until somebody reads.
class FullPipe
{
public:
    FullPipe()
    {
        EXPECT_EQ(pipe2(m_ends, O_CLOEXEC), 0);
        fcntl(m_ends[1], F_SETFL, O_NONBLOCK);
        char const page[4096] = {}; // of which it takes a whole number
        while (write(m_ends[1], page, sizeof(page)) > 0) {
        }
        fcntl(m_ends[1], F_SETFL, 0);
        m_fill = waiting();
    }
    FullPipe(FullPipe const &) = delete;
    FullPipe & operator=(FullPipe const &) = delete;
    ~FullPipe()
    {
        close(m_ends[0]);
        close(m_ends[1]);
    }

    int writer() const { return m_ends[1]; }
    bool isAsFilled() const { return waiting() == m_fill; }

    /// Whether nobody else holds the writing end: then the reader hears of its closing.
    bool endsWithItsWriter()
    {
        dup2(m_ends[0], m_ends[1]); // which closes it
        pollfd reader{m_ends[0], POLLIN, 0};
        return poll(&reader, 1, 0) == 1 && (reader.revents & POLLHUP) != 0;
    }

private:
    int waiting() const
    {
        int bytes = 0;
        ioctl(m_ends[0], FIONREAD, &bytes);
        return bytes;
    }

    int m_ends[2] = {-1, -1};
    int m_fill = 0;
};

TEST(DeleteOfAThreadOnPosix, EndsOneThatWaitsInPoll)
{
    useTheProcess();
    ProcessState const before;
    for (int i = 0; i < 50; ++i) {
        Subject subject;
        subject.round = [](Subject &) { poll(nullptr, 0, -1); };
        ASSERT_EQ(ZEP_eThreadDelete(startSubject(subject)), ZEP_OK);
    }
    EXPECT_TRUE(waitUntilNoMoreThreadsThan(before));
}

TEST(DeleteOfAThreadOnPosix, LeavesPipeFileAndErrorStreamUnlockedAndGoodWhereItsWriteIsStuck)
{
    if (kHasThreadSanitizer) {
        GTEST_SKIP() << "the thread sanitizer lets no signal into a write";
    }
    // By itself, with the lock of a file inside the C library, and with that of a stream above.
    constexpr void (*kRounds[])(Subject &) = {
        [](Subject & subject) { (void)!write(subject.descriptor, "a block of bytes", 16); },
        [](Subject & subject) { std::fputs("a line that goes out at once\n", subject.file); }, &writeToErrorStream};
    int const previous = dup(STDERR_FILENO);
    for (int i = 0; i < 300 / kShare; ++i) {
        FullPipe pipe;
        auto subject = std::make_unique<Subject>();
        subject->round = kRounds[i % 3];
        subject->descriptor = pipe.writer();
        subject->file = stderr;
        dup2(pipe.writer(), STDERR_FILENO);
        std::uint64_t const handle = startSubject(*subject, i % 2 == 0 ? 10 : 0);
        std::uint32_t const status = ZEP_eThreadDelete(handle);
        bool const isUnlocked = ftrylockfile(stderr) == 0;
        if (isUnlocked) {
            funlockfile(stderr);
        }
        dup2(previous, STDERR_FILENO);
        ASSERT_EQ(status, ZEP_OK);
        ASSERT_TRUE(isUnlocked);
        subject.reset();
        EXPECT_EQ(std::ferror(stderr), 0);
        EXPECT_TRUE(std::cerr.good());
        EXPECT_TRUE(pipe.isAsFilled());
        EXPECT_TRUE(pipe.endsWithItsWriter());
    }
    close(previous);
    useTheProcess();
}

TEST(DeleteOfAThreadOnPosix, ThatItCannotReachSaysSoAndKeepsTheHandle)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const deleteDeaf = [] {
        std::atomic<bool> isDeaf{false};
        std::atomic<bool> mayEnd{false};
        Work work = [&] {
            sigset_t all;
            sigfillset(&all);
            pthread_sigmask(SIG_SETMASK, &all, nullptr);
            isDeaf = true;
            return waitUntil([&] { return mayEnd.load(); }) ? 4U : 0U;
        };
        std::uint64_t const handle = start(work);
        waitUntil([&] { return isDeaf.load(); });
        bool const stillRuns = ZEP_eThreadDelete(handle) == ZEP_STILL_RUNS;
        mayEnd = true;
        std::exit(stillRuns && joinAndCleanUp(handle) == 4 ? 0 : 1);
    };
    EXPECT_EXIT(deleteDeaf(), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace common_zep::test
