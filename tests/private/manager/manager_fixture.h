#pragma once

#include "support/internal_trace_access.h"
#include "support/persistence_fake.h"
#include "support/record.h"
#include "support/stream_capture.h"

#include <common/log/trace.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace common::log::trace {

inline bool operator==(EnablingState const & left, EnablingState const & right)
{
    return left.messages == right.messages && left.warnings == right.warnings && left.errors == right.errors;
}

} // namespace common::log::trace

namespace common::log::test {

constexpr trace::EnablingState kNothing{false, false, false};
constexpr trace::EnablingState kEverything{true, true, true};
constexpr trace::EnablingState kWarningsOnly{false, true, false};

/// A record as "severity operation: text", the operation without its namespace.
inline std::string reportOf(std::string_view line)
{
    Record const record = parseRecord(std::string(line));
    std::string const space = "common::log::trace::";
    bool const isOwn = record.functionName.rfind(space, 0) == 0;
    return record.title.substr(6, record.title.find(' ', 6) - 6) + " " +
           record.functionName.substr(isOwn ? space.size() : 0) + ": " + record.message;
}

/// A manager whose reports all go out, on the thread that they arise on. Nothing is saved for its units.
class ManagerTest : public testing::Test
{
protected:
    ManagerTest()
    {
        setFlags(internalTrace, kEverything);
        manager->setBundleRootPath(COMMON_LOG_TRACE_BUNDLE_ROOT);
        manager->setPersistenceHelper(&persistence.itf);
    }

    /// A unit that lives as long as the test.
    trace::Log & unit(std::string const & name)
    {
        units.push_back(std::make_unique<trace::Log>(name.c_str(), nullptr));
        return *units.back();
    }
    trace::Log & registered(std::string const & name, trace::EnablingState const & state = kNothing)
    {
        trace::Log & added = unit(name);
        EXPECT_EQ(manager->addTraceUnit(&added, state), trace::TRACE_OK) << name;
        (void)takeReports();
        return added;
    }
    /// What was reported since the last call, each as a whole, whichever thread wrote it.
    std::vector<std::string> takeReports()
    {
        std::lock_guard<std::mutex> const lock(mutex);
        return std::exchange(reports, {});
    }

    std::mutex mutex;
    std::vector<std::string> reports;
    RecordStream stream{[this](std::string_view record) {
        std::string report = reportOf(record);
        if (report.find(" Handler::") == std::string::npos) { // not those of a worker that starts and ends
            std::lock_guard<std::mutex> const lock(mutex);
            reports.push_back(std::move(report));
        }
    }};
    trace::InternalTrace internalTrace;
    PersistenceFake persistence;
    std::vector<std::unique_ptr<trace::Log>> units;
    std::shared_ptr<trace::Manager> manager = std::make_shared<trace::Manager>();
};

} // namespace common::log::test
