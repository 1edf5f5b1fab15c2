#pragma once

#include "file_operations.h"
#include "hosts/tracehost/temporary_folder.h"

#include <common/log/host/file_store.h>

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

#include <stdlib.h>

#include <enablingstates_generated.h>

namespace common::log::host::test {

using comm::nodebus::Variant;
using tracehost::test::TemporaryFolder;

/// Thousands of files are written here, where a disk would do nothing but take its time.
inline int const kNoDisk = std::filesystem::exists("/dev/shm") ? ::setenv("TMPDIR", "/dev/shm", 1) : 0;

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
        names.push_back(std::filesystem::relative(entry.path(), folder).string());
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
class Client
{
public:
    explicit Client(std::string const & directory, std::unique_ptr<FileOperations> operations = systemFileOperations())
        : m_store(directory, std::move(operations)), m_helper(*m_store.helper())
    {}

    std::int32_t save(Variant const & data, std::string const & name = kFileName)
    {
        return m_helper.saveForRequest(m_helper.instance, {}, data, typeData(), "enablingstates", name);
    }
    std::int32_t load(std::vector<std::string> & units, std::string const & name = kFileName,
                      Variant const & type = typeData())
    {
        Variant out;
        std::int32_t const result = m_helper.loadDirect(m_helper.instance, name, type, out);
        units = result < 0 ? std::vector<std::string>() : unitsOf(out);
        return result;
    }
    std::vector<std::string> loaded()
    {
        std::vector<std::string> units;
        return load(units) < 0 ? std::vector<std::string>{diag().diagText} : units;
    }
    std::int32_t remove(std::string const & name = kFileName)
    {
        return m_helper.removeForRequest(m_helper.instance, {}, name);
    }
    bool exists(std::string const & name = kFileName) { return m_helper.existsDirect(m_helper.instance, name); }
    PersistenceDetailDiag diag()
    {
        PersistenceDetailDiag diag;
        (void)m_helper.getDetailDiag(m_helper.instance, diag);
        return diag;
    }

private:
    FileStore m_store;
    PersistenceHelperItf const & m_helper;
};

/// A call of the system that was made, with paths below the directory of the store (".").
struct Call
{
    std::string name;
    std::string path;
    std::string target; ///< of a rename the new path, of a write what was written
};

/// The system's operations, except where `before` answers for a call; all that succeed are noted.
class WatchedOperations : public FileOperations
{
public:
    struct Answer
    {
        int error = 0; ///< the call is not made
        bool isShort = false;
    };
    using Before = std::function<Answer(Call const & call)>;

    WatchedOperations(std::vector<Call> & calls, Before before) : m_calls(calls), m_before(std::move(before)) {}

    std::error_code open(int folder, char const * name, Mode mode, int & descriptor) override
    {
        std::string const path = folder == kNoFolder ? "." : pathOf(folder, name);
        std::error_code const error = call({mode == Mode::create ? "create" : "open", path, ""},
                                           [&](bool) { return m_real->open(folder, name, mode, descriptor); });
        m_paths[descriptor] = path;
        return error;
    }
    std::error_code makeFolder(int folder, char const * name) override
    {
        return call({"makeFolder", pathOf(folder, name), ""}, [&](bool) { return m_real->makeFolder(folder, name); });
    }
    std::error_code stateOf(int file, char const * name, FileState & state) override
    {
        return call({"stateOf", pathOf(file, name), ""}, [&](bool) { return m_real->stateOf(file, name, state); });
    }
    std::error_code read(int file, char * buffer, std::size_t size, std::size_t & bytes) override
    {
        return call({"read", m_paths[file], ""},
                    [&](bool isShort) { return m_real->read(file, buffer, isShort ? 1 : size, bytes); });
    }
    std::error_code write(int file, std::string_view text, std::size_t & bytes) override
    {
        std::error_code const error = call({"write", m_paths[file], ""}, [&](bool isShort) {
            return m_real->write(file, text.substr(0, isShort ? 1 : text.size()), bytes);
        });
        if (!error) {
            m_calls.back().target = text.substr(0, bytes);
        }
        return error;
    }
    std::error_code flush(int file) override
    {
        return call({"flush", m_paths[file], ""}, [&](bool) { return m_real->flush(file); });
    }
    std::error_code close(int file) override
    {
        (void)m_real->close(file);
        return call({"close", m_paths[file], ""}, [](bool) { return std::error_code(); });
    }
    std::error_code rename(int folder, char const * from, char const * to) override
    {
        return call({"rename", pathOf(folder, from), pathOf(folder, to)},
                    [&](bool) { return m_real->rename(folder, from, to); });
    }
    std::error_code remove(int folder, char const * name) override
    {
        return call({"remove", pathOf(folder, name), ""}, [&](bool) { return m_real->remove(folder, name); });
    }
    std::error_code tryLock(int folder) override
    {
        return call({"lock", m_paths[folder], ""}, [&](bool) { return m_real->tryLock(folder); });
    }

private:
    std::string pathOf(int folder, std::string const & name)
    {
        return name.empty() ? m_paths[folder] : m_paths[folder] + "/" + name;
    }
    template <typename Real>
    std::error_code call(Call made, Real const & real)
    {
        Answer const answer = m_before ? m_before(made) : Answer();
        std::error_code const error =
            answer.error != 0 ? std::error_code(answer.error, std::generic_category()) : real(answer.isShort);
        if (!error) {
            m_calls.push_back(std::move(made));
        }
        return error;
    }

    std::unique_ptr<FileOperations> m_real = systemFileOperations();
    std::vector<Call> & m_calls;
    Before m_before;
    std::map<int, std::string> m_paths;
};

} // namespace common::log::host::test
