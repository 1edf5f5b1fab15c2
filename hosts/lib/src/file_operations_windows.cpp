#include "file_operations.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include <windows.h>

namespace common::log::host {

namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kFolderToo = FILE_FLAG_BACKUP_SEMANTICS;    // without it no folder can be opened
constexpr DWORD kLinkItself = FILE_FLAG_OPEN_REPARSE_POINT; // and not what it leads to

/// For a file or a folder that somebody else has open: a store's reader has it for less than a millisecond.
constexpr std::chrono::seconds kPatience(5);
constexpr std::chrono::milliseconds kPause(1);

/// An open file or folder, or none.
class Handle
{
public:
    explicit Handle(HANDLE value = INVALID_HANDLE_VALUE) : m_value(value) {}
    Handle(Handle && other) noexcept : m_value(std::exchange(other.m_value, INVALID_HANDLE_VALUE)) {}
    Handle & operator=(Handle && other) noexcept
    {
        std::swap(m_value, other.m_value);
        return *this;
    }
    ~Handle() { (void)close(); }

    bool isOpen() const { return m_value != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return m_value; }
    bool close() { return !isOpen() || CloseHandle(std::exchange(m_value, INVALID_HANDLE_VALUE)) != FALSE; }

private:
    HANDLE m_value;
};

/// As one of the generic conditions, wherever there is one for the system's number.
std::error_code lastError()
{
    std::error_code const error(static_cast<int>(GetLastError()), std::system_category());
    std::error_condition const condition = error.default_error_condition();
    return condition.category() == std::generic_category() ? std::error_code(condition.value(), std::generic_category())
                                                           : error;
}

std::error_code outcome(bool isDone) { return isDone ? std::error_code() : lastError(); }

Handle openBy(std::wstring const & path, DWORD access, DWORD shared, DWORD disposition, DWORD flags)
{
    return Handle(CreateFileW(path.c_str(), access, shared, nullptr, disposition, flags, nullptr));
}

/// Makes a call again and again while somebody else's use of the file hinders it.
template <typename Call>
std::error_code patiently(Call const & call)
{
    auto const limit = std::chrono::steady_clock::now() + kPatience;
    for (;;) {
        std::error_code const error = outcome(call());
        if ((error != std::errc::permission_denied && error != std::errc::device_or_resource_busy) ||
            std::chrono::steady_clock::now() >= limit) {
            return error;
        }
        std::this_thread::sleep_for(kPause);
    }
}

std::int64_t nanosecondsOf(LARGE_INTEGER const & time)
{
    constexpr std::int64_t kUnixEpoch = 116'444'736'000'000'000; // since 1601, in the system's units of 100 ns
    return (time.QuadPart - kUnixEpoch) * 100;
}

std::error_code readState(Handle const & file, FileState & state)
{
    BY_HANDLE_FILE_INFORMATION information{};
    FILE_BASIC_INFO basic{};
    if (GetFileInformationByHandle(file.get(), &information) == FALSE ||
        GetFileInformationByHandleEx(file.get(), FileBasicInfo, &basic, sizeof(basic)) == FALSE) {
        return lastError();
    }
    constexpr DWORD kNoFile = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DEVICE;
    state.device = information.dwVolumeSerialNumber;
    state.inode = std::uint64_t{information.nFileIndexHigh} << 32 | information.nFileIndexLow;
    state.bytes = std::uint64_t{information.nFileSizeHigh} << 32 | information.nFileSizeLow;
    state.modifiedNanoseconds = nanosecondsOf(basic.LastWriteTime);
    state.changedNanoseconds = nanosecondsOf(basic.ChangeTime);
    state.isRegular = (basic.FileAttributes & kNoFile) == 0 && GetFileType(file.get()) == FILE_TYPE_DISK;
    return {};
}

std::error_code expectFolder(Handle const & folder)
{
    FILE_BASIC_INFO basic{};
    if (GetFileInformationByHandleEx(folder.get(), FileBasicInfo, &basic, sizeof(basic)) == FALSE) {
        return lastError();
    }
    if ((basic.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        return std::make_error_code(std::errc::too_many_symbolic_link_levels);
    }
    return (basic.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? std::error_code()
                                                                  : std::make_error_code(std::errc::not_a_directory);
}

std::wstring pathOf(Handle const & folder)
{
    std::wstring path(MAX_PATH, L'\0');
    DWORD size = GetFinalPathNameByHandleW(folder.get(), path.data(), static_cast<DWORD>(path.size()), 0);
    if (size >= path.size()) {
        path.resize(size);
        size = GetFinalPathNameByHandleW(folder.get(), path.data(), static_cast<DWORD>(path.size()), 0);
    }
    path.resize(size < path.size() ? size : 0);
    return path;
}

/// The system opens files by their paths only. A folder that is open here is not shared for deletion, so that none of
/// its path is renamed or replaced meanwhile.
class SystemFileOperations : public FileOperations
{
public:
    std::error_code make(FileCall & call) override
    {
        switch (call.kind) {
        case Kind::openFolder:
        case Kind::openToRead:
        case Kind::create:
            return open(call);
        case Kind::makeFolder:
        case Kind::rename:
        case Kind::remove:
            return changeNames(call);
        case Kind::stateOf:
            return stateOf(call);
        case Kind::read:
        case Kind::write:
            return transfer(call);
        case Kind::flush:
            return flush(call);
        case Kind::close:
            return close(call.descriptor);
        case Kind::tryLock:
            return tryLock(call.descriptor);
        }
        return std::make_error_code(std::errc::invalid_argument);
    }

private:
    struct Entry
    {
        Handle handle;
        Handle lock{};
        bool isFolder = false;
    };

    Entry & entryOf(int descriptor)
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        return m_entries.at(descriptor); // stays where it is until it is closed
    }

    /// @param name  single, or a path where the call has no folder
    /// @return empty where that is no name of a file here
    std::wstring pathOf(FileCall const & call, char const * name)
    {
        if (call.descriptor == kNoFolder) {
            return std::filesystem::u8path(name).wstring();
        }
        std::string const text = name;
        if (text.find_first_of("\\/:") != std::string::npos) { // would lead elsewhere, or to a part of a file
            return {};
        }
        return host::pathOf(entryOf(call.descriptor).handle) + L'\\' + std::filesystem::u8path(text).wstring();
    }

    std::error_code open(FileCall & call)
    {
        std::wstring const path = pathOf(call, call.name);
        if (path.empty()) {
            return std::make_error_code(std::errc::invalid_argument);
        }
        DWORD const links = call.descriptor == kNoFolder ? 0 : kLinkItself;
        bool const isFolder = call.kind == Kind::openFolder;
        Handle handle = isFolder ? openBy(path, FILE_LIST_DIRECTORY | FILE_READ_ATTRIBUTES,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING, kFolderToo | links)
                        : call.kind == Kind::create
                            ? openBy(path, GENERIC_WRITE, kShareAll, CREATE_NEW, FILE_ATTRIBUTE_NORMAL)
                            : openBy(path, GENERIC_READ, kShareAll, OPEN_EXISTING, kFolderToo | links);
        if (!handle.isOpen()) {
            return lastError();
        }
        if (std::error_code const error = isFolder ? expectFolder(handle) : std::error_code()) {
            return error;
        }
        std::lock_guard<std::mutex> const lock(m_mutex);
        call.opened = m_next++;
        m_entries.emplace(call.opened, Entry{std::move(handle), Handle(), isFolder});
        return {};
    }

    std::error_code close(int descriptor)
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        auto const entry = m_entries.find(descriptor);
        if (entry == m_entries.end()) {
            return std::make_error_code(std::errc::bad_file_descriptor);
        }
        std::error_code const error = outcome(entry->second.handle.close());
        m_entries.erase(entry);
        return error;
    }

    std::error_code changeNames(FileCall const & call)
    {
        std::wstring const path = pathOf(call, call.name);
        std::wstring const newPath = call.kind == Kind::rename ? pathOf(call, call.newName) : path;
        if (path.empty() || newPath.empty()) {
            return std::make_error_code(std::errc::invalid_argument);
        }
        if (call.kind == Kind::makeFolder) {
            return outcome(CreateDirectoryW(path.c_str(), nullptr) != FALSE);
        }
        if (call.kind == Kind::remove) {
            return outcome(DeleteFileW(path.c_str()) != FALSE);
        }
        return patiently([&] { // a file that is open for reading is not replaced
            return MoveFileExW(path.c_str(), newPath.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) !=
                   FALSE;
        });
    }

    std::error_code stateOf(FileCall & call)
    {
        if (*call.name == '\0') {
            return readState(entryOf(call.descriptor).handle, call.state);
        }
        std::wstring const path = pathOf(call, call.name);
        if (path.empty()) {
            return std::make_error_code(std::errc::invalid_argument);
        }
        Handle const file = openBy(path, FILE_READ_ATTRIBUTES, kShareAll, OPEN_EXISTING, kFolderToo | kLinkItself);
        return file.isOpen() ? readState(file, call.state) : lastError();
    }

    std::error_code transfer(FileCall & call)
    {
        constexpr std::size_t kMostAtOnce = std::size_t{1} << 30; // a size has 32 bits here
        HANDLE const file = entryOf(call.descriptor).handle.get();
        DWORD bytes = 0;
        bool const isDone =
            call.kind == Kind::read
                ? ReadFile(file, call.buffer, static_cast<DWORD>(std::min(call.size, kMostAtOnce)), &bytes, nullptr)
                : WriteFile(file, call.text.data(), static_cast<DWORD>(std::min(call.text.size(), kMostAtOnce)), &bytes,
                            nullptr);
        call.bytes = bytes;
        return outcome(isDone);
    }

    /// A folder can be flushed only by who may write to it, and not on every file system. Its names are safe all the
    /// same: a rename returns when it is on the disk.
    std::error_code flush(FileCall const & call)
    {
        Entry const & entry = entryOf(call.descriptor);
        if (!entry.isFolder || entry.lock.isOpen()) {
            return outcome(FlushFileBuffers((entry.isFolder ? entry.lock : entry.handle).get()) != FALSE);
        }
        std::wstring const path = host::pathOf(entry.handle);
        std::error_code const error = patiently([&] {
            Handle const folder = openBy(path, FILE_ADD_FILE, kShareAll, OPEN_EXISTING, kFolderToo);
            return folder.isOpen() && FlushFileBuffers(folder.get()) != FALSE;
        });
        return error == std::errc::permission_denied ? std::make_error_code(std::errc::not_supported) : error;
    }

    /// By a second handle of the folder that nobody else shares for writing. To list it, and to use its files, stays
    /// possible.
    std::error_code tryLock(int descriptor)
    {
        Entry & entry = entryOf(descriptor);
        Handle lock = openBy(host::pathOf(entry.handle), FILE_ADD_FILE, FILE_SHARE_READ, OPEN_EXISTING, kFolderToo);
        if (lock.isOpen()) {
            entry.lock = std::move(lock);
            return {};
        }
        return GetLastError() == ERROR_SHARING_VIOLATION
                   ? std::make_error_code(std::errc::resource_unavailable_try_again)
                   : lastError();
    }

    std::mutex m_mutex;
    std::map<int, Entry> m_entries;
    int m_next = 0;
};

} // namespace

std::unique_ptr<FileOperations> systemFileOperations() { return std::make_unique<SystemFileOperations>(); }

} // namespace common::log::host
