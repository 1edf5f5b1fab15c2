// The operations of the Manager that save, load and delete the states of registered units through the host's helper.
//
// They look alike, and their readers know each by its own words, results and severities: those of the two loads differ
// on purpose. A name or text that goes through ObjectText has always been printed that way.

#include <common/log/trace/manager.h>

#include "helper/object_text.h"
#include "helper/self_trace.h"
#include "helper/string.h"
#include "metadata_helper.h"
#include "persistence_request.h"
#include "saved_state_names.h"

#include <comm/nodebus/nb_result.h>
#include <comm/nodebus/variant.h>
#include <common/log/trace/log.h>
#include <common/log/trace/persistence_helper_itf.h>

#include <enablingstates_generated.h>
#include <persistenceparam_generated.h>

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace common::log::trace {

using namespace comm::nodebus;

namespace {

constexpr flatbuffers::uoffset_t kInitialBufferBytes = 1024;

PersistenceDetailDiag lastDiagOf(PersistenceHelperItf const & helper)
{
    PersistenceDetailDiag diag;
    (void)helper.getDetailDiag(helper.instance, diag); // its own failure would leave nothing better to print
    return diag;
}

/// What the helper has loaded, unchecked: it vouches for its buffers.
fbs::EnablingStates const & savedStatesIn(Variant const & loaded)
{
    return *fbs::GetEnablingStates(loaded.dataPointer());
}

EnablingState stateIn(fbs::EnablingState const & saved) { return {saved.messages(), saved.warnings(), saved.errors()}; }

fbs::EnablingState const * findFirst(fbs::EnablingStates const & saved, std::string const & unitName)
{
    for (fbs::EnablingState const * const entry : *saved.states()) {
        if (entry->name()->string_view() == unitName) {
            return entry;
        }
    }
    return nullptr;
}

} // namespace

void Manager::setBundleRootPath(std::string const & path) { m_bundleRootPath = path + "/"; }

void Manager::setPersistenceHelper(PersistenceHelperItf const * helper) { m_persistenceHelper = helper; }

PersistencePhase Manager::getPersistencePhase(Variant const & data) const
{
    if (data.type != VariantType::flatbuffers) {
        return PersistencePhase::none;
    }
    PersistenceParam const * const request = verifiedRequest(data);
    if (request == nullptr) {
        SELF_TRACE_WARNING("Invalid argument type for data.");
        return PersistencePhase::none;
    }
    return phaseOf(flatbuffers::GetStringView(request->phase()));
}

TraceResult Manager::saveEnablingStatesAllTraceUnits(Variant const & data) const
{
    PersistencePhase const phase = getPersistencePhase(data);
    std::string const detailText = detailTextOf(data, phase);
    if (phase != PersistencePhase::save && phase != PersistencePhase::none) {
        SELF_TRACE_ERROR("Invalid persistence phase '%s'. %s", phaseText(data), detailText.c_str());
        return TRACE_INVALID_ARGUMENT;
    }
    if (m_persistenceHelper == nullptr) {
        SELF_TRACE_ERROR("m_persistenceHelper is not available. %s", detailText.c_str());
        return TRACE_NOT_AVAILABLE;
    }
    std::string const typeFile = typeFileName(m_bundleRootPath);
    Variant typeData;
    NbResult const read = MetadataHelper::getFileContent(typeFile, typeData);
    if (isFailure(read)) {
        SELF_TRACE_ERROR("Failed to get type information file '%s', error code: %s. %s", typeFile.c_str(),
                         read.toString(), detailText.c_str());
        return TRACE_NOT_AVAILABLE;
    }

    flatbuffers::FlatBufferBuilder builder(kInitialBufferBytes);
    std::vector<flatbuffers::Offset<fbs::EnablingState>> states;
    {
        std::unique_lock<InheritMutex> const lock(m_mutex);
        for (auto const & [name, unit] : m_traceUnits) {
            EnablingState const state = unit->getEnablingState();
            states.push_back(
                fbs::CreateEnablingStateDirect(builder, name.c_str(), state.messages, state.warnings, state.errors));
        }
    }
    builder.Finish(fbs::CreateEnablingStatesDirect(builder, &states, m_machineIdentification.c_str()));
    Variant finished;
    (void)finished.setFlatbuffersView(builder.GetBufferPointer(), builder.GetSize()); // has no failure
    if (m_persistenceHelper->saveForRequest(m_persistenceHelper->instance, data, finished, typeData, kSavedStatesName,
                                            m_persistenceFile) < 0) {
        PersistenceDetailDiag const diag = lastDiagOf(*m_persistenceHelper);
        SELF_TRACE_ERROR("Failed to save trace enabling states configuration persistent, error detailed diagnosis from "
                         "persistence helper: {%d, 0x%08X, %d, %s}. %s",
                         diag.diagFirst, diag.diagCode, diag.diagThird, diag.diagText.c_str(), detailText.c_str());
        return TRACE_FAILED;
    }
    return TRACE_OK;
}

TraceResult Manager::loadEnablingStatesAllTraceUnits(Variant const & data) const
{
    PersistencePhase const phase = getPersistencePhase(data);
    std::string const detailText = detailTextOf(data, phase);
    if (phase != PersistencePhase::load && phase != PersistencePhase::none) {
        SELF_TRACE_ERROR("Invalid persistence phase '%s'. %s", phaseText(data), detailText.c_str());
        return TRACE_INVALID_ARGUMENT;
    }
    if (m_persistenceHelper == nullptr) {
        SELF_TRACE_ERROR("m_persistenceHelper is not available. %s", detailText.c_str());
        return TRACE_NOT_AVAILABLE;
    }
    std::string const typeFile = typeFileName(m_bundleRootPath);
    Variant typeData;
    NbResult const read = MetadataHelper::getFileContent(typeFile, typeData);
    if (isFailure(read)) {
        SELF_TRACE_ERROR("Failed to get type information file '%s', error code: %s. %s", typeFile.c_str(),
                         read.toString(), detailText.c_str());
        return TRACE_NOT_AVAILABLE;
    }
    if (!m_persistenceHelper->existsForRequest(m_persistenceHelper->instance, data, m_persistenceFile)) {
        SELF_TRACE_MESSAGE("No data to load is available. Maybe no data was saved before. %s", detailText.c_str());
        return TRACE_NO_SAVED_DATA;
    }
    Variant loaded;
    if (m_persistenceHelper->loadForRequest(m_persistenceHelper->instance, data, m_persistenceFile, typeData, loaded) <
        0) {
        PersistenceDetailDiag const diag = lastDiagOf(*m_persistenceHelper);
        SELF_TRACE_ERROR("Failed to load enabling states, error detailed diagnosis from persistence helper: {%d, "
                         "0x%08X, %d, %s}. %s",
                         diag.diagFirst, diag.diagCode, diag.diagThird, diag.diagText.c_str(), detailText.c_str());
        return TRACE_FAILED;
    }

    fbs::EnablingStates const & saved = savedStatesIn(loaded);
    if (saved.machineIdentification()->string_view() == kDefaultMachineIdentification) {
        SELF_TRACE_WARNING("Could not load trace enabling states configuration because of active default machine "
                           "identification '%s'. %s",
                           kDefaultMachineIdentification, detailText.c_str());
        return TRACE_MACHINE_MISMATCH;
    }
    if (saved.machineIdentification()->string_view() != m_machineIdentification) {
        SELF_TRACE_WARNING("Could not load trace enabling states configuration because actual machine configuration "
                           "'%s' is different to saved machine configuration '%s'. %s",
                           m_machineIdentification.c_str(), saved.machineIdentification()->c_str(), detailText.c_str());
        return TRACE_MACHINE_MISMATCH;
    }
    // What takes memory comes ahead of the first switch: without it, no unit is switched.
    std::vector<std::pair<std::string, EnablingState>> states;
    states.reserve(saved.states()->size());
    for (fbs::EnablingState const * const entry : *saved.states()) {
        states.emplace_back(entry->name()->str(), stateIn(*entry));
    }
    TraceResult result = TRACE_OK;
    for (auto const & [name, state] : states) {
        TraceResult const set = setEnablingStateTraceUnit(name, state);
        if (set == TRACE_NOT_FOUND) {
            // Units come and go with the components of the machine.
            SELF_TRACE_WARNING("Trace unit '%s' is not available anymore, so could not restore saved enabling state "
                               "for this unit. %s",
                               ObjectText(name).text(), detailText.c_str());
        } else if (isFailure(set)) {
            SELF_TRACE_ERROR("Restoring saved enabling state for trace unit '%s' failed with error code 0x%08X. %s",
                             ObjectText(name).text(), static_cast<unsigned int>(set), detailText.c_str());
            result = set;
        }
    }
    return result;
}

TraceResult Manager::loadEnablingStateTraceUnit(std::string const & unitName) const
{
    if (m_persistenceHelper == nullptr) {
        SELF_TRACE_ERROR("m_persistenceHelper is not available.");
        return TRACE_NOT_AVAILABLE;
    }
    std::string const typeFile = typeFileName(m_bundleRootPath);
    Variant typeData;
    NbResult const read = MetadataHelper::getFileContent(typeFile, typeData);
    if (isFailure(read)) {
        SELF_TRACE_ERROR("Failed to get type information file '%s', error code: %s", typeFile.c_str(), read.toString());
        return TRACE_NOT_AVAILABLE;
    }
    if (!m_persistenceHelper->existsDirect(m_persistenceHelper->instance, m_persistenceFile)) {
        SELF_TRACE_WARNING("No data to load is available. Maybe no data was saved before.");
        return TRACE_NOT_FOUND;
    }
    Variant loaded;
    if (m_persistenceHelper->loadDirect(m_persistenceHelper->instance, m_persistenceFile, typeData, loaded) < 0) {
        PersistenceDetailDiag const diag = lastDiagOf(*m_persistenceHelper);
        SELF_TRACE_ERROR("Failed to load enabling states, error detailed diagnosis from persistence helper: {%d, "
                         "0x%08X, %d, %s}.",
                         diag.diagFirst, diag.diagCode, diag.diagThird, diag.diagText.c_str());
        return TRACE_FAILED;
    }

    fbs::EnablingStates const & saved = savedStatesIn(loaded);
    if (saved.machineIdentification()->string_view() == kDefaultMachineIdentification) {
        SELF_TRACE_WARNING("Could not load enabling states configuration because of active default machine "
                           "identification '%s'.",
                           kDefaultMachineIdentification);
        return TRACE_NOT_FOUND;
    }
    if (saved.machineIdentification()->string_view() != m_machineIdentification) {
        SELF_TRACE_WARNING("Could not load enabling states configuration because actual machine configuration '%s' is "
                           "different to saved machine configuration '%s'.",
                           m_machineIdentification.c_str(), saved.machineIdentification()->c_str());
        return TRACE_NOT_FOUND;
    }
    fbs::EnablingState const * const entry = findFirst(saved, unitName);
    if (entry == nullptr) {
        SELF_TRACE_WARNING("Trace unit '%s' was not available in saved data.", unitName.c_str());
        return TRACE_NOT_FOUND;
    }
    EnablingState const state = stateIn(*entry);
    SELF_TRACE_MESSAGE("Set saved enabling state for trace unit '%s' (messages: %s, warnings: %s, errors: %s).",
                       unitName.c_str(), trueOrFalse(state.messages), trueOrFalse(state.warnings),
                       trueOrFalse(state.errors));
    TraceResult const set = setEnablingStateTraceUnit(unitName, state);
    if (isFailure(set)) {
        SELF_TRACE_ERROR("Restoring saved enabling state for trace unit '%s' failed with error code 0x%08X.",
                         ObjectText(unitName).text(), static_cast<unsigned int>(set));
        return set;
    }
    return TRACE_OK;
}

TraceResult Manager::deleteEnablingStatesAllTraceUnits(Variant const & data) const
{
    if (m_persistenceHelper == nullptr) {
        SELF_TRACE_ERROR("m_persistenceHelper is not available.");
        return TRACE_NOT_AVAILABLE;
    }
    if (!m_persistenceHelper->existsForRequest(m_persistenceHelper->instance, data, m_persistenceFile)) {
        SELF_TRACE_MESSAGE("No data to delete is available. Maybe no data was saved before.");
        return TRACE_NO_SAVED_DATA;
    }
    if (m_persistenceHelper->removeForRequest(m_persistenceHelper->instance, data, m_persistenceFile) < 0) {
        PersistenceDetailDiag const diag = lastDiagOf(*m_persistenceHelper);
        SELF_TRACE_ERROR("Failed to delete saved trace enabling states configuration, error detailed diagnosis from "
                         "persistence helper: {%d, 0x%08X, %d, %s}.",
                         diag.diagFirst, diag.diagCode, diag.diagThird, ObjectText(diag.diagText).text());
        return TRACE_FAILED;
    }
    return TRACE_OK;
}

} // namespace common::log::trace
