#include "node_fixture.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <map>
#include <numeric>
#include <random>
#include <set>
#include <sstream>
#include <thread>

namespace common::log::test {

using namespace common::log::trace;

namespace {

using Path = std::vector<std::string>;

Path split(std::string const & text, char separator)
{
    Path path;
    std::istringstream stream(text + separator);
    for (std::string part; std::getline(stream, part, separator);) {
        path.push_back(part);
    }
    return path;
}

/// A tree as one would draw it: each unit at the end of its path, with its flags.
struct Model : std::map<Path, std::string>
{
    /// The answers to browse, read and write.
    std::array<std::string, 3> request(Path const & address, std::string const & newFlags)
    {
        bool isThere = address.empty();
        std::set<std::string> children;
        std::string common = "111";
        for (auto & [path, flags] : *this) {
            if (path.size() < address.size() || !std::equal(address.begin(), address.end(), path.begin())) {
                continue;
            }
            isThere = true;
            if (path.size() > address.size()) {
                children.insert(path[address.size()] + ",");
            }
            for (std::size_t i = 0; i < common.size(); ++i) {
                common[i] = std::min(common[i], flags[i]);
            }
            flags = newFlags;
        }
        std::string const list = std::accumulate(children.begin(), children.end(), std::string());
        std::string const invalid = "NB_INVALID_ADDRESS";
        return {!children.empty()     ? "NB_OK [" + list + "]"
                : count(address) != 0 ? "NB_OK"
                                      : invalid,
                isThere ? "NB_OK " + common : invalid, isThere ? "NB_OK" : invalid};
    }
};

TEST_F(NodeTest, AnswersLikeAPlainModelOverManyRandomTrees)
{
    setFlags(internalTrace, kNothing);
    std::mt19937 random(65); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same run each time
    auto const pick = [&random](unsigned int count) { return static_cast<unsigned int>(random() % count); };
    auto const pickPath = [&pick](char separator) {
        std::string const labels[] = {"a", "b", "ab", "a", "b", ""};
        std::string path = labels[pick(5)];
        for (unsigned int depth = pick(4); depth > 0; --depth) {
            path += separator + labels[pick(6)];
        }
        return path;
    };
    auto const pickState = [&pick] { return EnablingState{pick(2) == 0, pick(2) == 0, pick(2) == 0}; };
    std::map<std::string, int> answers;
    for (int tree = 0; tree < 3000; ++tree) {
        Model model;
        for (unsigned int count = pick(12); count > 0; --count) {
            Log & log = unit(pickPath('.'));
            EnablingState const state = pickState();
            if (manager->addTraceUnit(&log, state) == TRACE_OK) {
                model[split(log.getUnitName(), '.')] = textOf(state);
            }
        }
        for (int request = 0; request < 20; ++request) {
            std::string const below = pick(8) == 0 ? "" : "/" + pickPath('/');
            Path const path = below.empty() ? Path() : split(below.substr(1), '/');
            std::string const address = "r/u" + below;
            SCOPED_TRACE(std::to_string(tree) + " " + address);
            std::string const flags = textOf(pickState());
            auto const [browsed, read, written] = model.request(path, flags);
            ++answers[browsed.substr(0, browsed.find('['))];
            ASSERT_EQ(ask("Browse", address), browsed);
            ASSERT_EQ(ask("Read", address), read);
            ASSERT_EQ(ask("Write", address, flags), written);
        }
        std::unordered_map<std::string, Log *> table;
        (void)manager->getAllTraceUnits(table);
        ASSERT_EQ(table.size(), model.size());
        for (auto const & [name, log] : table) {
            ASSERT_EQ(textOf(log->getEnablingState()), model.at(split(name, '.'))) << tree << " " << name;
            (void)manager->removeTraceUnit(log);
        }
        units.clear();
    }
    EXPECT_GT(answers["NB_OK "], 3000) << "groups";
    EXPECT_GT(answers["NB_OK"], 3000) << "units";
    EXPECT_GT(answers["NB_INVALID_ADDRESS"], 3000);
}

TEST_F(NodeTest, AnswersOnceWhileUnitsComeAndGo)
{
    setFlags(internalTrace, kNothing);
    (void)registered("axis.stays");
    std::atomic<bool> isOver{false};
    std::thread going([this, &isOver] {
        Log log("axis.goes", nullptr);
        while (!isOver) {
            EXPECT_EQ(manager->addTraceUnit(&log, kEverything), TRACE_OK);
            EXPECT_EQ(manager->removeTraceUnit(&log), TRACE_OK);
        }
    });
    auto const request = [this] {
        for (int round = 0; round < 500; ++round) {
            EXPECT_THAT(ask("Browse", "r/u/axis"), testing::EndsWith("stays,]"));
            // A unit that went away since the table was copied fails the request.
            EXPECT_THAT(ask("Read", "r/u/axis"), testing::AnyOf("NB_OK 000", "NB_OK 111", "NB_SUBMODULE_FAILURE"));
            EXPECT_THAT(ask("Write", "r/u/axis", round % 2 == 0 ? "1" : "0"),
                        testing::AnyOf("NB_OK", "NB_SUBMODULE_FAILURE"));
            EXPECT_THAT(ask("Write", "r/u/axis/stays", "111"), "NB_OK");
        }
    };
    std::thread asking(request);
    request();
    asking.join();
    isOver = true;
    going.join();
}

} // namespace

} // namespace common::log::test
