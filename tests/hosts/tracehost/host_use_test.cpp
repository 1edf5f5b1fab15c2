#include "host_process.h"
#include "temporary_folder.h"

#include <utility>

namespace tracehost::test {
namespace {

TEST(HostUse, GivesOneLineForWrongUseAndStartsNothing)
{
    for (auto const & [arguments, complaint] :
         {std::pair<Arguments, char const *>{{"two\nlines"}, "The following argument was not expected: two?lines"},
          {{"--root", "/"}, "--root: '/' has no file bfbs/common/log/trace/enablingstates.bfbs"},
          {{"--state", "axis.*=m"}, "--state: no unit matches 'axis.*'"}}) {
        Arguments command{TRACEHOST_PROGRAM};
        command.insert(command.end(), arguments.begin(), arguments.end());
        Process host(command);
        EXPECT_EQ(host.wait(), 2);
        EXPECT_EQ(host.errors(), "tracehost: " + std::string(complaint) + "\n");
        EXPECT_EQ(host.output(), "");
    }
}

TEST(HostUse, ShowsHelpAndVersionOnStandardOutput)
{
    for (Arguments const & arguments : {Arguments{"--help"}, {"-h"}, {"--version"}}) {
        SCOPED_TRACE(arguments.front());
        Process host({TRACEHOST_PROGRAM, arguments.front()});
        EXPECT_EQ(host.wait(), 0);
        EXPECT_EQ(host.errors(), "");
        bool const isVersion = arguments.front() == "--version";
        EXPECT_THAT(host.output(), testing::ContainsRegex(isVersion ? "^tracehost [0-9]+\\.[0-9]+\\.[0-9]+\n$"
                                                                    : "--duration DURATION"));
    }
    Process full({"/bin/sh", "-c", "exec \"$0\" --help >/dev/full", TRACEHOST_PROGRAM});
    EXPECT_EQ(full.wait(), 1);
}

TEST(HostUse, ListsItsUnitsWithTheirStatesAndStartsNone)
{
    Process host({TRACEHOST_PROGRAM, "--list", "--state", "cycle.*=we", "--state", "host.loss=-", "--self-trace", "m",
                  "--follow", "/no/such.log", "--state-dir", kNoStates});
    EXPECT_EQ(host.wait(), 0);
    EXPECT_EQ(host.output(), "unit              default  current  saved\n"
                             "common.log.trace  e        m\n"
                             "cycle.summary     we       we\n"
                             "cycle.wakeup      we       we\n"
                             "host.loss         -        -\n"
                             "host.nodes        mwe      mwe\n"
                             "host.start        mwe      mwe\n"
                             "host.store        mwe      mwe\n"
                             "host.switch       mwe      mwe\n"
                             "input.stdin       mwe      mwe\n"
                             "input.such_log    mwe      mwe\n");
    EXPECT_THAT(messagesOf(host.errors(), "host.start"), testing::IsEmpty());
}

TEST(HostUse, ShowsItsNodesAsAClientFindsThem)
{
    Process host({TRACEHOST_PROGRAM, "--tree", "--state", "cycle.wakeup=w", "--state-dir", kNoStates});
    EXPECT_EQ(host.wait(), 0);
    for (char const * const line :
         {"trace\n", "\n    admin\n      cfg  (Group)  The config node ", "\n        save  (Request)  This node saves ",
          "\n    units  (Value -)  ", "\n      cycle  (Value w)  ", "\n        summary  (Value mwe)  "}) {
        EXPECT_THAT(host.output(), testing::HasSubstr(line));
    }
}

TEST(HostUse, KeepsItsStatesOverARestartUntilTheyAreForgotten)
{
    TemporaryFolder const folder;
    Arguments const store{"--state-dir", folder.pathOf("states"), "--duration", "10ms"};
    auto const run = [&store](Arguments arguments) {
        arguments.insert(arguments.end(), store.begin(), store.end());
        Process host(hostCommand(arguments));
        EXPECT_EQ(host.wait(), 0) << host.errors();
        return host.output();
    };
    (void)run({"--save", "--state", "cycle.*=w"});
    std::string const saved = run({"--list"});
    EXPECT_THAT(saved, testing::HasSubstr("\ncycle.wakeup      mwe      w        w\n"));
    EXPECT_THAT(saved, testing::HasSubstr("\nhost.start        mwe      mwe      mwe\n"));
    EXPECT_THAT(run({"--list", "--follow", "/new"}), testing::HasSubstr("\ninput.new         mwe      mwe\n"));
    EXPECT_THAT(run({"--forget"}), testing::StartsWith("Deleted "));
    EXPECT_THAT(run({"--forget"}), testing::StartsWith("Nothing was saved "));
    EXPECT_THAT(run({"--list"}), testing::HasSubstr("\ncycle.wakeup      mwe      mwe\n"));
}

TEST(HostUse, SaysWhereItCannotSave)
{
    Process host(hostCommand({"--save", "--state-dir", "/proc/states", "--duration", "10ms"}));
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(messagesOf(host.errors(), "host.store"),
                testing::ElementsAre("Cannot save the states of the units in /proc/states: NB_SUBMODULE_FAILURE"));
}

TEST(HostUse, LetsOutWhatTheLibraryTracesOfItself)
{
    Process host(hostCommand({"--self-trace", "m", "--duration", "10ms"}));
    EXPECT_EQ(host.wait(), 0);
    EXPECT_THAT(messagesOf(host.errors(), "common.log.trace"),
                testing::IsSupersetOf({"Add trace unit 'cycle.wakeup'.", "Remove trace unit 'cycle.wakeup'."}));
    Process quiet(hostCommand({"--self-trace", "-", "--duration", "10ms"}));
    EXPECT_EQ(quiet.wait(), 0);
    EXPECT_EQ(messagesOf(quiet.errors(), "common.log.trace").size(), kHandlerRecords);
}

} // namespace
} // namespace tracehost::test
