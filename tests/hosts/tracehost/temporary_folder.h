#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>

namespace tracehost::test {

/// An empty folder, removed with all that is in it at the end.
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        do {
            m_path = std::filesystem::temp_directory_path() / ("tracehost_" + std::to_string(std::random_device()()));
        } while (!std::filesystem::create_directory(m_path));
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
