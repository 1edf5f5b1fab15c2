#include "paths.h"

#include "system.h"

#include <filesystem>
#include <initializer_list>
#include <system_error>

namespace tracehost {

namespace fs = std::filesystem;

std::string defaultStateDirectory() { return (stateFolder() / "tracehost").string(); }

bool hasTypeFile(std::string const & root)
{
    std::error_code ignored; // what cannot be looked at is not there
    return fs::is_regular_file(fs::path(root) / kTypeFile, ignored);
}

std::string defaultRoot()
{
    fs::path const program = programFile();
    if (program.empty()) {
        return {};
    }
    fs::path const prefix = program.parent_path().parent_path();
    for (char const * const folder : {"root", "share/common_log_trace"}) {
        if (std::string root = (prefix / folder).string(); hasTypeFile(root)) {
            return root;
        }
    }
    return {};
}

} // namespace tracehost
