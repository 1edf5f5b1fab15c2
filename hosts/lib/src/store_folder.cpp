#include "store_folder.h"

#include "store_failure.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace common::log::host {

namespace {

using Kind = FileCall::Kind;

constexpr std::chrono::seconds kLockPatience(5);
constexpr std::chrono::milliseconds kLockPause(1);
constexpr std::size_t kReadBytes = 65'536;

/// Makes a call until it is not interrupted.
template <typename Call>
std::error_code uninterrupted(Call const & call)
{
    std::error_code error = call();
    while (error == std::errc::interrupted) {
        error = call();
    }
    return error;
}

void throwOnError(std::error_code const & error, std::string const & what)
{
    if (error) {
        throw StoreFailure(StoreFault::system, error.value(), what + ": " + error.message());
    }
}

/// Where it may well be that nothing is there.
void throwOnMissing(std::error_code const & error, std::string const & what)
{
    if (error == std::errc::no_such_file_or_directory) {
        throw StoreFailure(StoreFault::notSaved, 0, what + ": " + error.message());
    }
    throwOnError(error, what);
}

/// @throws StoreFailure  where that is no path that leads down
std::vector<std::string> partsOf(std::string const & fileName)
{
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin <= fileName.size();) {
        std::size_t const end = std::min(fileName.find('/', begin), fileName.size());
        parts.push_back(fileName.substr(begin, end - begin));
        begin = end + 1;
    }
    for (std::string const & part : parts) {
        if (part.empty() || part == "." || part == ".." || part.find('\0') != std::string::npos) {
            throw StoreFailure(StoreFault::name, 0, "no name of a file below the directory of the store");
        }
    }
    return parts;
}

void expectRegular(FileState const & state)
{
    if (!state.isRegular) {
        throw StoreFailure(StoreFault::name, 0, "a link, which is not followed, or a folder or device");
    }
}

/// A file beside the real one, which goes away unless it has taken its place.
class TemporaryFile
{
public:
    TemporaryFile(FileOperations & operations, int folder, std::string const & fileName)
        : m_operations(operations), m_folder(folder), m_name("." + fileName + ".tmp")
    {
        remove(); // what a killed process left
    }
    TemporaryFile(TemporaryFile const &) = delete;
    TemporaryFile & operator=(TemporaryFile const &) = delete;
    ~TemporaryFile()
    {
        if (!m_isPlaced) {
            remove();
        }
    }

    std::string const & name() const { return m_name; }
    void placeAs(std::string const & fileName)
    {
        throwOnError(
            uninterrupted([&] { return m_operations.act(Kind::rename, m_folder, m_name.c_str(), fileName.c_str()); }),
            "cannot be put in place");
        m_isPlaced = true;
    }

private:
    void remove() const // one that stays is met by the creation
    {
        (void)uninterrupted([&] { return m_operations.act(Kind::remove, m_folder, m_name.c_str()); });
    }

    FileOperations & m_operations;
    int m_folder;
    std::string m_name;
    bool m_isPlaced = false;
};

} // namespace

StoreFolder::StoreFolder(FileOperations & operations, std::string const & directory, std::string const & fileName,
                         Missing missing)
    : m_operations(operations)
{
    std::vector<std::string> parts = partsOf(fileName);
    m_fileName = parts.back();
    parts.back() = directory;
    std::rotate(parts.begin(), parts.end() - 1, parts.end());
    m_folders.reserve(parts.size());
    int parent = FileOperations::kNoFolder;
    for (std::string const & part : parts) {
        int number = -1;
        auto const open = [&] { return m_operations.open(Kind::openFolder, parent, part.c_str(), number); };
        std::error_code error = uninterrupted(open);
        if (error == std::errc::no_such_file_or_directory && missing == Missing::isMade &&
            parent != FileOperations::kNoFolder) {
            error = uninterrupted([&] { return m_operations.act(Kind::makeFolder, parent, part.c_str()); });
            if (!error || error == std::errc::file_exists) { // somebody else may have been quicker
                error = uninterrupted(open);
            }
        }
        if (error == std::errc::not_a_directory || error == std::errc::too_many_symbolic_link_levels) {
            throw StoreFailure(StoreFault::name, 0, part + " is no folder, or a link, which is not followed");
        }
        if (missing == Missing::fails) {
            throwOnMissing(error, "folder " + part);
        }
        throwOnError(error, "folder " + part);
        m_folders.emplace_back(m_operations, number);
        parent = number;
    }
}

FileState StoreFolder::stateOfFile() const
{
    FileState state;
    int const folder = m_folders.back().number();
    throwOnMissing(uninterrupted([&] { return m_operations.stateOf(folder, m_fileName.c_str(), state); }),
                   "cannot be looked at");
    expectRegular(state);
    return state;
}

Descriptor StoreFolder::openFile(FileState & state) const
{
    int number = -1;
    std::error_code const error = uninterrupted(
        [&] { return m_operations.open(Kind::openToRead, m_folders.back().number(), m_fileName.c_str(), number); });
    if (error == std::errc::too_many_symbolic_link_levels) {
        expectRegular({});
    }
    throwOnMissing(error, "cannot be opened");
    Descriptor file(m_operations, number);
    throwOnError(uninterrupted([&] { return m_operations.stateOf(number, "", state); }), "cannot be looked at");
    expectRegular(state);
    return file;
}

std::string StoreFolder::contentOf(Descriptor file, // NOLINT(performance-unnecessary-value-param): ends here
                                   FileState const & state, std::uint64_t limitBytes) const
{
    if (state.bytes > limitBytes) {
        constexpr std::uint64_t kMost = INT32_MAX;
        throw StoreFailure(StoreFault::size, static_cast<std::int32_t>(std::min(state.bytes, kMost)),
                           std::to_string(state.bytes) + " bytes, above the limit of " + std::to_string(limitBytes));
    }
    std::string content;
    for (std::size_t bytes = 1; bytes != 0 && content.size() <= state.bytes;) {
        std::size_t const begin = content.size();
        content.resize(begin + kReadBytes);
        throwOnError(
            uninterrupted([&] { return m_operations.read(file.number(), &content[begin], kReadBytes, bytes); }),
            "cannot be read");
        content.resize(begin + bytes);
    }
    if (content.size() != state.bytes) {
        throw StoreFailure(StoreFault::busy, 0, "changed while it was read");
    }
    return content;
}

void StoreFolder::replaceFile(std::string_view content)
{
    lock();
    int const folder = m_folders.back().number();
    FileState old;
    std::error_code const error = uninterrupted([&] { return m_operations.stateOf(folder, m_fileName.c_str(), old); });
    if (error != std::errc::no_such_file_or_directory) {
        throwOnError(error, "cannot be looked at");
        expectRegular(old);
    }
    TemporaryFile temporary(m_operations, folder, m_fileName);
    create(temporary.name(), content);
    temporary.placeAs(m_fileName);
    flushNames();
}

void StoreFolder::create(std::string const & name, std::string_view content) const
{
    int number = -1;
    throwOnError(
        uninterrupted([&] { return m_operations.open(Kind::create, m_folders.back().number(), name.c_str(), number); }),
        name + " cannot be made");
    Descriptor file(m_operations, number);
    while (!content.empty()) {
        std::size_t bytes = 0;
        throwOnError(uninterrupted([&] { return m_operations.write(number, content, bytes); }), "cannot be written");
        if (bytes == 0) {
            throwOnError(std::make_error_code(std::errc::io_error), "cannot be written"); // or it would go on for ever
        }
        content.remove_prefix(bytes);
    }
    throwOnError(uninterrupted([&] { return m_operations.act(Kind::flush, number); }), "cannot be brought to the disk");
    std::error_code const closed = file.close();
    if (closed != std::errc::interrupted) { // which changes nothing: it is closed
        throwOnError(closed, "cannot be closed");
    }
}

void StoreFolder::removeFile()
{
    (void)stateOfFile();
    int const folder = m_folders.back().number();
    throwOnError(uninterrupted([&] { return m_operations.act(Kind::remove, folder, m_fileName.c_str()); }),
                 "cannot be removed");
    flushNames();
}

void StoreFolder::setFileAside(FileState const & state)
{
    // Under the lock: another process may have saved anew, and nobody else takes away a good file.
    lock();
    if (!(stateOfFile() == state)) {
        throw StoreFailure(StoreFault::busy, 0, "has changed meanwhile");
    }
    int const folder = m_folders.back().number();
    std::string const aside = m_fileName + ".bad";
    throwOnError(
        uninterrupted([&] { return m_operations.act(Kind::rename, folder, m_fileName.c_str(), aside.c_str()); }),
        "cannot be renamed");
}

void StoreFolder::lock() const
{
    auto const limit = std::chrono::steady_clock::now() + kLockPatience;
    int const folder = m_folders.back().number();
    for (;;) {
        std::error_code const error = uninterrupted([&] { return m_operations.act(Kind::tryLock, folder); });
        if (error != std::errc::resource_unavailable_try_again) {
            throwOnError(error, "its folder cannot be locked");
            return;
        }
        // Not waited for by the system: a process that was stopped in the midst of a save would hold up all others.
        if (std::chrono::steady_clock::now() >= limit) {
            throw StoreFailure(StoreFault::busy, 0, "its folder is locked by somebody else");
        }
        std::this_thread::sleep_for(kLockPause);
    }
}

void StoreFolder::flushNames() const
{
    // All of them up to the directory: any folder may be new, also by the hand of a process that was killed before it
    // came to this.
    for (auto folder = m_folders.rbegin(); folder != m_folders.rend(); ++folder) {
        std::error_code const error = uninterrupted([&] { return m_operations.act(Kind::flush, folder->number()); });
        if (error != std::errc::invalid_argument && error != std::errc::not_supported) { // there is nothing to flush
            throwOnError(error, "done, but it may be lost if the machine stops");
        }
    }
}

} // namespace common::log::host
