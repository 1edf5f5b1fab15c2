#include "unit_names.h"

#include <array>
#include <atomic>
#include <functional>

namespace common::log::trace {

namespace {

/// Enough that the ancestors of 10,000 units with a parent each leave six of seven counters at zero.
constexpr std::size_t kCounters = 65536;

/// Zero until the first unit comes, so that the pages which nothing is counted on cost no memory.
std::array<std::atomic<unsigned int>, kCounters> g_ancestors{};

std::atomic<unsigned int> & counterOf(std::string_view text)
{
    return g_ancestors[std::hash<std::string_view>()(text) % kCounters];
}

/// Adds to the counter of each ancestor; unsigned numbers wrap around, so that the greatest one takes one away. Relaxed:
/// who asks holds the lock under which the same manager counted, and the counts of others decide nothing.
void addToAncestorsOf(std::string_view name, unsigned int number)
{
    for (auto dot = name.find('.'); dot != std::string_view::npos; dot = name.find('.', dot + 1)) {
        counterOf(name.substr(0, dot)).fetch_add(number, std::memory_order_relaxed);
    }
}

} // namespace

bool cutToAncestor(std::string & name)
{
    std::string::size_type const dot = name.rfind('.');
    if (dot == std::string::npos) {
        return false;
    }
    name.resize(dot);
    return true;
}

bool isAncestor(std::string_view ancestor, std::string_view name)
{
    return name.size() > ancestor.size() && name[ancestor.size()] == '.' &&
           name.compare(0, ancestor.size(), ancestor) == 0;
}

void ancestor_filter::countAncestorsOf(std::string_view name) { addToAncestorsOf(name, 1); }

void ancestor_filter::discountAncestorsOf(std::string_view name) { addToAncestorsOf(name, 0U - 1U); }

bool ancestor_filter::mayBeAncestor(std::string_view text)
{
    return counterOf(text).load(std::memory_order_relaxed) != 0;
}

} // namespace common::log::trace
