#pragma once

#include "channel.h"
#include "support/record.h"

#include <common/log/host/record_tap.h>
#include <common/log/send_log.h>

#include <gmock/gmock.h>

#include <chrono>
#include <cstddef>
#include <ctime>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace common::log::host::test {

using common::log::test::parseRecord;
using common::log::test::splitLines;

/// Keeps what a sink is told of the records' ends; their numbers have to count from 1.
class Collector
{
public:
    RecordSink sink()
    {
        return [this](TappedRecord const & record) {
            std::lock_guard<std::mutex> const lock(m_mutex);
            m_ends.push_back(record.end);
            EXPECT_EQ(record.number, m_ends.size());
        };
    }
    std::vector<RecordEnd> ends() const
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        return m_ends;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<RecordEnd> m_ends;
};

/// Both ways in which a tap brings records to its descriptor: with the period of the batches.
class RecordTapModes : public testing::TestWithParam<std::chrono::milliseconds>
{
protected:
    static RecordTapOptions options(int descriptor, std::vector<RecordSink> sinks = {},
                                    std::chrono::milliseconds patience = std::chrono::milliseconds(100))
    {
        return {descriptor, std::move(sinks), 65536, patience, GetParam()};
    }
};
inline std::string modeName(testing::TestParamInfo<std::chrono::milliseconds> const & info)
{
    return info.param.count() == 0 ? "Direct" : "Batches";
}
inline auto const kModes = testing::Values(std::chrono::milliseconds(0), std::chrono::milliseconds(2));

/// Waits until all that came is written or lost.
inline RecordTapAccount settled(RecordTap const & tap)
{
    RecordTapAccount account = tap.account();
    while (account.records != account.written + account.lostAltogether()) {
        std::this_thread::yield();
        account = tap.account();
    }
    return account;
}

/// A record of the library with this message.
inline void sendRecord(std::string const & message)
{
    (void)sendLogNoVaList("velmont_trace", static_cast<PriorityType>(6), timespec{1709806530, 0}, "", "080A0112",
                          "Trace message", "", "", "axis", "snap", "axis.control", "axis.cpp", "run", "12",
                          message.c_str());
}

} // namespace common::log::host::test
