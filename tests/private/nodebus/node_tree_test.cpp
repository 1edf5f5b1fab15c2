#include "node_fixture.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <random>
#include <set>
#include <thread>

namespace common::log::test {

using namespace common::log::trace;

namespace {

using Path = std::vector<std::string>;

Path split(std::string const & text, char separator)
{
    Path path(1);
    for (char const character : text) {
        if (character == separator) {
            path.emplace_back();
        } else {
            path.back() += character;
        }
    }
    return path;
}

/// A tree as one would draw it: each unit at the end of its path, with its flags.
struct Model
{
    /// The units that stand at an address or below it.
    std::vector<Path> reached(Path const & address) const
    {
        std::vector<Path> paths;
        for (auto const & [path, flags] : units) {
            if (path.size() >= address.size() && std::equal(address.begin(), address.end(), path.begin())) {
                paths.push_back(path);
            }
        }
        return paths;
    }
    std::string browse(Path const & address) const
    {
        std::set<std::string> children;
        for (Path const & path : reached(address)) {
            if (path.size() > address.size()) {
                children.insert(path[address.size()]);
            }
        }
        if (children.empty()) {
            return units.count(address) != 0 ? "NB_OK" : kInvalid;
        }
        std::string answer = "NB_OK [";
        for (std::string const & child : children) {
            answer += child + ",";
        }
        answer.back() = ']';
        return answer;
    }
    std::string read(Path const & address) const
    {
        std::string common = "111";
        for (Path const & path : reached(address)) {
            for (std::size_t i = 0; i < common.size(); ++i) {
                common[i] = std::min(common[i], units.at(path)[i]);
            }
        }
        return isThere(address) ? "NB_OK " + common : kInvalid;
    }
    std::string write(Path const & address, std::string const & flags)
    {
        for (Path const & path : reached(address)) {
            units[path] = flags;
        }
        return isThere(address) ? "NB_OK" : kInvalid;
    }
    bool isThere(Path const & address) const { return address.empty() || !reached(address).empty(); }

    std::string const kInvalid = "NB_INVALID_ADDRESS";
    std::map<Path, std::string> units;
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
    auto const pickFlags = [&pick] { return textOf(EnablingState{pick(2) == 0, pick(2) == 0, pick(2) == 0}); };
    std::map<std::string, int> answers;
    for (int tree = 0; tree < 3000; ++tree) {
        Model model;
        for (unsigned int count = pick(12); count > 0; --count) {
            Log & log = unit(pickPath('.'));
            std::string const flags = pickFlags();
            if (manager->addTraceUnit(&log, stateOf(flags)) == TRACE_OK) {
                model.units[split(log.getUnitName(), '.')] = flags;
            }
        }
        for (int request = 0; request < 20; ++request) {
            std::string const below = pick(8) == 0 ? "" : "/" + pickPath('/');
            Path const path = below.empty() ? Path() : split(below.substr(1), '/');
            std::string const address = "r/u" + below;
            SCOPED_TRACE(std::to_string(tree) + " " + address);
            std::string const flags = pickFlags();
            std::string const browsed = model.browse(path);
            ++answers[browsed.substr(0, browsed.find('['))];
            ASSERT_EQ(ask("Browse", address), browsed);
            ASSERT_EQ(ask("Read", address), model.read(path));
            ASSERT_EQ(ask("Write", address, flags), model.write(path, flags));
        }
        std::unordered_map<std::string, Log *> table;
        (void)manager->getAllTraceUnits(table);
        ASSERT_EQ(table.size(), model.units.size());
        for (auto const & [name, log] : table) {
            ASSERT_EQ(textOf(log->getEnablingState()), model.units.at(split(name, '.'))) << tree << " " << name;
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
    auto const comeAndGo = [this, &isOver](int number) {
        Log log(("axis.goes" + std::to_string(number)).c_str(), nullptr);
        while (!isOver) {
            EXPECT_EQ(manager->addTraceUnit(&log, kEverything), TRACE_OK);
            EXPECT_EQ(manager->removeTraceUnit(&log), TRACE_OK);
        }
    };
    auto const request = [this] {
        for (int round = 0; round < 500; ++round) {
            EXPECT_THAT(ask("Browse", "r/u/axis"), testing::EndsWith("stays]"));
            // A unit that went away since the table was copied fails the request.
            EXPECT_THAT(ask("Read", "r/u/axis"), testing::AnyOf("NB_OK 000", "NB_OK 111", "NB_SUBMODULE_FAILURE"));
            EXPECT_THAT(ask("Write", "r/u/axis", round % 2 == 0 ? "1" : "0"),
                        testing::AnyOf("NB_OK", "NB_SUBMODULE_FAILURE"));
            EXPECT_THAT(ask("Write", "r/u/axis/stays", "111"), "NB_OK");
        }
    };
    std::thread going[] = {std::thread(comeAndGo, 1), std::thread(comeAndGo, 2)};
    std::thread asking[] = {std::thread(request), std::thread(request)};
    for (std::thread & thread : asking) {
        thread.join();
    }
    isOver = true;
    for (std::thread & thread : going) {
        thread.join();
    }
}

} // namespace

} // namespace common::log::test
