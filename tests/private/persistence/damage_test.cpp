#include "persistence_fixture.h"

#include <cstdlib>
#include <new>
#include <random>

namespace {

std::size_t g_untilFailure = 0; ///< how many allocations until one fails, 0 for none

} // namespace

// Replaced for the whole program, which the standard allows; the forms for arrays come here as well. Not inlined: a
// compiler that sees new beside free takes them for a mismatch.
[[gnu::noinline]] void * operator new(std::size_t size)
{
    bool const isTheOne = g_untilFailure != 0 && --g_untilFailure == 0;
    if (void * const memory = isTheOne ? nullptr : std::malloc(size != 0 ? size : 1)) {
        return memory;
    }
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void * memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void * memory, std::size_t /*size*/) noexcept { std::free(memory); }

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

// Each allocation in its turn. What leaks is found by the address sanitizer.
TEST_F(Persistence, WithoutMemoryLeavesTheTableAndTheLockAsTheyWere)
{
    setFlags(internalTrace, kNothing); // a stream keeps what its buffer throws to itself
    (void)registered("unit.with.a.name.on.the.heap", kWarningsOnly);
    saved("Win32_Emulation", {{"unit.with.a.name.on.the.heap", kWarningsOnly}, {"axis", kWarningsOnly}});
    for (Operation const operation : {save, load, start}) {
        Variant const data = request(operation == save ? "save" : "load", "an id that is on the heap, too");
        std::size_t failures = 0;
        for (bool hasFailed = true; hasFailed; failures += hasFailed ? 1U : 0U) {
            g_untilFailure = failures + 1;
            hasFailed = false;
            try {
                (void)run(operation, data);
            } catch (std::bad_alloc const &) {
                hasFailed = true;
            }
            EXPECT_EQ(std::exchange(g_untilFailure, 0) == 0, hasFailed) << "swallowed";
            std::string names;
            (void)manager->getAllTraceUnits(names);
            EXPECT_EQ(names.find("axis") != std::string::npos, operation == start && !hasFailed) << failures;
            EXPECT_EQ(manager->getEnablingStateAllTraceUnits(), kWarningsOnly) << failures;
        }
        EXPECT_GT(failures, 5U);
    }
}

} // namespace common::log::test
