#include "persistence_fixture.h"

#include <random>

namespace common::log::test {

// Each damage is either found or harmless: nothing is read beyond the buffer, which ends with its allocation.
TEST_F(Persistence, IsNotHarmedByADamagedRequest)
{
    std::string const whole = PersistenceFake::bytesOf(request("load"));
    std::size_t found = 0;
    auto const isFound = [&](std::string const & bytes) {
        Variant data;
        (void)data.setFlatbuffersCopy(bytes.data(), bytes.size());
        (void)run(load, data); // reads the rest of the request
        bool const isNone = manager->getPersistencePhase(data) == PersistencePhase::none;
        found += isNone ? 1U : 0U;
        EXPECT_EQ(takeReports().back().find("Invalid argument type for data.") != std::string::npos, isNone);
        return isNone;
    };
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_TRUE(isFound(whole.substr(0, length)) || length > 4) << length;
    }
    for (char const * const root : {"\0\0\0\0", "\0\0\0\x80", "\xFF\xFF\0\0"}) {
        EXPECT_TRUE(isFound(std::string(root, 4) + whole.substr(4)));
    }
    EXPECT_TRUE(isFound(std::string(whole).replace(whole.find("lead") + 4, 1, "x"))) << "a text that is never read";
    std::mt19937 random(2026); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same run each time
    for (std::size_t i = 0; i < whole.size() * 64; ++i) {
        std::string bytes = whole;
        auto const noise = static_cast<int>(random() & 0xFFFFU);
        bytes[i / 64] = static_cast<char>(i % 64 < 8 ? bytes[i / 64] ^ (1 << i % 64) : noise % 256);
        std::size_t const second = random() % bytes.size();
        bytes[second] = i % 64 < 32 ? bytes[second] : static_cast<char>(noise >> 8);
        (void)isFound(bytes);
    }
    EXPECT_GT(found, 1000U);
}

} // namespace common::log::test
