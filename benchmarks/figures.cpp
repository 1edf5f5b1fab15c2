#include "figures.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace common::log::benchmarks {

namespace {

constexpr double kShares[] = {0.5, 0.99, 0.999, 1.0};

std::string processorName()
{
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        auto const colon = line.find(": ");
        if (line.rfind("model name", 0) == 0 && colon != std::string::npos) {
            return line.substr(colon + 2);
        }
    }
    return "unknown processor";
}

} // namespace

void Durations::add(Durations const & others)
{
    m_values.insert(m_values.end(), others.m_values.begin(), others.m_values.end());
}

double Durations::percentile(double share) const
{
    if (m_values.empty()) {
        return 0;
    }
    auto const last = m_values.size() - 1;
    auto const place = m_values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(last));
    std::nth_element(m_values.begin(), place, m_values.end());
    return *place;
}

void printHeader(char const * program)
{
    std::array<char, 256> host{};
    (void)gethostname(host.data(), host.size() - 1);
    std::array<char, 32> date{};
    std::time_t const now = std::time(nullptr);
    std::tm calendar{};
    (void)std::strftime(date.data(), date.size(), "%F %T UTC", gmtime_r(&now, &calendar));
    std::array<double, 3> load{};
    (void)getloadavg(load.data(), static_cast<int>(load.size()));
    std::printf("%s on %s, %s, %ld cores, load %.2f\ncompiler " __VERSION__ ", %s\n\n", program, host.data(),
                processorName().c_str(), sysconf(_SC_NPROCESSORS_ONLN), load[0], date.data());
}

void printRow(std::string const & name, Durations const & durations)
{
    std::printf("%-36s", name.c_str());
    for (double const share : kShares) {
        std::printf("%11.0f", durations.percentile(share));
    }
    std::printf("\n");
}

void printRatio(std::string const & name, Durations const & durations, Durations const & floor)
{
    std::printf("%-36s", name.c_str());
    for (double const share : kShares) {
        std::printf("%11.3f", durations.percentile(share) / floor.percentile(share));
    }
    std::printf("\n");
}

} // namespace common::log::benchmarks
