#include "host_process.h"
#include "temporary_folder.h"

namespace tracehost::test {
namespace {

struct UseCase
{
    Arguments arguments;
    char const * complaint;
};

class HostWrongUse : public testing::TestWithParam<UseCase>
{
};

TEST_P(HostWrongUse, GivesOneLineAndStartsNothing)
{
    Arguments command{TRACEHOST_PROGRAM};
    command.insert(command.end(), GetParam().arguments.begin(), GetParam().arguments.end());
    Process host(command);
    EXPECT_EQ(host.wait(), 2);
    EXPECT_EQ(host.errors(), "tracehost: " + std::string(GetParam().complaint) + "\n");
    EXPECT_EQ(host.output(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Options, HostWrongUse,
    testing::Values(
        UseCase{{"--bogus"}, "The following argument was not expected: --bogus"},
        UseCase{{"more"}, "The following argument was not expected: more"},
        UseCase{{"two\nlines"}, "The following argument was not expected: two?lines"},
        UseCase{{"--period"}, "--period: a value is missing"},
        UseCase{{"--period", "1ms", "--period", "2ms"}, "--period: given more than once"},
        UseCase{{"--load", "1", "--load"}, "--load: given more than once"},
        UseCase{{"--period", "1"}, "--period: '1' is not a whole number with one of the units ns, us, ms, s, m, h"},
        UseCase{{"--period", "-1ms"},
                "--period: '-1ms' is not a whole number with one of the units ns, us, ms, s, m, h"},
        UseCase{{"--period", "0ms"}, "--period: '0ms' is not between 10us and 1m"},
        UseCase{{"--period", "61s"}, "--period: '61s' is not between 10us and 1m"},
        UseCase{{"--warn-above", "0"},
                "--warn-above: '0' is not a whole number with one of the units ns, us, ms, s, m, h"},
        UseCase{{"--warn-above", "2ms"}, "--error-above: 1ms is below the 2ms of --warn-above"},
        UseCase{{"--error-above", "249us"}, "--error-above: 249us is below the 250us of --warn-above"},
        UseCase{{"--duration", "20"},
                "--duration: '20' is not a whole number with one of the units ns, us, ms, s, m, h"},
        UseCase{{"--priority", "100"}, "--priority: '100' is not a number from 0 to 99"},
        UseCase{{"--priority", "-1"}, "--priority: '-1' is not a number from 0 to 99"},
        UseCase{{"--priority", "high"}, "--priority: 'high' is not a number from 0 to 99"},
        UseCase{{"--cpu", "99999"}, "--cpu: '99999' is no processor that this process may use"},
        UseCase{{"--cpu", "x"}, "--cpu: 'x' is no processor that this process may use"},
        UseCase{{"--load", "0"}, "--load: '0' is not a number from 1 to 256"},
        UseCase{{"--load", "257"}, "--load: '257' is not a number from 1 to 256"},
        UseCase{{"--follow", ""}, "--follow: '' names no file"},
        UseCase{{"--follow", "/"}, "--follow: '/' names no file"},
        UseCase{{"--follow", "/dev/null"}, "--follow: '/dev/null' is not a regular file"},
        UseCase{{"--follow", "a|b"}, "--follow: 'a|b' has a character in its name that would break a record"},
        UseCase{{"--follow", "stdin"}, "--follow: 'stdin' makes a unit that exists already: input.stdin"},
        UseCase{{"--follow", "a.b", "--follow", "x/a_b"},
                "--follow: 'x/a_b' makes a unit that exists already: input.a_b"},
        UseCase{{"--state", "cycle.*"}, "--state: 'cycle.*' is not PATTERN=FLAGS, with FLAGS from m, w, e, or -"},
        UseCase{{"--state", "cycle.*=x"}, "--state: 'cycle.*=x' is not PATTERN=FLAGS, with FLAGS from m, w, e, or -"},
        UseCase{{"--root", "/"}, "--root: '/' has no file bfbs/common/log/trace/enablingstates.bfbs"},
        UseCase{{"--socket", ""}, "--socket: '' is not a path of 1 to 107 characters"},
        UseCase{{"--ring", "1048575"}, "--ring: '1048575' is not a size from 1MiB to 16GiB, or 0"},
        UseCase{{"--ring", "1025KB"}, "--ring: '1025KB' is not a size from 1MiB to 16GiB, or 0"},
        UseCase{{"--ring", "99999999999GiB"}, "--ring: '99999999999GiB' is not a size from 1MiB to 16GiB, or 0"},
        UseCase{{"--list", "--tree"}, "--list excludes --tree"},
        UseCase{{"--self-trace", "mm"}, "--self-trace: 'mm' is not made of m, w, e, and not -"},
        UseCase{{"--state", "axis.*=m"}, "--state: no unit matches 'axis.*'"}),
    [](auto const & tested) { return caseName(tested.index, tested.param.arguments); });

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
