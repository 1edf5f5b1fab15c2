#include "store_support.h"

#include <gmock/gmock.h>

#include <cstring>
#include <optional>

namespace common::log::host::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::vector<std::string> const kOld{"axis m"};
std::vector<std::string> const kNew{"axis we", "io e"};

struct Fault
{
    char const * name;
    WatchedOperations::Answer answer;
    bool isHarmless;
};

class FileStoreFault : public testing::TestWithParam<Fault>
{
protected:
    /// Calls `use` in a fresh folder with a saved file, again and again, while the first, the second, … call of the
    /// system fails; until no call is left.
    template <typename Use, typename Check>
    void forEachCall(Use const & use, Check const & check) const
    {
        for (int failing = 0;; ++failing) {
            TemporaryFolder const folder;
            ASSERT_EQ(Client(folder.pathOf("")).save(dataOf(kOld)), 0);
            int left = failing;
            std::optional<Call> failed;
            std::vector<Call> calls;
            Client client(folder.pathOf(""), std::make_unique<WatchedOperations>(calls, [&](Call const & call) {
                              if (left-- != 0) {
                                  return WatchedOperations::Answer();
                              }
                              failed = call;
                              return GetParam().answer;
                          }));
            std::int32_t const result = use(client);
            if (!failed) {
                EXPECT_EQ(result, 0);
                EXPECT_GT(failing, 5);
                return;
            }
            SCOPED_TRACE("call " + std::to_string(failing) + ": " + failed->name + " " + failed->path);
            if (result < 0) {
                EXPECT_FALSE(GetParam().isHarmless);
                EXPECT_EQ(client.diag().diagCode, static_cast<std::uint32_t>(StoreFault::system));
                EXPECT_EQ(client.diag().diagThird, GetParam().answer.error);
                EXPECT_THAT(client.diag().diagText, HasSubstr(std::strerror(GetParam().answer.error)));
            }
            Client after(folder.pathOf(""));
            check(folder, after, result, *failed);
        }
    }
};

} // namespace

TEST_P(FileStoreFault, InASaveLeavesTheOldFileOrTheNew)
{
    forEachCall([](Client & client) { return client.save(dataOf(kNew)); },
                [](TemporaryFolder const & folder, Client & after, std::int32_t result, Call const & failed) {
                    // The names are brought to the disk behind the rename: the new file is there, but not for sure.
                    bool const isInPlace = failed.name == "flush" && failed.path.find(".tmp") == std::string::npos;
                    EXPECT_EQ(after.loaded(), result == 0 || isInPlace ? kNew : kOld);
                    EXPECT_THAT(namesIn(folder.pathOf("")), ElementsAre("trace", kFileName));
                });
}

TEST_P(FileStoreFault, InALoadLeavesTheFile)
{
    std::vector<std::string> units;
    forEachCall([&](Client & client) { return client.load(units); },
                [&](TemporaryFolder const & folder, Client & after, std::int32_t result, Call const &) {
                    EXPECT_EQ(units, result == 0 ? kOld : std::vector<std::string>());
                    EXPECT_EQ(after.loaded(), kOld);
                    EXPECT_THAT(namesIn(folder.pathOf("")), ElementsAre("trace", kFileName));
                });
}

TEST_P(FileStoreFault, InADeletionLeavesTheFileOrNone)
{
    forEachCall([](Client & client) { return client.remove(); },
                [](TemporaryFolder const &, Client & after, std::int32_t result, Call const & failed) {
                    EXPECT_EQ(after.exists(), result != 0 && failed.name != "flush");
                });
}
INSTANTIATE_TEST_SUITE_P(Of, FileStoreFault,
                         testing::Values(Fault{"fullDisk", {ENOSPC}, false}, Fault{"device", {EIO}, false},
                                         Fault{"rights", {EACCES}, false}, Fault{"interruption", {EINTR}, true},
                                         Fault{"shortCount", {0, true}, true}),
                         [](auto const & i) { return std::string(i.param.name); });

TEST(FileStoreDamage, ThatCannotBeRenamedStillCountsAsNothingSaved)
{
    TemporaryFolder const folder;
    write(folder.pathOf(kFileName), "damaged");
    std::vector<Call> calls;
    Client client(folder.pathOf(""), std::make_unique<WatchedOperations>(calls, [](Call const & call) {
                      return WatchedOperations::Answer{
                          call.name == "rename" && call.target.find(".bad") != std::string::npos ? EROFS : 0};
                  }));
    EXPECT_TRUE(client.exists());
    EXPECT_THAT(client.loaded(), ElementsAre(HasSubstr("cannot be set aside: ")));
    EXPECT_FALSE(client.exists());
    ASSERT_EQ(client.save(dataOf(kNew)), 0);
    EXPECT_TRUE(client.exists());
    EXPECT_EQ(client.loaded(), kNew);
}

TEST(FileStoreDamage, IsNotSetAsideOnceTheFileIsAnother)
{
    TemporaryFolder const folder;
    write(folder.pathOf(kFileName), "damaged");
    std::vector<Call> calls;
    Client client(folder.pathOf(""), std::make_unique<WatchedOperations>(calls, [&](Call const & call) {
                      if (call.name == "lock") { // somebody else had it before
                          EXPECT_EQ(Client(folder.pathOf("")).save(dataOf(kNew)), 0);
                      }
                      return WatchedOperations::Answer();
                  }));
    EXPECT_THAT(client.loaded(), ElementsAre(HasSubstr("has changed meanwhile")));
    EXPECT_EQ(client.loaded(), kNew);
}

TEST(FileStoreDirectory, ThatVanishedIsDiagnosed)
{
    TemporaryFolder const folder;
    Client client(folder.pathOf("gone"));
    EXPECT_EQ(client.save(dataOf(kNew)), -static_cast<std::int32_t>(StoreFault::system));
    EXPECT_EQ(client.diag().diagThird, ENOENT);
    EXPECT_FALSE(client.exists());
    std::vector<std::string> units;
    EXPECT_EQ(client.load(units), -static_cast<std::int32_t>(StoreFault::notSaved));
    EXPECT_EQ(client.remove(), -static_cast<std::int32_t>(StoreFault::notSaved));
    EXPECT_THAT(client.diag().diagText, HasSubstr(folder.pathOf("gone")));
}

} // namespace common::log::host::test
