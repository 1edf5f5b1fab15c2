#include "private/manager/manager_fixture.h"

#include "helper/object_text.h"
#include "support/scoped_environment.h"

#include <comm/nodebus.h>

namespace common::log::test {

using namespace common::log::trace;
using namespace comm::nodebus;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// The connection to a service: keeps what it is called for, and fails at a call of the test's choice.
class RecordingProvider : public IProvider
{
public:
    RecordingProvider(std::string & calls, std::size_t failing, NbResult failure)
        : m_calls(calls), m_failing(failing), m_failure(failure)
    {}
    ~RecordingProvider() override { m_calls += "deleted\n"; }

    NbResult registerNode(std::string const & address, IProviderNode * node) override
    {
        std::string answers;
        node->onCreate("a/b/c/d", nullptr, [](NbResult, Variant const *) {});
        bool const isConfig = dynamic_cast<ConfigProviderNode *>(node) != nullptr;
        return called("register " + address + (isConfig ? " config" : " units"));
    }
    NbResult unregisterNode(std::string const & address) override { return called("unregister " + address); }
    NbResult start() override { return called("start"); }
    NbResult stop() override { return called("stop"); }

private:
    NbResult called(std::string const & call)
    {
        m_calls += call + "\n";
        return ++m_count == m_failing ? m_failure : NB_OK;
    }

    std::string & m_calls;
    std::size_t m_failing;
    NbResult m_failure;
    std::size_t m_count = 0;
};

std::string const kStart = "start\n";
std::string const kRegistered = "register trace/s/units/** units\n"
                                "register trace/s/units units\n"
                                "register trace/s/admin/cfg/* config\n";
std::string const kStopped = "unregister trace/s/units/**\n"
                             "unregister trace/s/units\n"
                             "unregister trace/s/admin/cfg/*\n"
                             "stop\n"
                             "deleted\n";

class Provider : public ManagerTest
{
protected:
    void run(std::size_t failing = 0, NbResult failure = NB_FAILED)
    {
        calls.clear();
        (void)takeReports();
        provider.start(new RecordingProvider(calls, failing, failure));
        provider.stop();
        reports = takeReports();
        reports.erase(
            std::remove_if(reports.begin(), reports.end(),
                           [](std::string const & report) { return report.find("onCreate") != std::string::npos; }),
            reports.end());
    }

    ScopedEnvironment snap{"SNAP_NAME", "s"};
    NodebusProvider provider{manager};
    std::string calls;
    std::vector<std::string> reports;
};

TEST_F(Provider, RegistersInOrderMayBeStartedAgainAndReportsWhatItIsNotGiven)
{
    for (int round = 0; round < 2; ++round) {
        run();
        EXPECT_EQ(calls, kStart + kRegistered + kStopped);
        EXPECT_THAT(reports, IsEmpty());
    }
    provider.start(nullptr);
    provider.stop();
    EXPECT_THAT(takeReports(), ElementsAre("error NodebusProvider::start: Invalid argument: nbProvider",
                                           "error NodebusProvider::stop: Invalid argument: m_nbProvider"));
}

TEST_F(Provider, GoesOnWithAProviderThatIsNotConnectedYet)
{
    run(1, NB_CLIENT_NOT_CONNECTED);
    EXPECT_EQ(calls, kStart + kRegistered + kStopped);
    EXPECT_THAT(reports,
                ElementsAre("message NodebusProvider::start: Node Bus client is not yet connected. Continue with "
                            "start process of Node Bus provider. The client automatically tries to reconnect."));
}

TEST_F(Provider, ReportsEachStepThatFailsAndGoesOnButRegistersNothingWithoutAStart)
{
    char const * const steps[] = {"start",          "registerNode",   "registerNode",   "registerNode",
                                  "unregisterNode", "unregisterNode", "unregisterNode", "stop"};
    for (std::size_t i = 0; i < std::size(steps); ++i) {
        SCOPED_TRACE(i);
        run(1 + i);
        EXPECT_EQ(calls, kStart + (i == 0 ? "" : kRegistered) + kStopped);
        std::string const operation = i < 4 ? "start" : "stop";
        ASSERT_EQ(reports.size(), 1U);
        std::string const beginning = "error NodebusProvider::" + operation + ": Calling '" + steps[i] + "' of ";
        EXPECT_EQ(reports[0].substr(0, beginning.size()), beginning);
        EXPECT_THAT(reports[0], testing::EndsWith(std::string(i == 0 ? "of Node Bus provider" : "") +
                                                  " failed with error code 0x80000001"));
        // The addresses are too long for what is printed of them, which is no text.
        EXPECT_EQ(reports[0].find("trace/s"), i == 2 || i == 5 ? reports[0].find("trace/s/units") : std::string::npos);
    }
}

TEST_F(Provider, LeavesAProviderBehindThatWasNotStopped)
{
    auto left = std::make_unique<RecordingProvider>(calls, 0, NB_OK);
    {
        NodebusProvider unstopped(manager);
        unstopped.start(left.get());
    }
    EXPECT_EQ(calls, kStart + kRegistered);
}

} // namespace

} // namespace common::log::test
