#pragma once

#include <common/log/trace/persistence_helper_itf.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace common::log::host {

class FileOperations;
class StoreFailure;

/// What failed: `diagFirst` of a diagnosis.
enum class StoreOperation : std::int32_t
{
    load = 1,
    save = 2,
    remove = 3
};

/// Why it failed: `diagCode` of a diagnosis, and, negative, the result of the function that failed. Behind each stands
/// what `diagThird` tells.
enum class StoreFault : std::uint32_t
{
    // Nothing of these tells of the file's content, which stays where it is.
    none = 0x00,     ///< no failure on this thread so far
    name = 0x01,     ///< no name of a file below the directory, or behind a link; 0
    notSaved = 0x02, ///< there is no such file; 0
    system = 0x03,   ///< the system refused; its error number
    busy = 0x04,     ///< somebody else changes the file, or holds the folder for too long; 0
    memory = 0x05,   ///< none left; 0
    type = 0x06,     ///< the type file is none, or not one of enabling states; 0
    data = 0x07,     ///< what is to be saved does not fit its type, or no text can show it; as below
    internal = 0x08, ///< a failure that should not exist; 0
    // These are the file's own, which is set aside.
    size = 0x10,    ///< above the limit; its bytes
    syntax = 0x11,  ///< no JSON; the line
    content = 0x12, ///< JSON of another type; the line, or 0 where none can be told
    field = 0x13,   ///< without a field that has to be there; the entry in `states` from 0, or -1 for the whole
};

/// Keeps enabling states in files below a directory: the persistence helper of a host, for Manager::setPersistenceHelper.
///
/// A file is JSON, one flag a line, to be read and edited by people. It is made and read with the type file that the
/// library hands over at each call. What is read goes through a gate: at most kLimitBytes, strict JSON, the type, a
/// check of the finished buffer, and every field that the library reads. Names of units that are not UTF-8 cannot be
/// saved: such a save fails.
///
/// A save is atomic and durable: whatever happens, and whenever the process or the machine stops, the file is the old
/// one or the new one, whole. It goes by a file beside it, `.NAME.tmp`, which is gone after a failure; one that a killed
/// process left behind is taken away by the next save. One failure alone leaves the new file: that the system cannot
/// promise to keep the rename. Folders below the directory are made as needed; the directory itself has to be there.
///
/// A file that does not pass the gate fails that load, is set aside as `NAME.bad`, in place of an earlier one, and counts
/// as nothing saved from then on, also where it could not be renamed. The library reports the load that failed, once;
/// this class writes no record. A file that could not be read at all stays, and fails every load.
///
/// Names are paths below the directory, with "/" between their parts; absent parts, "." and ".." are refused, and links
/// are never followed, wherever they lead.
///
/// Ownership  Lives longer than any Manager that has its helper(). Buffers are handed out as copies that the receiver
///            owns.
/// Threads    Any number at once, and any number of objects and processes on one directory. Of two saves at once one
///            stays. Savers wait for each other by a lock on the folder (flock), at most 5 s; loads wait for no save. A
///            file is parsed again only when it changed (inode, times, size). Changes by an editor that writes in place
///            may be seen half; a file found damaged while it changes is not set aside. Each thread reads its own last
///            diagnosis.
/// Real time  None of it.
/// Errors     By negative results, with a diagnosis: the operation, the fault, a number of it, and a text of file, line
///            or place, and reason, in at most 140 bytes, since records are short. No exception leaves the helper's
///            functions. Whether something is saved is answered with true where it cannot be told, so that the load
///            that follows says why.
class FileStore
{
public:
    static constexpr std::uint64_t kLimitBytes = std::uint64_t{16} * 1024 * 1024;

    /// @param directory  need not be there yet; a relative one counts from the working directory of now
    explicit FileStore(std::string const & directory);
    FileStore(std::string const & directory, std::unique_ptr<FileOperations> operations);
    FileStore(FileStore const &) = delete;
    FileStore & operator=(FileStore const &) = delete;
    ~FileStore();

    /// The table of functions on this object; as long as it lives, the same.
    PersistenceHelperItf const * helper() const { return &m_helper; }

private:
    using Variant = comm::nodebus::Variant;
    struct Loaded;
    struct Refused;

    std::int32_t load(std::string const & fileName, Variant const & typeData, Variant & out);
    std::int32_t save(std::string const & fileName, Variant const & typeData, Variant const & data);
    std::int32_t remove(std::string const & fileName);
    bool exists(std::string const & fileName);

    std::shared_ptr<Loaded const> loadedFrom(std::string const & fileName, Variant const & typeData);
    template <typename Action>
    std::int32_t attempt(StoreOperation operation, std::string const & fileName, Action action);
    std::int32_t keep(StoreOperation operation, std::string const & fileName, StoreFailure const & failure) noexcept;
    std::int32_t keepExhaustion(StoreOperation operation) noexcept;

    std::string m_directory;
    std::unique_ptr<FileOperations> m_operations;
    PersistenceHelperItf m_helper;
    std::mutex m_mutex; ///< for the two below, and for parsing one at a time
    std::shared_ptr<Loaded const> m_loaded;
    std::unique_ptr<Refused const> m_refused;
};

} // namespace common::log::host
