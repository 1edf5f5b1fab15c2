#pragma once

#include "file_operations.h"
#include "hosts/tracehost/temporary_folder.h"
#include "support/internal_trace_access.h"
#include "support/scoped_environment.h"
#include "support/stream_capture.h"

#include <common/log/host/file_store.h>
#include <common/log/trace.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include <enablingstates_generated.h>

namespace common::log::host::test {

using comm::nodebus::Variant;
using tracehost::test::TemporaryFolder;

/// Thousands of files are written here, where a disk would do nothing but take its time.
inline log::test::ScopedEnvironment const kNoDisk{
    "TMP", std::filesystem::exists("/dev/shm") ? std::optional<std::string>("/dev/shm") : std::nullopt};

constexpr char kFileName[] = "trace/enablingstates_snap.json";

inline std::string contentOf(std::string const & path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}
inline void write(std::string const & path, std::string const & content)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
}
/// All that lies in a folder and below it.
inline std::vector<std::string> namesIn(std::string const & folder)
{
    std::vector<std::string> names;
    for (auto const & entry : std::filesystem::recursive_directory_iterator(folder)) {
        names.push_back(std::filesystem::relative(entry.path(), folder).generic_string());
    }
    return names;
}
/// The type file as the library hands it over.
inline Variant typeData()
{
    static std::string const type =
        contentOf(COMMON_LOG_TRACE_BUNDLE_ROOT "/bfbs/common/log/trace/enablingstates.bfbs");
    Variant data;
    (void)data.setFlatbuffersCopy(type.data(), type.size());
    return data;
}

/// A buffer as the library makes it; a unit by its name with the letters of its flags behind a blank: "axis mwe".
inline Variant dataOf(std::vector<std::string> const & units, char const * machine = "machine")
{
    namespace fbs = trace::fbs;
    flatbuffers::FlatBufferBuilder builder;
    std::vector<flatbuffers::Offset<fbs::EnablingState>> states;
    for (std::string const & unit : units) {
        std::size_t const blank = unit.rfind(' ');
        auto const has = [&](char flag) { return unit.find(flag, blank) != std::string::npos; };
        states.push_back(
            fbs::CreateEnablingStateDirect(builder, unit.substr(0, blank).c_str(), has('m'), has('w'), has('e')));
    }
    builder.Finish(fbs::CreateEnablingStatesDirect(builder, &states, machine));
    Variant data;
    (void)data.setFlatbuffersCopy(builder.GetBufferPointer(), builder.GetSize());
    return data;
}

/// The units of a loaded buffer, in the same form, read just as the library does; {"unsound"} where that is not safe.
inline std::vector<std::string> unitsOf(Variant const & data)
{
    flatbuffers::Verifier verifier(static_cast<std::uint8_t const *>(data.dataPointer()), data.getSize());
    if (data.shared || !verifier.VerifyBuffer<trace::fbs::EnablingStates>(nullptr)) {
        return {"unsound"};
    }
    auto const * const root = flatbuffers::GetRoot<trace::fbs::EnablingStates>(data.dataPointer());
    std::vector<std::string> units;
    for (auto const * state : *root->states()) {
        units.push_back(state->name()->str() + " " + (state->messages() ? "m" : "") + (state->warnings() ? "w" : "") +
                        (state->errors() ? "e" : ""));
    }
    return units;
}

/// A store as a Manager uses it.
struct Client
{
    explicit Client(std::string const & directory, std::unique_ptr<FileOperations> operations = systemFileOperations())
        : store(directory, std::move(operations))
    {}

    std::int32_t save(Variant const & data, std::string const & name = kFileName) const
    {
        return itf.saveForRequest(itf.instance, {}, data, typeData(), "enablingstates", name);
    }
    std::int32_t load(std::vector<std::string> & units, std::string const & name = kFileName,
                      Variant const & type = typeData()) const
    {
        Variant out;
        std::int32_t const result = itf.loadDirect(itf.instance, name, type, out);
        units = result < 0 ? std::vector<std::string>() : unitsOf(out);
        return result;
    }
    std::vector<std::string> loaded() const
    {
        std::vector<std::string> units;
        return load(units) < 0 ? std::vector<std::string>{diag().diagText} : units;
    }
    std::int32_t remove(std::string const & name = kFileName) const
    {
        return itf.removeForRequest(itf.instance, {}, name);
    }
    bool exists(std::string const & name = kFileName) const { return itf.existsDirect(itf.instance, name); }
    PersistenceDetailDiag diag() const
    {
        PersistenceDetailDiag diag;
        return (void)itf.getDetailDiag(itf.instance, diag), diag;
    }

    FileStore store;
    PersistenceHelperItf const & itf = *store.helper();
};

constexpr std::int32_t failure(StoreFault fault) { return -static_cast<std::int32_t>(fault); }

/// The system's operations, except where `before` answers for a call; all that succeed are noted.
class WatchedOperations : public FileOperations
{
public:
    struct Noted
    {
        Kind kind;
        std::string path;   ///< that of the store's directory is "."
        std::string target; ///< of a rename the new path, of a write what was written
    };
    struct Answer
    {
        int error = 0;               ///< the call is not made, or, of a close, was made
        std::size_t most = SIZE_MAX; ///< of the bytes that a read or a write takes
    };
    using Before = std::function<Answer(Noted const & call)>;

    WatchedOperations(std::vector<Noted> & calls, Before before) : m_calls(calls), m_before(std::move(before)) {}

    std::error_code make(FileCall & call) override
    {
        std::string const folder = call.descriptor == kNoFolder ? "" : m_paths[call.descriptor];
        Noted noted{call.kind, folder.empty() ? "." : folder + (*call.name == 0 ? "" : "/") + call.name,
                    folder + "/" + call.newName};
        Answer const answer = m_before ? m_before(noted) : Answer();
        call.size = std::min(call.size, answer.most);
        call.text = call.text.substr(0, answer.most);
        bool const isMade = answer.error == 0 || call.kind == Kind::close;
        std::error_code const error = isMade ? m_real->make(call) : std::error_code();
        if (answer.error != 0) {
            return {answer.error, std::generic_category()};
        }
        if (!error) {
            m_paths[call.opened] = noted.path;
            noted.target = call.kind == Kind::write ? std::string(call.text.substr(0, call.bytes)) : noted.target;
            m_calls.push_back(std::move(noted));
        }
        return error;
    }

private:
    std::unique_ptr<FileOperations> m_real = systemFileOperations();
    std::vector<Noted> & m_calls;
    Before m_before;
    std::map<int, std::string> m_paths;
};
using Kind = FileCall::Kind;

/// A store in an empty folder.
struct WatchedStore
{
    explicit WatchedStore(WatchedOperations::Before before = nullptr)
        : client(path, std::make_unique<WatchedOperations>(calls, std::move(before)))
    {}

    TemporaryFolder folder;
    std::string path = folder.pathOf("");
    std::vector<WatchedOperations::Noted> calls;
    Client client;
};

/// Counts the records of the error stream. Allocates nothing.
class ReportCount : private common::log::test::ErrorStreamBuffer
{
public:
    unsigned take() { return std::exchange(m_reports, 0); }

private:
    std::streamsize xsputn(char const *, std::streamsize size) override { return size; }
    int sync() override { return ++m_reports, 0; }

    unsigned m_reports = 0;
};

/// A host with a store, and units whose flags are the binary digits of a number.
struct NumberedHost
{
    explicit NumberedHost(std::string const & directory,
                          std::unique_ptr<FileOperations> operations = systemFileOperations())
        : store(directory, std::move(operations))
    {
        for (char unit = 'a'; unit < 'k'; ++unit) {
            std::string const name = std::string("name.longer.than.most.") + unit;
            units.push_back(std::make_unique<trace::Log>(name.c_str(), nullptr));
            (void)manager->addTraceUnit(units.back().get(), {});
        }
        manager->setBundleRootPath(COMMON_LOG_TRACE_BUNDLE_ROOT);
        manager->setPersistenceHelper(store.helper());
        (void)reports.take();
    }

    std::uint64_t number() const
    {
        std::uint64_t number = 0;
        for (auto const & unit : units) {
            auto const [messages, warnings, errors] = unit->getEnablingState();
            number = number * 8 + (messages ? 4U : 0U) + (warnings ? 2U : 0U) + (errors ? 1U : 0U);
        }
        return number;
    }
    trace::TraceResult save(std::uint64_t number) const
    {
        for (auto unit = units.rbegin(); unit != units.rend(); ++unit, number /= 8) {
            (*unit)->setEnablingState({(number & 4U) != 0, (number & 2U) != 0, (number & 1U) != 0});
        }
        return manager->saveEnablingStatesAllTraceUnits({});
    }
    trace::TraceResult load() const { return manager->loadEnablingStatesAllTraceUnits({}); }
    trace::TraceResult remove() const { return manager->deleteEnablingStatesAllTraceUnits({}); }

    ReportCount reports;
    trace::InternalTrace internalTrace; ///< errors alone
    FileStore store;
    std::vector<std::unique_ptr<trace::Log>> units;
    std::shared_ptr<trace::Manager> manager = std::make_shared<trace::Manager>();
};

} // namespace common::log::host::test
