#pragma once

#include "private/manager/manager_fixture.h"

#include <enablingstates_generated.h>
#include <persistenceparam_generated.h>

namespace common::log::test {

using namespace common::log::trace;
using comm::nodebus::Variant;

inline Variant request(char const * phase, char const * id = "r7")
{
    flatbuffers::FlatBufferBuilder builder;
    builder.Finish(comm::nodebus::CreatePersistenceParamDirect(builder, "lead", id, phase));
    Variant data;
    (void)data.setFlatbuffersCopy(builder.GetBufferPointer(), builder.GetSize());
    return data;
}

enum Operation
{
    save,
    load,
    remove,
    start
}; // the last is the load of one unit, at its registration

class Persistence : public ManagerTest
{
protected:
    Persistence() { (void)takeReports(); }

    /// Makes the helper load these.
    void saved(char const * machine, std::vector<std::pair<char const *, EnablingState>> const & states)
    {
        flatbuffers::FlatBufferBuilder builder;
        std::vector<flatbuffers::Offset<fbs::EnablingState>> tables;
        for (auto const & [name, s] : states) {
            tables.push_back(fbs::CreateEnablingStateDirect(builder, name, s.messages, s.warnings, s.errors));
        }
        builder.Finish(fbs::CreateEnablingStatesDirect(builder, &tables, machine));
        persistence.saved.assign(reinterpret_cast<char const *>(builder.GetBufferPointer()), builder.GetSize());
        persistence.exists = true;
    }
    TraceResult run(Operation operation, Variant const & data = {}, std::string const & started = "axis")
    {
        return operation == save     ? manager->saveEnablingStatesAllTraceUnits(data)
               : operation == load   ? manager->loadEnablingStatesAllTraceUnits(data)
               : operation == remove ? manager->deleteEnablingStatesAllTraceUnits(data)
                                     : manager->addTraceUnit(&unit(started), kWarningsOnly);
    }
};

} // namespace common::log::test
