#include <common/log/host/switch_board.h>

#include "quiet_thread.h"
#include "switch_author_text.h"
#include "unit_nodes.h"

#include <common/log/host/persistence_request.h>
#include <common/log/host/state_text.h>

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <utility>

namespace common::log::host {

using namespace comm::nodebus;
using trace::EnablingState;

namespace {

using Time = std::chrono::steady_clock::time_point;

// Far beyond any use, and still a time that both clocks can tell.
constexpr std::chrono::hours kLongest{24 * 365 * 100};
constexpr std::chrono::milliseconds kRetryAfter{100};

struct Layer
{
    Time due;
    std::chrono::system_clock::time_point until; // for show alone: the wall clock may be set meanwhile
    EnablingState state;
    std::shared_ptr<SwitchAuthor const> author;
};

/// The running switches of a unit. The newest is the last and is due first: what is due no later than a newer one can
/// never be in force again, and is not kept.
struct SwitchedStack
{
    EnablingState before;
    EnablingState now; ///< as the last change from here left it
    std::vector<Layer> layers;
};

std::string commonText(std::vector<UnitState> const & units)
{
    if (units.empty()) {
        return {};
    }
    bool const isCommon = std::all_of(units.begin(), units.end(), [&units](UnitState const & unit) {
        return isSame(unit.state, units.front().state);
    });
    return isCommon ? flagsText(units.front().state) : "various";
}

bool isBelow(std::string const & address, std::string const & root)
{
    return address.compare(0, root.size(), root) == 0 && (address.size() == root.size() || address[root.size()] == '/');
}

} // namespace

class SwitchBoard::Board
{
public:
    Board(NodeService & nodes, Addresses addresses, Report report, Clock const & clock);
    Board(Board const &) = delete;
    Board & operator=(Board const &) = delete;
    ~Board();

    /// Runs one operation at a time, and reports what it gave.
    template <typename Operation>
    auto run(Operation operation)
    {
        Lock lock(m_mutex);
        auto outcome = operation();
        reportEvents(lock);
        return outcome;
    }

    // All of these are called within `run`.
    Outcome write(std::string const & address, Variant const & value, std::optional<std::chrono::seconds> duration,
                  SwitchAuthor const & author);
    SaveOutcome save(bool isForced, SwitchAuthor const & author);
    NbResult load(SwitchAuthor const & author);
    std::vector<RunningSwitch> running() const;
    bool expire() { return endDueBy(m_clock()); }
    bool endAll() { return endDueBy(Time::max()); }

    Addresses const & addresses() const { return m_addresses; }

private:
    using Lock = std::unique_lock<std::mutex>;

    void keepSwitched(std::vector<UnitState> & units, EnablingState const & wanted);
    void lay(UnitState const & unit, std::optional<Layer> const & layer);
    /// Whether all that is due has ended; otherwise something has to be tried again.
    bool endDueBy(Time now);
    bool putBack(std::string const & address, SwitchedStack & stack, Time now);
    void endChanged();
    void addLeftAlone(std::string const & address, SwitchedStack const & stack, EnablingState const & found);
    void expireUntilEnd();
    void reportEvents(Lock & lock);

    NodeService & m_nodes;
    Addresses const m_addresses;
    Report const m_report;
    Clock const m_clock;
    std::mutex m_mutex; ///< for all below; held while nodes are called, so that no switch comes between
    std::map<std::string, SwitchedStack> m_stacks;
    std::vector<SwitchEvent> m_events;
    bool m_isReporting = false;
    bool m_isEnding = false;
    bool m_mustRetry = false;
    std::condition_variable m_changed;
    std::unique_ptr<QuietThread> m_thread;
};

SwitchBoard::Board::Board(NodeService & nodes, Addresses addresses, Report report, Clock const & clock)
    : m_nodes(nodes), m_addresses(std::move(addresses)), m_report(std::move(report)),
      m_clock(clock ? clock : [] { return std::chrono::steady_clock::now(); })
{
    if (!clock) {
        m_thread = std::make_unique<QuietThread>("SwitchBoard", [this] { expireUntilEnd(); });
    }
}

SwitchBoard::Board::~Board()
{
    {
        Lock const lock(m_mutex);
        m_isEnding = true;
    }
    m_changed.notify_one();
    m_thread.reset();
}

SwitchBoard::Outcome SwitchBoard::Board::write(std::string const & address, Variant const & value,
                                               std::optional<std::chrono::seconds> duration,
                                               SwitchAuthor const & author)
{
    bool const hasState = isBelow(address, m_addresses.units);
    if (duration && !hasState) {
        return {NB_UNSUPPORTED};
    }
    std::optional<EnablingState> const wanted = hasState ? stateOf(value) : std::nullopt;
    Outcome outcome{NB_OK};
    std::vector<UnitState> units;
    if (wanted) {
        outcome.result = readUnits(m_nodes, address, units);
        bool const isEmptyRoot = outcome.result == NB_INVALID_ADDRESS && address == m_addresses.units;
        if (isFailure(outcome.result) && !isEmptyRoot) {
            return outcome;
        }
    }
    outcome.result = m_nodes.write(address, &value).result;
    if (isFailure(outcome.result)) {
        keepSwitched(units, wanted.value_or(EnablingState{}));
        if (units.empty()) {
            return outcome;
        }
    }
    std::optional<Layer> layer;
    if (duration && wanted) {
        auto const length = std::clamp(*duration, std::chrono::seconds(0), std::chrono::seconds(kLongest));
        outcome.until = std::chrono::system_clock::now() + length;
        layer = {m_clock() + length, *outcome.until, *wanted, std::make_shared<SwitchAuthor const>(author)};
    }
    m_changed.notify_one(); // there may be one that is due earlier
    for (UnitState const & unit : units) {
        lay(unit, layer);
        outcome.units.push_back({unit.address, unit.state, *wanted});
    }
    m_events.push_back(
        {SwitchEvent::Kind::set, address, commonText(units), wanted ? flagsText(*wanted) : "", outcome.until, author});
    return outcome;
}

/// Behind a write that failed: removes the units that it did not change.
void SwitchBoard::Board::keepSwitched(std::vector<UnitState> & units, EnablingState const & wanted)
{
    auto const isUnchanged = [&](UnitState const & unit) {
        EnablingState now;
        return isFailure(readUnit(m_nodes, unit.address, now)) || !isSame(now, wanted) || isSame(now, unit.state);
    };
    units.erase(std::remove_if(units.begin(), units.end(), isUnchanged), units.end());
}

/// Takes note of a unit that was just switched.
///
/// @param unit   with its state before
/// @param layer  none for a switch without an expiry
void SwitchBoard::Board::lay(UnitState const & unit, std::optional<Layer> const & layer)
{
    auto at = m_stacks.find(unit.address);
    if (at != m_stacks.end() && !isSame(at->second.now, unit.state)) {
        addLeftAlone(unit.address, at->second, unit.state);
        at = (m_stacks.erase(at), m_stacks.end());
    }
    if (!layer) {
        if (at != m_stacks.end()) {
            m_stacks.erase(at);
        }
        return;
    }
    if (at == m_stacks.end()) {
        at = m_stacks.emplace(unit.address, SwitchedStack{unit.state, unit.state, {}}).first;
    }
    std::vector<Layer> & layers = at->second.layers;
    while (!layers.empty() && layers.back().due <= layer->due) {
        layers.pop_back();
    }
    layers.push_back(*layer);
    at->second.now = layer->state;
}

SwitchBoard::SaveOutcome SwitchBoard::Board::save(bool isForced, SwitchAuthor const & author)
{
    (void)expire();
    endChanged();
    if (!isForced && !m_stacks.empty()) {
        return {NB_INVALID_OPERATION_MODE, running()};
    }
    NbResult const result =
        requestPersistence(m_nodes, m_addresses.configuration, PersistenceTask::save, textOf(author));
    if (!isFailure(result)) {
        m_events.push_back({SwitchEvent::Kind::saved, m_addresses.configuration, {}, {}, {}, author});
    }
    return {result};
}

NbResult SwitchBoard::Board::load(SwitchAuthor const & author)
{
    NbResult const result =
        requestPersistence(m_nodes, m_addresses.configuration, PersistenceTask::load, textOf(author));
    if (!isFailure(result)) {
        m_events.push_back({SwitchEvent::Kind::loaded, m_addresses.configuration, {}, {}, {}, author});
    }
    endChanged(); // a load that failed may have changed some
    return result;
}

/// Ends the switches of units that are not as those left them.
void SwitchBoard::Board::endChanged()
{
    for (auto at = m_stacks.begin(); at != m_stacks.end();) {
        EnablingState found;
        NbResult const result = readUnit(m_nodes, at->first, found);
        bool const isChanged = !isFailure(result) && !isSame(found, at->second.now);
        if (isChanged) {
            addLeftAlone(at->first, at->second, found);
        }
        at = isChanged ? m_stacks.erase(at) : std::next(at);
    }
}

void SwitchBoard::Board::addLeftAlone(std::string const & address, SwitchedStack const & stack,
                                      EnablingState const & found)
{
    m_events.push_back({SwitchEvent::Kind::leftAlone,
                        address,
                        flagsText(stack.now),
                        flagsText(found),
                        {},
                        *stack.layers.back().author});
}

std::vector<RunningSwitch> SwitchBoard::Board::running() const
{
    std::vector<RunningSwitch> list;
    for (auto const & [address, stack] : m_stacks) {
        Layer const & inForce = stack.layers.back();
        list.push_back({address, stack.before, stack.now, inForce.until, *inForce.author});
    }
    return list;
}

bool SwitchBoard::Board::endDueBy(Time now)
{
    m_mustRetry = false;
    for (auto at = m_stacks.begin(); at != m_stacks.end();) {
        bool const hasEnded = at->second.layers.back().due <= now && putBack(at->first, at->second, now);
        at = hasEnded ? m_stacks.erase(at) : std::next(at);
    }
    return !m_mustRetry;
}

/// Ends the switches of a unit that are due by now.
///
/// @return whether none is left
bool SwitchBoard::Board::putBack(std::string const & address, SwitchedStack & stack, Time now)
{
    auto const due =
        std::find_if(stack.layers.begin(), stack.layers.end(), [now](Layer const & layer) { return layer.due <= now; });
    Layer const * const next = due == stack.layers.begin() ? nullptr : &*std::prev(due);
    EnablingState const target = next != nullptr ? next->state : stack.before;
    SwitchEvent event{SwitchEvent::Kind::putBack, address, flagsText(stack.now),
                      flagsText(target),          {},      *stack.layers.back().author};
    EnablingState found;
    NbResult result = readUnit(m_nodes, address, found);
    if (!isFailure(result) && !isSame(found, stack.now)) {
        addLeftAlone(address, stack, found);
        return true;
    }
    if (!isFailure(result)) {
        result = writeUnit(m_nodes, address, target);
    }
    if (result == NB_WOULD_BLOCK) {
        m_mustRetry = true;
        return false;
    }
    if (isFailure(result)) {
        bool const isGone = readUnit(m_nodes, address, found) == NB_INVALID_ADDRESS;
        event.kind = isGone ? SwitchEvent::Kind::gone : SwitchEvent::Kind::failed;
        m_events.push_back(std::move(event));
        return true;
    }
    if (next != nullptr) {
        event.until = next->until;
    }
    m_events.push_back(std::move(event));
    stack.layers.erase(due, stack.layers.end());
    stack.now = target;
    return stack.layers.empty();
}

void SwitchBoard::Board::expireUntilEnd()
{
    Lock lock(m_mutex);
    while (!m_isEnding) {
        try {
            (void)expire();
            reportEvents(lock);
        } catch (std::exception const &) {
            m_mustRetry = true; // without memory; there may be some later
        }
        if (m_isEnding) { // while reporting
            break;
        }
        if (m_mustRetry) {
            m_changed.wait_for(lock, kRetryAfter);
            continue;
        }
        auto const earliest = std::min_element(m_stacks.begin(), m_stacks.end(), [](auto & left, auto & right) {
            return left.second.layers.back().due < right.second.layers.back().due;
        });
        if (earliest == m_stacks.end()) {
            m_changed.wait(lock);
        } else {
            Time const due = earliest->second.layers.back().due;
            m_changed.wait_until(lock, due);
        }
    }
}

/// Leaves its events to a thread that is reporting already, so that they keep their order.
void SwitchBoard::Board::reportEvents(Lock & lock)
{
    if (m_isReporting) {
        return;
    }
    m_isReporting = true;
    while (!m_events.empty()) {
        std::vector<SwitchEvent> const events = std::exchange(m_events, {});
        lock.unlock();
        for (SwitchEvent const & event : events) {
            try {
                if (m_report) {
                    m_report(event);
                }
            } catch (...) {
                (void)event; // dropped, as promised
            }
        }
        lock.lock();
    }
    m_isReporting = false;
}

SwitchBoard::SwitchBoard(NodeService & nodes, Addresses addresses, Report report, Clock const & clock)
    : m_board(std::make_unique<Board>(nodes, std::move(addresses), std::move(report), clock))
{}

SwitchBoard::~SwitchBoard() = default;

SwitchBoard::Addresses const & SwitchBoard::addresses() const { return m_board->addresses(); }

SwitchBoard::Outcome SwitchBoard::write(std::string const & address, Variant const & value,
                                        std::optional<std::chrono::seconds> duration, SwitchAuthor const & author)
{
    return m_board->run([&] { return m_board->write(address, value, duration, author); });
}

SwitchBoard::SaveOutcome SwitchBoard::save(bool isForced, SwitchAuthor const & author)
{
    return m_board->run([&] { return m_board->save(isForced, author); });
}

NbResult SwitchBoard::load(SwitchAuthor const & author)
{
    return m_board->run([&] { return m_board->load(author); });
}

std::vector<RunningSwitch> SwitchBoard::running() const
{
    return m_board->run([&] { return m_board->running(); });
}

void SwitchBoard::expire()
{
    (void)m_board->run([&] { return m_board->expire(); });
}

void SwitchBoard::endAll()
{
    (void)m_board->run([&] { return m_board->endAll(); });
}

} // namespace common::log::host
