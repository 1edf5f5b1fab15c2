// All of a host at once, for the thread sanitizer: each road of a record, the switches by their nodes, the store, tap and
// ring, and a door with clients.

#include "hosts/lib/door_support.h"
#include "support/process_state.h"
#include "support/rounds.h"

#include <common/log/host/record_tap.h>

#include "log_buffered.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <fcntl.h>
#include <thread>

namespace common::log::test {

namespace {

constexpr char const * kTraceComponent = "races";
constexpr std::size_t kTracing = 8;
constexpr std::size_t kUnitCount = 2;
constexpr std::chrono::microseconds kPause(200);
constexpr std::chrono::milliseconds kPauseOfSaves(50); // each holds up all switches meanwhile

class Races : public DoorTest
{
protected:
    Races()
    {
        setFlags(internalTrace, kEverything);
        options.ringPath = folder.pathOf("ring");
        ring = std::make_unique<RecordRing>(options.ringPath, RecordRingOptions{1 << 20U});
        RecordTapOptions tapOptions;
        tapOptions.descriptor = null;
        tapOptions.sinks = {[this](TappedRecord const & record) { census.see(record); },
                            [this](TappedRecord const & record) { ring->add(record); }};
        tapOptions.batchPeriod = std::chrono::milliseconds(2);
        tap = std::make_unique<RecordTap>(tapOptions);
        auto const handler = std::make_shared<Handler>();
        for (std::size_t i = 0; i < kUnitCount; ++i) {
            auto unit = std::make_unique<CountedLog>(("axis.u" + std::to_string(i)).c_str(), handler, accounts[i]);
            EXPECT_EQ(manager->addTraceUnit(unit.get(), kEverything), TRACE_OK);
            counted[i] = unit.get();
            units.push_back(std::move(unit));
        }
        open();
    }
    ~Races() override
    {
        tap.reset();
        (void)::close(null);
    }

    /// Calls `work` again and again, on a thread of its own.
    template <typename Work>
    void repeat(std::chrono::microseconds pause, Work work)
    {
        threads.emplace_back([this, pause, work] {
            while (!isEnding) {
                work();
                std::this_thread::sleep_for(pause);
            }
        });
    }
    void trace(std::size_t number)
    {
        CountedLog & unit = *counted[number % kUnitCount];
        switch (number / kUnitCount % 4) {
        case 0:
            COMMON_LOG_WARNING(unit, "ordinary %zu", number);
            break;
        case 1:
            (void)buffered.log(0x080A0112, "races", "machine", "f", "f", 1, "buffered %zu", number);
            ++bufferedCalls;
            break;
        case 2:
            COMMON_LOG_ERROR_REAL_TIME(unit, "real-time %zu", number);
            break;
        default: // its text is cut, which the library reports about itself
            COMMON_LOG_MESSAGE_REAL_TIME_EVERY_N(unit, 16, "real-time %0300zu", number);
        }
    }
    void switchAll(std::string const & node, std::optional<std::chrono::seconds> duration)
    {
        Variant value;
        (void)value.setValue(std::vector<bool>{++switches % 2 == 0, true, switches % 3 == 0});
        EXPECT_EQ(board.write(kUnits + node, value, duration, {}).result, NB_OK);
    }

    int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    std::unique_ptr<RecordTap> tap;
    std::array<CallAccount, kUnitCount> accounts;
    std::array<CountedLog *, kUnitCount> counted{};
    LogBuffered buffered{"buffered", true};
    std::atomic<std::uint64_t> bufferedCalls{0};
    std::atomic<unsigned int> switches{0};
    std::atomic<bool> isEnding{false};
    std::vector<std::thread> threads;
};

TEST_F(Races, AreNoneBetweenThreadsThatTraceSwitchSaveLoadAndLookIn)
{
    for (std::size_t number = 0; number < kTracing; ++number) {
        repeat(kPause, [this, number] { trace(number); });
    }
    repeat(kPause, [this] { switchAll("/axis", std::chrono::seconds(1)); });
    repeat(kPause, [this] { switchAll("/axis/u1", std::nullopt); });
    std::atomic<unsigned int> saves{0};
    repeat(kPauseOfSaves, [&] {
        EXPECT_EQ(board.save(true, {}).result, NB_OK);
        EXPECT_EQ(board.load({}), NB_OK);
        Log passing("passing", nullptr);
        EXPECT_EQ(manager->addTraceUnit(&passing, kNothing), TRACE_OK);
        EXPECT_EQ(manager->removeTraceUnit(&passing), TRACE_OK);
        ++saves;
    });
    std::atomic<unsigned int> calls{0};
    repeat(kPause, [&] {
        EXPECT_EQ(call("PUT /nodes/trace/machine/units/axis/u0?for=1", "true").status, 200);
        for (char const * const target : {"/units", "/metrics", "/records?last=20", "/health"}) {
            EXPECT_EQ(call(std::string("GET ") + target).status, 200) << target;
        }
        ++calls;
    });
    std::uint64_t eventBytes = 0;
    std::thread reader([&] {
        RawClient const client(options.socketPath);
        client.send("GET /events HTTP/1.0\r\n\r\n");
        for (std::string part = client.next(); !part.empty(); part = client.next()) {
            eventBytes += part.size();
        }
    });
    auto const seconds = roundsOf("COMMON_LOG_RACES_SECONDS", 1);
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    isEnding = true;
    for (std::thread & thread : threads) {
        thread.join();
    }
    door.reset();
    reader.join();

    std::uint64_t taken = bufferedCalls;
    for (std::size_t i = 0; i < kUnitCount; ++i) {
        CallCounts const counts = accounts[i].counts();
        std::uint64_t const expected = counts.messages + counts.warnings + counts.errors - counts.refused;
        taken += expected;
        // The sweep may have cut one in the midst, whose thread was held up.
        auto const isWritten = [&] {
            return census.of(counted[i]->getUnitName()).altogether() + tap->account().sweeps >= expected;
        };
        EXPECT_TRUE(waitUntil(isWritten)) << census.of(counted[i]->getUnitName()).altogether() << " of " << expected;
        EXPECT_LE(census.of(counted[i]->getUnitName()).altogether(), expected);
    }
    EXPECT_GE(census.of("buffered").altogether() + tap->account().sweeps, bufferedCalls);
    EXPECT_EQ(ring->lastNumber(), tap->account().records);
    EXPECT_GT(eventBytes, 0U);
    std::printf("seen: %zu threads, %lu s: %lu records, %u switches, %u saves and loads, %u rounds of calls at the "
                "door, %lu bytes "
                "of events\n",
                kTracing, seconds, taken, switches.load(), saves.load(), calls.load(), eventBytes);
}

} // namespace

} // namespace common::log::test
