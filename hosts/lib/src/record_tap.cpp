#include <common/log/host/record_tap.h>

#include "quiet_thread.h"
#include "tap_core.h"

#include <atomic>
#include <iostream>
#include <new>
#include <stdexcept>
#include <utility>

namespace common::log::host {

namespace {

/// Keeps the buffer that the place points to. A core that is gone by the end of the thread has taken everything before.
class Membership
{
public:
    Membership() = default;
    Membership(Membership const &) = delete;
    Membership & operator=(Membership const &) = delete;
    ~Membership()
    {
        leave();
        t_place = {0, nullptr, true};
    }

    void enter(std::shared_ptr<TapCore> const & core)
    {
        leave();
        m_text = core->addThread();
        m_core = core;
        t_place = {core->id(), m_text.get(), false};
    }

private:
    void leave()
    {
        t_place = {0, nullptr, false};
        std::shared_ptr<TapCore> const core = m_core.lock();
        if (core != nullptr && !core->isAbandoned()) {
            core->removeThread(m_text);
        }
        m_core.reset();
        m_text.reset();
    }

    std::weak_ptr<TapCore> m_core;
    std::shared_ptr<ThreadText> m_text;
};
thread_local Membership t_membership;

std::atomic<RecordTap *> g_installed{nullptr};

ThreadText & ownText(std::shared_ptr<TapCore> const & core)
{
    if (t_place.hasEnded) {
        return core->leftovers();
    }
    if (t_place.coreId != core->id()) {
        t_membership.enter(core);
    }
    return *t_place.text;
}

/// What is no short copy; apart, so that what is one saves no registers for it.
///
/// Whatever happens to a text, the stream hears of success: a failure would set its error state, which nobody clears,
/// and every later record of the process would be lost.
[[gnu::noinline]] std::streamsize insert(std::shared_ptr<TapCore> const & core, char const * text, std::streamsize size)
{
    std::string_view const whole(text, static_cast<std::size_t>(size));
    if (whole.empty()) {
        return size;
    }
    if (TapCore::isInSink()) {
        core->countDroppedText();
    } else if (t_place.coreId != core->id() || !t_place.text->appendWithoutLock(whole)) {
        try {
            core->append(ownText(core), whole);
        } catch (std::bad_alloc const &) {
            core->countDroppedText(); // no buffer for this thread
        }
    }
    return size;
}

} // namespace

RecordTap::RecordTap(RecordTapOptions options)
    : m_core(std::make_shared<TapCore>(std::move(options), TapCore::Process::host))
{
    static bool const isNoticed = (callInForkedChildren(&RecordTap::startAfreshInChild), true);
    (void)isNoticed;
    RecordTap * none = nullptr;
    if (!g_installed.compare_exchange_strong(none, this)) {
        throw std::logic_error("a second RecordTap in one process");
    }
    (void)std::cerr.flush();
    m_hadUnitBuffering = (std::cerr.flags() & std::ios_base::unitbuf) != 0;
    std::cerr.unsetf(std::ios_base::unitbuf);
    m_previousTie = std::cerr.tie(nullptr);
    m_previousBuffer = std::cerr.rdbuf(this);
}

RecordTap::~RecordTap()
{
    (void)std::cerr.rdbuf(m_previousBuffer);
    (void)std::cerr.tie(m_previousTie);
    if (m_hadUnitBuffering) {
        std::cerr.setf(std::ios_base::unitbuf);
    }
    m_core->close();
    g_installed.store(nullptr);
}

RecordTapAccount RecordTap::account() const { return m_core->account(); }

std::streamsize RecordTap::xsputn(char const * text, std::streamsize size)
{
    if (t_place.coreId == m_core->id() && t_place.text->appendQuickly({text, static_cast<std::size_t>(size)})) {
        return size;
    }
    return insert(m_core, text, size);
}

RecordTap::int_type RecordTap::overflow(int_type character)
{
    if (!traits_type::eq_int_type(character, traits_type::eof())) {
        char const text = traits_type::to_char_type(character);
        (void)xsputn(&text, 1);
    }
    return traits_type::not_eof(character);
}

int RecordTap::sync()
{
    // A thread without a buffer has nothing to flush, and needs none for it.
    if (!TapCore::isInSink() && (t_place.hasEnded || t_place.coreId == m_core->id())) {
        m_core->flush(ownText(m_core));
    }
    return 0;
}

void RecordTap::startAfreshInChild()
{
    RecordTap * const tap = g_installed.load();
    if (tap == nullptr) {
        return;
    }
    // The parent's core is kept for ever: nothing of it can be released safely, since any of its locks may be held.
    static auto & abandoned = *new std::vector<std::shared_ptr<TapCore>>;
    tap->m_core->abandon();
    abandoned.push_back(tap->m_core);
    RecordTapOptions const & parent = tap->m_core->options();
    RecordTapOptions options{parent.descriptor, {}, parent.limitBytes, parent.patience};
    tap->m_core = std::make_shared<TapCore>(std::move(options), TapCore::Process::forkedChild);
}

} // namespace common::log::host
