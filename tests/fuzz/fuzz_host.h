#pragma once

#include "fuzz_input.h"
#include "support/internal_trace_access.h"
#include "support/persistence_fake.h"
#include "support/scoped_environment.h"
#include "support/stream_capture.h"

#include <common/log/host/node_service.h>
#include <common/log/host/state_text.h>
#include <common/log/trace.h>

namespace common::log::fuzz {

/// Three units, served as nodes; in what is saved of them, messages and warnings are on. Warnings and errors of the
/// library are formatted, and dropped.
struct FuzzHost : private test::ErrorStreamBuffer
{
    static constexpr char const * kUnits = "trace/machine/units";
    static constexpr char const * kConfig = "trace/machine/admin/cfg";

    FuzzHost()
    {
        test::setFlags(internalTrace, {false, true, true});
        manager->setBundleRootPath(COMMON_LOG_TRACE_BUNDLE_ROOT);
        manager->setPersistenceHelper(&persistence.itf);
        for (trace::Log & unit : units) {
            (void)manager->addTraceUnit(&unit, {false, true, true});
        }
        provider.start(service.makeProvider().release());
        reset({true, true, false});
        (void)manager->saveEnablingStatesAllTraceUnits({});
    }
    ~FuzzHost() override { provider.stop(); }

    void reset(trace::EnablingState const & state = {false, false, true})
    {
        persistence.calls.clear();
        (void)manager->setEnablingStateAllTraceUnits(state);
    }
    /// Of all units, as "e e mwe ".
    std::string states() const
    {
        std::string text;
        for (trace::Log const & unit : units) {
            text += host::flagsText(unit.getEnablingState()) + " ";
        }
        return text;
    }
    std::streamsize xsputn(char const * /*text*/, std::streamsize size) override { return size; }

    test::ScopedEnvironment snapName{"SNAP_NAME", "machine"}; // ahead of all that reads it
    trace::InternalTrace internalTrace;
    test::PersistenceFake persistence;
    std::shared_ptr<trace::Manager> manager = std::make_shared<trace::Manager>();
    trace::Log units[3]{{"axis.control", nullptr}, {"axis.drive.left", nullptr}, {"plc", nullptr}};
    host::NodeService service{[](std::string const & fault) { expect(false, "a node answers once", fault); }};
    trace::NodebusProvider provider{manager};
};

} // namespace common::log::fuzz
