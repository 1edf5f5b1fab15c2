#include "store_support.h"
#include "support/rounds.h"

#include <common/log/host/node_service.h>
#include <common/log/host/persistence_request.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <thread>

#include <dlfcn.h>
#include <execinfo.h>

/// The parser of FlatBuffers holds what it is just making by a plain pointer: one definition of the type, and its name.
extern "C" char const * __lsan_default_suppressions() { return "leak:libflatbuffers\nleak:SavedType"; }

namespace {

std::atomic<std::int64_t> g_living{0};
thread_local std::int64_t t_left = -1; ///< until the one that fails; below zero none does
std::atomic<bool> g_isOfParser{false}; ///< the one that failed

bool isOfParser()
{
    void * frames[64];
    int const depth = ::backtrace(frames, 64);
    return std::any_of(frames, frames + depth, [](void const * frame) {
        Dl_info place{};
        return ::dladdr(frame, &place) != 0 &&
               (std::strstr(place.dli_fname, "libflatbuffers") != nullptr ||
                (place.dli_sname != nullptr && std::strstr(place.dli_sname, "9SavedTypeC") != nullptr));
    });
}

} // namespace

// These stand for all that allocate without an alignment of their own. The ones that do not throw are given since those of
// a sanitizer would not come here.
void * operator new(std::size_t size)
{
    if (t_left-- == 0) {
        g_isOfParser = isOfParser();
        throw std::bad_alloc();
    }
    ++g_living;
    return std::malloc(size);
}
void * operator new(std::size_t size, std::nothrow_t const & /*unused*/) noexcept
try {
    return operator new(size);
} catch (std::bad_alloc const &) {
    return nullptr;
}
void operator delete(void * memory) noexcept
{
    g_living -= memory != nullptr ? 1 : 0;
    std::free(memory);
}
void operator delete(void * memory, std::size_t) noexcept { operator delete(memory); }

namespace common::log::host::test {

namespace {

using namespace common::log::trace;

/// A host that serves nodes, of whose units number 2 is in force and number 1 is saved.
struct ServingHost : NumberedHost
{
    explicit ServingHost(std::string const & path) : NumberedHost(path), directory(path)
    {
        (void)save(1);
        (void)manager->setEnablingStateAllTraceUnits({false, true, false});
        provider.start(service.makeProvider().release());
    }
    ~ServingHost() { provider.stop(); }

    bool create(PersistenceTask task)
    {
        return requestPersistence(service, "trace/unknownSnap/admin/cfg", task, "test") == comm::nodebus::NB_OK;
    }

    /// All that an operation can change.
    std::string state() const
    {
        std::string text = std::to_string(number()) + "\n";
        (void)manager->getAllTraceUnits(text);
        for (std::string const & name : namesIn(directory)) {
            text += "\n" + name + (name.find('.') != std::string::npos ? contentOf(directory + name) : "");
        }
        return text;
    }

    std::string directory;
    NodeService service{nullptr};
    NodebusProvider provider{manager};
    std::unique_ptr<Log> added;
};

constexpr char kGroup[] = "trace/unknownSnap/units/name";

bool isDone(NodeAnswer const & answer) { return answer.result == comm::nodebus::NB_OK; }

struct Operation
{
    char const * name;
    bool (*run)(ServingHost & host); ///< whether it was done
};
Operation const kOperations[] = {
    {"register",
     [](ServingHost & host) {
         host.added = std::make_unique<Log>("another.name.longer.than.most", nullptr);
         return host.manager->addTraceUnit(host.added.get(), {true, false, false}) == TRACE_OK;
     }},
    {"save", [](ServingHost & host) { return host.create(PersistenceTask::save); }},
    {"load", [](ServingHost & host) { return host.create(PersistenceTask::load); }},
    {"delete", [](ServingHost & host) { return host.remove() == TRACE_OK; }},
    {"browse", [](ServingHost & host) { return isDone(host.service.browse(kGroup)); }},
    {"read", [](ServingHost & host) { return isDone(host.service.read(kGroup)); }},
    {"write",
     [](ServingHost & host) {
         Variant flags;
         (void)flags.setValue(std::vector<bool>{true, false, true});
         return isDone(host.service.write(kGroup, &flags));
     }},
    {"metadata", [](ServingHost & host) { return isDone(host.service.metadata(kGroup)); }},
};

/// Runs an operation while its allocation of a number fails, and where nothing came of it once more.
///
/// @param after  the state behind it; made by the run without a failure, that of number -1
/// @return whether it came to that allocation
bool fail(Operation const & operation, std::int64_t number, std::string & after)
{
    TemporaryFolder const folder;
    ServingHost host(folder.pathOf(""));
    std::string const before = host.state();
    bool isDone = false;
    t_left = number;
    try {
        isDone = operation.run(host);
    } catch (std::bad_alloc const &) {
    }
    bool const hasFailed = number >= 0 && t_left < 0;
    t_left = -1;
    EXPECT_LE(host.reports.take(), hasFailed ? 2U : 0U);
    std::string const behind = host.state();
    after = number < 0 ? behind : after;
    EXPECT_TRUE(behind == after || (behind == before && !isDone)) << (behind == before ? "nothing done" : behind);
    EXPECT_TRUE(isDone || (hasFailed && (behind != before || operation.run(host)))) << "not done";
    EXPECT_TRUE(host.state() == after && host.create(PersistenceTask::save));
    return hasFailed;
}

} // namespace

// On a thread of its own each time, so that nothing stays for the thread.
TEST(AllocationFault, LeavesTheOldStateOrTheNewAndNothingBehind)
{
    std::string seen;
    std::int64_t ofParser = 0;
    for (Operation const & operation : kOperations) {
        std::string after(10'000, ' ');
        std::int64_t failures = -1;
        for (bool hasFailed = true; hasFailed || failures == 0; ++failures) {
            SCOPED_TRACE(operation.name + std::string(", allocation ") + std::to_string(failures));
            after.reserve(10'000);
            std::int64_t const living = g_living;
            std::thread([&] { hasFailed = fail(operation, failures, after); }).join();
            std::int64_t const left = g_living - living;
            EXPECT_TRUE(left == 0 || (hasFailed && g_isOfParser && left <= 2)) << left << " leaked";
            ofParser += left;
        }
        seen += std::string(", ") + operation.name + " " + std::to_string(failures - 1);
    }
    common::log::test::printSeen("allocations that failed" + seen + "; " + std::to_string(ofParser) +
                                 " left by the parser of FlatBuffers, none by anything else");
}

} // namespace common::log::host::test
