#include <common/log/host/file_store.h>

#include "saved_type.h"
#include "store_failure.h"
#include "store_folder.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <new>
#include <utility>
#include <vector>

namespace common::log::host {

namespace {

using comm::nodebus::Variant;

/// How old a file has to be for its next change to be sure of another time: what the clock of file systems stands still
/// for, and some.
constexpr std::chrono::milliseconds kTimeStep(20);

/// The record that shows a diagnosis has 255 characters, of which the library's own words take up to about 110.
constexpr std::size_t kTextBytes = 140;

struct Diagnosis
{
    FileStore const * store = nullptr;
    PersistenceDetailDiag diag;
};
thread_local Diagnosis t_last;

FileStore & storeOf(void * instance) { return *static_cast<FileStore *>(instance); }

std::vector<std::uint8_t> bytesOf(Variant const & value)
{
    auto const * const begin = static_cast<std::uint8_t const *>(value.dataPointer());
    return begin == nullptr ? std::vector<std::uint8_t>() : std::vector<std::uint8_t>(begin, begin + value.getSize());
}

/// Whether a change from now on is sure to show in the state.
bool isSettled(FileState const & state)
{
    using std::chrono::nanoseconds;
    nanoseconds const now = std::chrono::system_clock::now().time_since_epoch();
    nanoseconds const age = now - nanoseconds(std::max(state.modifiedNanoseconds, state.changedNanoseconds));
    return std::chrono::abs(age) > kTimeStep; // of the future is as good: the next change is not
}

/// A text that may quote the file, or its name, goes into a record: one line, of bounded length.
std::string presentable(std::string text)
{
    if (text.size() > kTextBytes) {
        text.replace(kTextBytes - 3, std::string::npos, "...");
    }
    auto const isControl = [](char character) {
        return static_cast<unsigned char>(character) < ' ' || character == '\x7f';
    };
    std::replace_if(text.begin(), text.end(), isControl, '?');
    return text;
}

} // namespace

struct FileStore::Loaded
{
    std::string fileName;
    FileState state;
    std::vector<std::uint8_t> type;
    std::vector<std::uint8_t> buffer;
};

struct FileStore::Refused
{
    std::string fileName;
    FileState state;
};

FileStore::FileStore(std::string const & directory) : FileStore(directory, systemFileOperations()) {}

FileStore::FileStore(std::string const & directory, std::unique_ptr<FileOperations> operations)
    : m_directory(std::filesystem::absolute(directory).string()), m_operations(std::move(operations))
{
    m_helper.instance = this;
    m_helper.loadDirect = [](void * instance, std::string const & fileName, Variant const & typeData, Variant & out) {
        return storeOf(instance).load(fileName, typeData, out);
    };
    m_helper.loadForRequest = [](void * instance, Variant const &, std::string const & fileName,
                                 Variant const & typeData,
                                 Variant & out) { return storeOf(instance).load(fileName, typeData, out); };
    m_helper.existsDirect = [](void * instance, std::string const & fileName) {
        return storeOf(instance).exists(fileName);
    };
    m_helper.existsForRequest = [](void * instance, Variant const &, std::string const & fileName) {
        return storeOf(instance).exists(fileName);
    };
    m_helper.saveForRequest = [](void * instance, Variant const &, Variant const & data, Variant const & typeData,
                                 std::string const &, std::string const & fileName) {
        return storeOf(instance).save(fileName, typeData, data);
    };
    m_helper.removeForRequest = [](void * instance, Variant const &, std::string const & fileName) {
        return storeOf(instance).remove(fileName);
    };
    m_helper.getDetailDiag = [](void * instance, PersistenceDetailDiag & diag) {
        diag = t_last.store == instance ? t_last.diag : PersistenceDetailDiag();
        return std::int32_t{0};
    };
}

FileStore::~FileStore() = default;

std::int32_t FileStore::load(std::string const & fileName, Variant const & typeData, Variant & out)
{
    return attempt(StoreOperation::load, fileName, [&] {
        // A copy, outside of the lock: a view would have to outlive a file that changes.
        std::shared_ptr<Loaded const> const loaded = loadedFrom(fileName, typeData);
        (void)out.setFlatbuffersCopy(loaded->buffer.data(), loaded->buffer.size());
    });
}

std::int32_t FileStore::save(std::string const & fileName, Variant const & typeData, Variant const & data)
{
    return attempt(StoreOperation::save, fileName, [&] {
        SavedType type(typeData.dataPointer(), typeData.getSize());
        std::string const text = type.textOf(data.dataPointer(), data.getSize());
        StoreFolder(*m_operations, m_directory, fileName, StoreFolder::Missing::isMade).replaceFile(text);
    });
}

std::int32_t FileStore::remove(std::string const & fileName)
{
    return attempt(StoreOperation::remove, fileName, [&] {
        StoreFolder(*m_operations, m_directory, fileName, StoreFolder::Missing::fails).removeFile();
    });
}

bool FileStore::exists(std::string const & fileName)
{
    bool isThere = true;
    (void)attempt(StoreOperation::load, fileName, [&] {
        try {
            FileState const state =
                StoreFolder(*m_operations, m_directory, fileName, StoreFolder::Missing::fails).stateOfFile();
            std::lock_guard<std::mutex> const lock(m_mutex);
            isThere = m_refused == nullptr || m_refused->fileName != fileName || !(m_refused->state == state);
        } catch (StoreFailure const & failure) {
            isThere = failure.fault() != StoreFault::notSaved && failure.fault() != StoreFault::name;
        }
    });
    return isThere;
}

std::shared_ptr<FileStore::Loaded const> FileStore::loadedFrom(std::string const & fileName, Variant const & typeData)
{
    StoreFolder folder(*m_operations, m_directory, fileName, StoreFolder::Missing::fails);
    Loaded now{fileName, {}, bytesOf(typeData), {}};
    Descriptor file = folder.openFile(now.state);
    bool const canBeKept = isSettled(now.state); // as it is ahead of the reading
    std::lock_guard<std::mutex> const lock(m_mutex);
    if (m_loaded != nullptr && m_loaded->fileName == fileName && m_loaded->state == now.state &&
        m_loaded->type == now.type) {
        return m_loaded;
    }
    m_loaded.reset();
    SavedType type(now.type.data(), now.type.size());
    try {
        now.buffer = type.bufferOf(folder.contentOf(std::move(file), now.state, kLimitBytes));
    } catch (StoreFailure const & failure) {
        if (!failure.isOfContent()) {
            throw;
        }
        std::string outcome = "set aside: ";
        try {
            m_refused = std::make_unique<Refused const>(Refused{fileName, now.state});
            folder.setFileAside(now.state);
        } catch (StoreFailure const & other) {
            outcome = std::string("cannot be set aside (") + other.what() + "): ";
        }
        throw StoreFailure(failure.fault(), failure.number(), outcome + failure.what());
    }
    std::shared_ptr<Loaded const> loaded = std::make_shared<Loaded const>(std::move(now));
    if (canBeKept) {
        m_loaded = loaded;
    }
    return loaded;
}

template <typename Action>
std::int32_t FileStore::attempt(StoreOperation operation, std::string const & fileName, Action action)
{
    try {
        action();
        return 0;
    } catch (StoreFailure const & failure) {
        return keep(operation, fileName, failure);
    } catch (std::bad_alloc const &) {
        return keepExhaustion(operation);
    } catch (std::exception const & failure) {
        return keep(operation, fileName, StoreFailure(StoreFault::internal, 0, failure.what()));
    }
}

std::int32_t FileStore::keep(StoreOperation operation, std::string const & fileName,
                             StoreFailure const & failure) noexcept
{
    bool const hasLine =
        failure.number() > 0 && (failure.fault() == StoreFault::syntax || failure.fault() == StoreFault::content);
    try {
        std::string const place = hasLine ? ":" + std::to_string(failure.number()) : std::string();
        std::string text = presentable(fileName + place + ": " + failure.what());
        t_last.store = this;
        t_last.diag = {static_cast<std::int32_t>(operation), static_cast<std::uint32_t>(failure.fault()),
                       failure.number(), std::move(text)};
        return -static_cast<std::int32_t>(failure.fault());
    } catch (std::bad_alloc const &) {
        return keepExhaustion(operation);
    }
}

std::int32_t FileStore::keepExhaustion(StoreOperation operation) noexcept
{
    t_last.store = this;
    // The text is short enough to need no memory.
    t_last.diag = {static_cast<std::int32_t>(operation), static_cast<std::uint32_t>(StoreFault::memory), 0,
                   "out of memory"};
    return -static_cast<std::int32_t>(StoreFault::memory);
}

} // namespace common::log::host
