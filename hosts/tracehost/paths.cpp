#include "paths.h"

#include <common/log/host/environment.h>

#include <filesystem>
#include <initializer_list>
#include <system_error>

namespace tracehost {

namespace fs = std::filesystem;

std::string defaultStateDirectory()
{
    fs::path folder = common::log::host::pathFromEnvironment("XDG_STATE_HOME");
    if (folder.empty()) {
        fs::path const home = common::log::host::pathFromEnvironment("HOME");
        folder = home.empty() ? "/var/lib" : home / ".local/state";
    }
    return folder / "tracehost";
}

bool hasTypeFile(std::string const & root)
{
    std::error_code ignored; // what cannot be looked at is not there
    return fs::is_regular_file(fs::path(root) / kTypeFile, ignored);
}

std::string defaultRoot()
{
    std::error_code failure;
    fs::path const program = fs::read_symlink("/proc/self/exe", failure);
    if (failure) {
        return {};
    }
    fs::path const prefix = program.parent_path().parent_path();
    for (char const * const folder : {"root", "share/common_log_trace"}) {
        if (hasTypeFile(prefix / folder)) {
            return prefix / folder;
        }
    }
    return {};
}

} // namespace tracehost
