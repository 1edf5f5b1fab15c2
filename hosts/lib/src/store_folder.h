#pragma once

#include "file_operations.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace common::log::host {

/// An open file or folder.
class Descriptor
{
public:
    Descriptor(FileOperations & operations, int number) : m_operations(&operations), m_number(number) {}
    Descriptor(Descriptor && other) noexcept
        : m_operations(other.m_operations), m_number(std::exchange(other.m_number, -1))
    {}
    Descriptor & operator=(Descriptor &&) = delete;
    ~Descriptor() { (void)close(); }

    int number() const { return m_number; }
    std::error_code close()
    {
        return m_number < 0 ? std::error_code() : m_operations->act(FileCall::Kind::close, std::exchange(m_number, -1));
    }

private:
    FileOperations * m_operations;
    int m_number;
};

/// The folder that a file of the store lies in, held open for one operation on that file. All failures are StoreFailure.
class StoreFolder
{
public:
    enum class Missing
    {
        fails, ///< as StoreFault::notSaved
        isMade
    };

    /// @param directory  where the store begins
    /// @param fileName   a path below it
    StoreFolder(FileOperations & operations, std::string const & directory, std::string const & fileName,
                Missing missing);

    /// Of the file, which has to be there and a regular one.
    FileState stateOfFile() const;

    /// The file, open for reading, and its state of now.
    Descriptor openFile(FileState & state) const;

    /// All of an open file, of which `state` was read before. Closed then, also by a failure: what follows may wait for
    /// others, and on some systems others can replace a file only while nobody has it open.
    std::string contentOf(Descriptor file, FileState const & state, std::uint64_t limitBytes) const;

    /// Puts `content` in the place of the file, durably.
    void replaceFile(std::string_view content);

    void removeFile();

    /// Renames the file by `.bad` behind its name, as long as it is still in this state.
    void setFileAside(FileState const & state);

private:
    void lock() const;
    void create(std::string const & name, std::string_view content) const;
    void flushNames() const;

    FileOperations & m_operations;
    std::vector<Descriptor> m_folders; ///< from the directory to that of the file
    std::string m_fileName;            ///< its last part
};

} // namespace common::log::host
