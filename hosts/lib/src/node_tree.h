#pragma once

#include <comm/nodebus.h>

#include <array>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace common::log::host {

/// A node under one of its addresses.
struct NodeRegistration
{
    std::string address; ///< as registered, its wildcard included
    comm::nodebus::IProviderNode * node;
    void const * owner;
    std::size_t runningCalls = 0;
};

/// What is registered, by address. Which addresses are well formed, and which registration answers for one, says
/// `NodeService`.
///
/// Threads  None: its owner guards it, and also the calls that it counts in the registrations.
class NodeTree
{
public:
    using Registration = std::shared_ptr<NodeRegistration>;

    /// Whether a client may ask for it; the empty address is none of these.
    static bool isNodeAddress(std::string_view address);

    comm::nodebus::NbResult add(NodeRegistration registration);
    void remove(NodeRegistration const & registration);

    Registration registeredAs(std::string_view address) const; ///< by the same text; null where there is none
    std::vector<Registration> ofOwner(void const * owner) const;

    /// Who answers for a node address; null for nobody.
    Registration find(std::string_view address) const;

    /// The names one level below `address`, or at the top for the empty one, that lead to deeper registrations. Sorted.
    std::vector<std::string> levelsBelow(std::string const & address) const;

private:
    // Index of a slot: how far up a registration reaches, as the number of levels between it and the address asked for.
    enum Reach : std::size_t
    {
        itself,
        oneLevel,
        anyDepth
    };
    using Slots = std::array<Registration, 3>;

    /// An address taken apart into where it stands in the tree, and its wildcard.
    struct Pattern
    {
        std::string_view base;
        Reach reach;
    };
    static Pattern patternOf(std::string_view address);

    std::map<std::string, Slots, std::less<>> m_slots; ///< by base; none has three empty slots
};

} // namespace common::log::host
