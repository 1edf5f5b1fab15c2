#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace common_zep::test {

/// A pipe that takes nothing more, so that a write to it waits until somebody reads.
class FullPipe
{
public:
    FullPipe()
    {
        EXPECT_EQ(pipe2(m_ends, O_CLOEXEC), 0);
        fcntl(m_ends[1], F_SETFL, O_NONBLOCK);
        char const block[4096] = {};
        while (write(m_ends[1], block, sizeof(block)) > 0) {
        }
        while (write(m_ends[1], block, 1) > 0) {
        }
        fcntl(m_ends[1], F_SETFL, 0);
        m_fill = waiting();
    }
    FullPipe(FullPipe const &) = delete;
    FullPipe & operator=(FullPipe const &) = delete;
    ~FullPipe()
    {
        close(m_ends[0]);
        closeWriter();
    }

    int writer() const { return m_ends[1]; }
    bool isAsFilled() const { return waiting() == m_fill; }

    /// Whether nobody else holds the writing end: then its closing shows as the end of the data.
    bool endsWithItsWriter()
    {
        closeWriter();
        char block[65536];
        ssize_t got = 0;
        fcntl(m_ends[0], F_SETFL, O_NONBLOCK);
        while ((got = read(m_ends[0], block, sizeof(block))) > 0) {
        }
        return got == 0;
    }

private:
    int waiting() const
    {
        int bytes = 0;
        ioctl(m_ends[0], FIONREAD, &bytes);
        return bytes;
    }
    void closeWriter()
    {
        if (m_ends[1] >= 0) {
            close(m_ends[1]);
        }
        m_ends[1] = -1;
    }

    int m_ends[2] = {-1, -1};
    int m_fill = 0;
};

} // namespace common_zep::test
