#include "file_follower.h"

#include "temporary_folder.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include <sys/stat.h>

namespace tracehost {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FileFollowerTest : public testing::Test
{
protected:
    /// What came, as often as a look says that there is more.
    std::vector<std::string> look(FileFollower & follower)
    {
        while (follower.look(m_keep)) {
        }
        return std::exchange(m_lines, {});
    }
    std::vector<std::string> reopen(FileFollower & follower)
    {
        follower.reopen(m_keep);
        return std::exchange(m_lines, {});
    }

    test::TemporaryFolder m_folder;
    std::vector<std::string> m_lines;
    LineFunction m_keep = [this](std::string const & line) { m_lines.push_back(line); };
};

TEST_F(FileFollowerTest, ReadsWhatComesBehindTheEndOfAnExistingFileAndALaterOneWhole)
{
    m_folder.append("log", "old\n");
    FileFollower follower(m_folder.pathOf("log"));
    FileFollower later(m_folder.pathOf("later"));
    EXPECT_THAT(look(follower), IsEmpty());
    EXPECT_THAT(look(later), IsEmpty());
    m_folder.append("log", "one\ntwo\nthr");
    EXPECT_THAT(look(follower), ElementsAre("one", "two"));
    m_folder.append("log", "ee\nfo");
    EXPECT_THAT(look(follower), ElementsAre("three"));
    m_folder.append("log", "ur");
    follower.finish(m_keep);
    EXPECT_THAT(std::exchange(m_lines, {}), ElementsAre("four"));

    m_folder.append("later", "one\n");
    EXPECT_THAT(look(later), ElementsAre("one"));
    m_folder.append("later", "two\n");
    EXPECT_THAT(look(later), ElementsAre("two"));
    EXPECT_FALSE(later.takeProblem());
}

TEST_F(FileFollowerTest, LosesNothingWhereTheFileRotates)
{
    m_folder.append("log", "");
    FileFollower follower(m_folder.pathOf("log"));
    m_folder.append("log", "one\ntw");
    m_folder.rename("log", "log.1");
    EXPECT_THAT(look(follower), ElementsAre("one"));
    // Its writer still holds the old file, and goes on there even when the new one has been made.
    m_folder.append("log.1", "o\n");
    m_folder.append("log", "");
    EXPECT_THAT(look(follower), ElementsAre("two"));
    m_folder.append("log.1", "three\nfour");
    m_folder.append("log", "five\n");
    EXPECT_THAT(look(follower), ElementsAre("three", "four", "five"));
    m_folder.append("log.1", "of no interest\n");
    m_folder.append("log", "six\n");
    EXPECT_THAT(look(follower), ElementsAre("six"));
}

TEST_F(FileFollowerTest, BeginsAgainWhereTheFileShrinksAndReadsADeletedOneUntilOneOfItsNameComes)
{
    m_folder.append("log", "a long line that was there before\n");
    FileFollower follower(m_folder.pathOf("log"));
    m_folder.append("log", "half");
    EXPECT_THAT(look(follower), IsEmpty());
    m_folder.truncate("log");
    m_folder.append("log", "new\n");
    EXPECT_THAT(look(follower), ElementsAre("half", "new"));

    std::ofstream writer(m_folder.pathOf("log"), std::ios::app);
    m_folder.remove("log");
    writer << "one\n" << std::flush;
    EXPECT_THAT(look(follower), ElementsAre("one"));
    writer << "two" << std::flush;
    m_folder.append("log", "three\n");
    EXPECT_THAT(look(follower), ElementsAre("two", "three"));
}

TEST_F(FileFollowerTest, OpensAgainWithoutReadingTwice)
{
    m_folder.append("log", "");
    FileFollower follower(m_folder.pathOf("log"));
    m_folder.append("log", "one\nhalf");
    EXPECT_THAT(look(follower), ElementsAre("one"));
    EXPECT_THAT(reopen(follower), IsEmpty());
    m_folder.append("log", " a line\n");
    EXPECT_THAT(look(follower), ElementsAre("half a line"));

    m_folder.append("log", "two");
    m_folder.rename("log", "log.1");
    m_folder.append("log", "");
    EXPECT_THAT(reopen(follower), ElementsAre("two")); // switches to the empty file as well
    m_folder.append("log.1", "of no interest\n");
    m_folder.append("log", "three\n");
    EXPECT_THAT(look(follower), ElementsAre("three"));

    m_folder.remove("log");
    EXPECT_THAT(reopen(follower), IsEmpty());
    EXPECT_THAT(look(follower), IsEmpty());
    m_folder.append("log", "four\n");
    EXPECT_THAT(look(follower), ElementsAre("four"));
}

TEST_F(FileFollowerTest, TakesABigFileInParts)
{
    FileFollower follower(m_folder.pathOf("log"));
    std::string const line(99, 'x');
    std::size_t constexpr count = 3 * FileFollower::kMostBytes / 100;
    std::string text;
    for (std::size_t written = 0; written < count; ++written) {
        text += line + "\n";
    }
    m_folder.append("log", text);
    (void)follower.look(m_keep);
    EXPECT_LE(m_lines.size(), FileFollower::kMostBytes / 100);
    EXPECT_FALSE(m_lines.empty());
    while (follower.look(m_keep)) {
    }
    EXPECT_EQ(m_lines, std::vector<std::string>(count, line));
}

TEST_F(FileFollowerTest, ReportsOnceWhatItCannotRead)
{
    FileFollower follower(m_folder.pathOf("log"));
    ASSERT_EQ(::mkfifo(m_folder.pathOf("log").c_str(), 0600), 0);
    EXPECT_THAT(look(follower), IsEmpty());
    EXPECT_EQ(follower.takeProblem(), "not a regular file");
    EXPECT_THAT(look(follower), IsEmpty());
    EXPECT_FALSE(follower.takeProblem());
    EXPECT_THAT(reopen(follower), IsEmpty());
    EXPECT_EQ(follower.takeProblem(), "not a regular file");
    m_folder.remove("log");
    m_folder.append("log", "one\n");
    EXPECT_THAT(look(follower), ElementsAre("one"));
}

} // namespace
} // namespace tracehost
