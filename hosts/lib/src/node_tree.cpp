#include "node_tree.h"

#include <algorithm>
#include <utility>

namespace common::log::host {

using comm::nodebus::NB_ALREADY_EXISTS;
using comm::nodebus::NB_INVALID_ADDRESS;
using comm::nodebus::NB_OK;
using comm::nodebus::NbResult;

namespace {

constexpr char kSeparator = '/';

bool endsWith(std::string_view text, std::string_view end)
{
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

} // namespace

bool NodeTree::isNodeAddress(std::string_view address)
{
    char previous = kSeparator; // so that one in front counts as an empty segment
    for (char const character : address) {
        auto const byte = static_cast<unsigned char>(character);
        bool const isEmptySegment = character == kSeparator && previous == kSeparator;
        if (isEmptySegment || character == '*' || byte < 0x20 || byte == 0x7F) {
            return false;
        }
        previous = character;
    }
    return previous != kSeparator;
}

NodeTree::Pattern NodeTree::patternOf(std::string_view address)
{
    constexpr std::string_view kAnyDepth = "/**";
    constexpr std::string_view kOneLevel = "/*";
    if (endsWith(address, kAnyDepth)) {
        return {address.substr(0, address.size() - kAnyDepth.size()), anyDepth};
    }
    if (endsWith(address, kOneLevel)) {
        return {address.substr(0, address.size() - kOneLevel.size()), oneLevel};
    }
    return {address, itself};
}

NbResult NodeTree::add(NodeRegistration registration)
{
    Pattern const pattern = patternOf(registration.address);
    if (!isNodeAddress(pattern.base)) {
        return NB_INVALID_ADDRESS;
    }
    if (registeredAs(registration.address) != nullptr) {
        return NB_ALREADY_EXISTS;
    }
    std::string base(pattern.base);
    auto made = std::make_shared<NodeRegistration>(std::move(registration));
    m_slots[std::move(base)][pattern.reach] = std::move(made);
    return NB_OK;
}

void NodeTree::remove(NodeRegistration const & registration)
{
    Pattern const pattern = patternOf(registration.address);
    auto const found = m_slots.find(pattern.base);
    Registration const kept = std::exchange(found->second[pattern.reach], nullptr); // the argument may be this one
    if (found->second == Slots{}) {
        m_slots.erase(found);
    }
}

NodeTree::Registration NodeTree::registeredAs(std::string_view address) const
{
    Pattern const pattern = patternOf(address);
    auto const found = m_slots.find(pattern.base);
    return found == m_slots.end() ? nullptr : found->second[pattern.reach];
}

std::vector<NodeTree::Registration> NodeTree::ofOwner(void const * owner) const
{
    std::vector<Registration> registrations;
    for (auto const & [base, slots] : m_slots) {
        std::copy_if(slots.begin(), slots.end(), std::back_inserter(registrations),
                     [&](Registration const & slot) { return slot != nullptr && slot->owner == owner; });
    }
    return registrations;
}

NodeTree::Registration NodeTree::find(std::string_view address) const
{
    std::size_t levelsUp = itself;
    for (;;) {
        auto const found = m_slots.find(address);
        for (std::size_t reach = levelsUp; found != m_slots.end() && reach <= anyDepth; ++reach) {
            if (found->second[reach] != nullptr) {
                return found->second[reach];
            }
        }
        auto const separator = address.rfind(kSeparator);
        if (separator == std::string_view::npos) {
            return nullptr;
        }
        address = address.substr(0, separator);
        levelsUp = std::min<std::size_t>(levelsUp + 1, anyDepth);
    }
}

std::vector<std::string> NodeTree::levelsBelow(std::string const & address) const
{
    std::string const above = address.empty() ? address : address + kSeparator;
    std::vector<std::string> levels;
    for (auto base = m_slots.lower_bound(above); base != m_slots.end(); ++base) {
        if (base->first.compare(0, above.size(), above) != 0) {
            break;
        }
        auto const end = base->first.find(kSeparator, above.size());
        levels.push_back(base->first.substr(above.size(), end - above.size()));
    }
    // Equal ones need not lie side by side: "a-b" comes between "a" and "a/b".
    std::sort(levels.begin(), levels.end());
    levels.erase(std::unique(levels.begin(), levels.end()), levels.end());
    return levels;
}

} // namespace common::log::host
