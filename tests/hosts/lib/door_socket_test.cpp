#include "hosts/lib/door_support.h"

#include <sys/stat.h>
#include <sys/wait.h>

namespace common::log::test {

using testing::HasSubstr;

namespace {

class DoorSocket : public DoorTest
{
};

class DoorRights : public DoorTest, public testing::WithParamInterface<mode_t>
{
};

std::string failureOf(std::function<void()> const & open)
{
    try {
        open();
    } catch (std::exception const & exception) {
        return exception.what();
    }
    return "";
}

TEST_P(DoorRights, AreTheSameUnderAnyMask)
{
    mode_t const previous = ::umask(GetParam());
    open();
    (void)::umask(previous);
    struct stat state = {};
    EXPECT_EQ(::stat(options.socketPath.c_str(), &state), 0);
    EXPECT_EQ(state.st_mode & 07777U, 0660U);
    door.reset();
    EXPECT_FALSE(std::filesystem::exists(options.socketPath));
}
INSTANTIATE_TEST_SUITE_P(Masks, DoorRights, testing::Values(0, 022, 077));

TEST_F(DoorSocket, TakesThePlaceOfAStaleOneAndNotOfALivingOne)
{
    std::filesystem::create_directories(folder.pathOf("run"));
    pid_t const child = ::fork();
    if (child == 0) { // a host that is killed
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        (void)options.socketPath.copy(address.sun_path, sizeof address.sun_path - 1);
        int const listening = ::socket(AF_UNIX, SOCK_STREAM, 0);
        (void)::bind(listening, reinterpret_cast<sockaddr const *>(&address), sizeof address);
        (void)::listen(listening, 1);
        ::_exit(0);
    }
    (void)::waitpid(child, nullptr, 0);
    ASSERT_TRUE(std::filesystem::exists(options.socketPath));
    open();
    EXPECT_EQ(call("GET /health").status, 200);
    std::string const taken = "already runs, process " + std::to_string(::getpid());
    EXPECT_THAT(failureOf([this] { Door const second(options, host, service, board, census); }), HasSubstr(taken));
    EXPECT_EQ(call("GET /health").status, 200);
}

TEST_F(DoorSocket, LeavesWhatIsNotItsOwn)
{
    folder.append("file", "text");
    options.socketPath = folder.pathOf("file");
    EXPECT_THAT(failureOf([this] { open(); }), HasSubstr(options.socketPath));
    EXPECT_EQ(std::filesystem::file_size(options.socketPath), 4U);
    options.socketPath = folder.pathOf(std::string(108, 'a'));
    EXPECT_THAT(failureOf([this] { open(); }), HasSubstr("too long"));
    options.socketPath = folder.pathOf("host.sock");
    open();
    std::filesystem::rename(options.socketPath, folder.pathOf("old"));
    folder.append("host.sock", "of the next host");
    door.reset();
    EXPECT_TRUE(std::filesystem::exists(options.socketPath));
}

TEST_F(DoorSocket, IsClosedForOthers)
{
    if (::getuid() != 0) {
        GTEST_SKIP() << "only root can become somebody else";
    }
    open();
    std::filesystem::permissions(folder.pathOf(""), std::filesystem::perms::all);
    pid_t const child = ::fork();
    if (child == 0) {
        constexpr uid_t kNobody = 65534;
        bool const isNobody = ::setgid(kNobody) == 0 && ::setuid(kNobody) == 0;
        ::_exit(isNobody ? RawClient(options.socketPath).error() : 0);
    }
    int status = 0;
    (void)::waitpid(child, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), EACCES);
}

} // namespace

} // namespace common::log::test
