#pragma once

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

#include <stdlib.h>

namespace tracehost::test {

/// An empty folder, removed with all that is in it at the end.
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        std::string path = (std::filesystem::temp_directory_path() / "tracehost_XXXXXX").string();
        if (::mkdtemp(path.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), path);
        }
        m_path = path;
    }
    TemporaryFolder(TemporaryFolder const &) = delete;
    TemporaryFolder & operator=(TemporaryFolder const &) = delete;
    ~TemporaryFolder() { std::filesystem::remove_all(m_path); }

    std::string pathOf(std::string const & name) const { return (m_path / name).string(); }

    /// Adds to a file, which is made where it is not there.
    void append(std::string const & name, std::string_view text) const
    {
        std::ofstream(pathOf(name), std::ios::app) << text;
    }
    void rename(std::string const & from, std::string const & to) const
    {
        std::filesystem::rename(pathOf(from), pathOf(to));
    }
    void remove(std::string const & name) const { std::filesystem::remove(pathOf(name)); }
    void truncate(std::string const & name) const { std::filesystem::resize_file(pathOf(name), 0); }

private:
    std::filesystem::path m_path;
};

} // namespace tracehost::test
