#include <common/log/host/record_census.h>

#include <gmock/gmock.h>

#include <atomic>
#include <string>
#include <thread>

namespace common::log::host {
namespace {

using testing::FieldsAre;
using testing::Pair;
using testing::UnorderedElementsAre;

std::string recordOf(std::string const & unit, char const * severity = "warning")
{
    return "\n2024-03-07T10:15:30.123456Z||080E0112|Trace " + std::string(severity) + " " + unit + "|||c|s|" + unit +
           "|f|f|1|common.log.trace|text";
}

void see(RecordCensus & census, std::string const & text, RecordEnd end = RecordEnd::flush)
{
    census.see({1, text, end});
}

TEST(RecordCensusTest, CountsEachRecordOnceUnderItsUnit)
{
    RecordCensus census;
    see(census, recordOf("a.unit"));
    see(census, recordOf("a.unit", "error"));
    see(census, recordOf("a|unit", "message"));
    see(census, recordOf("common.log.trace").substr(0, 90), RecordEnd::sweep);
    see(census, recordOf("a.unit", "error"), RecordEnd::nextLine); // of another thread
    see(census, "the rest of it");
    see(census, recordOf("not.common.log.trace"), RecordEnd::limit);
    see(census, "more", RecordEnd::limit);
    see(census, "the rest", RecordEnd::threadEnd);
    see(census, "no record");
    see(census, recordOf(""));
    EXPECT_THAT(census.all(),
                UnorderedElementsAre(Pair("a.unit", FieldsAre(0, 1, 2)), Pair("a|unit", FieldsAre(1, 0, 0)),
                                     Pair("common.log.trace", FieldsAre(0, 1, 0)),
                                     Pair("not.common.log.trace", FieldsAre(0, 1, 0)), Pair("", FieldsAre(1, 1, 0))));
    EXPECT_THAT(census.sum(), FieldsAre(2, 4, 2));
    EXPECT_THAT(census.of("a.unit"), FieldsAre(0, 1, 2));
    EXPECT_THAT(census.of("unit"), FieldsAre(0, 0, 0));
}

TEST(RecordCensusTest, IsBoundedAndReadWhileItCounts)
{
    constexpr unsigned kNames = 10'010;
    RecordCensus census;
    std::atomic<bool> isDone{false};
    std::thread reading([&] {
        for (std::uint64_t last = 0; !isDone;) {
            std::uint64_t const next = census.sum().altogether();
            EXPECT_GE(next, last);
            last = next;
            (void)census.of("u1");
        }
    });
    for (unsigned number = 0; number < 2 * kNames; ++number) {
        see(census, recordOf("u" + std::to_string(number % kNames)));
    }
    isDone = true;
    reading.join();
    EXPECT_EQ(census.all().size(), 10'001U);
    EXPECT_THAT(census.of("u1"), FieldsAre(0, 2, 0));
    EXPECT_THAT(census.of(""), FieldsAre(0, 20, 0));
    EXPECT_EQ(census.sum().altogether(), 2 * kNames);
}

} // namespace
} // namespace common::log::host
