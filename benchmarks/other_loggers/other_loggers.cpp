// What a call costs its thread, beside that of other loggers with the same text, in the same run. Each takes blocks of
// calls in turn, with a pause behind each that is long enough for its records to be written.

#include "../figures.h"
#include "../producers.h"
#include "compared_logger.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace common::log::benchmarks;

constexpr unsigned int kCallsOfBlock = 3000; // by all producers together
constexpr unsigned int kBlocks = 60;         // of each logger
constexpr std::chrono::milliseconds kPause(50);

using Loggers = std::vector<std::unique_ptr<ComparedLogger>>;

struct Measured
{
    std::vector<Durations> durations; // of each logger
    std::vector<unsigned int> refused;
};

void produce(Loggers const & loggers, unsigned int calls, Gate & gate, Measured & measured)
{
    (void)takeRealTimePriority();
    for (unsigned int block = 0; block != kBlocks; ++block) {
        for (std::size_t i = 0; i != loggers.size(); ++i) {
            std::size_t const number = (i + block) % loggers.size(); // none always follows the same one
            gate.pass();
            measured.refused[number] += measureBlock(calls, measured.durations[number],
                                                     [&](unsigned int call) { return loggers[number]->log(call); });
            std::this_thread::sleep_for(kPause);
        }
    }
}

void measureProducers(Loggers const & loggers, unsigned int count)
{
    unsigned int const calls = kCallsOfBlock / count;
    std::vector<Measured> measured(
        count, Measured{std::vector<Durations>(loggers.size(), Durations(std::size_t{calls} * kBlocks)),
                        std::vector<unsigned int>(loggers.size())});
    Gate gate(count);
    std::vector<std::thread> producers;
    producers.reserve(count);
    for (Measured & own : measured) {
        producers.emplace_back([&] { produce(loggers, calls, gate, own); });
    }
    for (std::thread & producer : producers) {
        producer.join();
    }
    for (std::size_t i = 0; i != loggers.size(); ++i) {
        Durations all(0);
        unsigned int refused = 0;
        for (Measured const & own : measured) {
            all.add(own.durations[i]);
            refused += own.refused[i];
        }
        printRow(loggers[i]->name() + (refused == 0 ? "" : ", refused " + std::to_string(refused)), all);
    }
    std::printf("\n");
}

std::string temporaryFolder()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "other_loggers_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        std::perror("mkdtemp");
        std::exit(EXIT_FAILURE);
    }
    return pattern;
}

} // namespace

int main()
{
    std::string const folder = temporaryFolder();
    printHeader("other_loggers");
    {
        Loggers loggers;
        loggers.push_back(makeOwnLogger(folder));
        loggers.push_back(makeSpdlog(folder));
        loggers.push_back(makeLog4cplus(folder));
        loggers.push_back(makeGlog(folder));
        loggers.push_back(makeBoostLog(folder));
        for (unsigned int const count : {1U, 2U}) {
            std::printf("%-36s%11s%11s%11s%11s\n", ("nanoseconds, producers: " + std::to_string(count)).c_str(), "p50",
                        "p99", "p99.9", "worst");
            measureProducers(loggers, count);
        }
    }
    for (auto const & file : std::filesystem::directory_iterator(folder)) {
        std::printf("%-36s%11llu bytes\n", file.path().filename().c_str(),
                    static_cast<unsigned long long>(file.is_symlink() ? 0 : file.file_size()));
    }
    std::filesystem::remove_all(folder);
    return EXIT_SUCCESS;
}
