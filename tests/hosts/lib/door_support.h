#pragma once

#include "hosts/tracehost/temporary_folder.h"
#include "private/manager/manager_fixture.h"
#include "support/raw_http.h"
#include "support/scoped_environment.h"

#include <common/log/host/door.h>
#include <common/log/host/file_store.h>
#include <common/log/host/record_ring.h>

#include <nlohmann/json.hpp>

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace common::log::test {

using namespace common::log::host;
using namespace common::log::trace;
using namespace comm::nodebus;

/// Ahead of all that reads it.
struct SnapOfDoor
{
    ScopedEnvironment name{"SNAP_NAME", "machine"};
};

/// A host with all that its door leads to, and the door.
class DoorTest : private SnapOfDoor, public ManagerTest
{
protected:
    static constexpr char const * kUnits = "trace/machine/units";
    static constexpr char const * kConfig = "trace/machine/admin/cfg";

    DoorTest()
    {
        manager->setPersistenceHelper(store.helper());
        setFlags(internalTrace, {false, false, true});
        provider.start(service.makeProvider().release());
    }
    ~DoorTest() override
    {
        door.reset();
        provider.stop();
    }

    void open() { door = std::make_unique<Door>(options, host, service, board, census); }
    HttpAnswer call(std::string const & request, std::string const & body = {}, std::string const & headers = {}) const
    {
        return callHttp(options.socketPath, request, body, headers);
    }
    /// "STATUS CODE" of a refusal, otherwise the status alone; "end" without an answer.
    static std::string verdict(HttpAnswer const & answer)
    {
        nlohmann::json const json = nlohmann::json::parse(answer.body, nullptr, false);
        bool const isRefusal = json.is_object() && json.contains("error");
        return answer.status == 0 ? "end"
                                  : std::to_string(answer.status) +
                                        (isRefusal ? " " + json["error"].value("code", "?") : std::string());
    }
    /// Adds a record to the ring.
    void add(std::string const & severity, std::string const & unit, std::string const & message)
    {
        std::string const codes{severity == "message" ? "080A0112" : severity == "warning" ? "080E0112" : "080F0112"};
        std::string const text = "\n2024-03-07T10:15:30.123456Z||" + codes + "|Trace " + severity + " " + unit +
                                 "|||axis|machine|" + unit + "|main.cpp|main|11|" + message;
        ring->add({0, text, RecordEnd::flush});
    }

    tracehost::test::TemporaryFolder folder;
    FileStore store{folder.pathOf("")};
    NodeService service{[](std::string const & text) { ADD_FAILURE() << text; }};
    NodebusProvider provider{manager};
    std::mutex eventMutex;
    std::vector<SwitchEvent> events;
    SwitchBoard board{service, {kUnits, kConfig}, [this](SwitchEvent const & event) {
                          std::lock_guard<std::mutex> const lock(eventMutex);
                          events.push_back(event);
                      }};
    RecordCensus census;
    DoorOptions options{folder.pathOf("run/host.sock"), "", 10};
    std::unique_ptr<RecordRing> ring;
    DoorHost host{"testhost", "1.2.3",
                  [this] {
                      std::vector<DoorUnit> list;
                      for (auto const & unit : units) {
                          list.push_back({unit->getUnitName(), unit->getDefaultEnablingState()});
                      }
                      return list;
                  },
                  [] {
                      return std::vector<DoorFigure>{{"records_lost_total", "Lost.", R"(reason="full")", 3},
                                                     {"units", "Now.", "", 2},
                                                     {"records_lost_total", "Lost.", R"(reason="gone")", 4}};
                  },
                  [this] { return !isFailure(manager->deleteEnablingStatesAllTraceUnits({})); }};
    std::unique_ptr<Door> door;
};

} // namespace common::log::test
