#include "command_line.h"
#include "failure.h"
#include "output.h"
#include "run.h"

#include <common/log/host/record_text.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <unistd.h>

namespace {

using tracectl::Status;

/// A line for each of the text's. What else it holds may stem from anywhere.
void complain(std::string const & text)
{
    std::string lines = "tracectl: ";
    std::size_t start = 0;
    for (auto end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
        lines += common::log::host::printable(text.substr(start, end - start)) + "\n";
        start = end + 1;
    }
    lines += common::log::host::printable(text.substr(start)) + "\n";
    (void)std::fputs(lines.c_str(), stderr);
}

Status runCommandLine(int argumentCount, char const * const * arguments, tracectl::Output & output)
{
    tracectl::CommandLine const commandLine = tracectl::parseCommandLine(argumentCount, arguments);
    if (commandLine.options) {
        tracectl::run(*commandLine.options, output);
    } else if (!commandLine.error.empty()) {
        throw tracectl::Failure(Status::wrongUse, common::log::host::printable(commandLine.error));
    }
    output.write(commandLine.output);
    output.flush();
    return Status::done;
}

} // namespace

int main(int argumentCount, char ** arguments)
{
    (void)std::signal(SIGPIPE, SIG_IGN);
    Status status = Status::done;
    try {
        tracectl::Output output(STDOUT_FILENO);
        status = runCommandLine(argumentCount, arguments, output);
    } catch (tracectl::ReaderIsGone const &) {
        status = Status::done; // who has read enough closes the pipe
    } catch (tracectl::Failure const & failure) {
        complain(failure.what());
        status = failure.status();
    } catch (std::exception const & failure) {
        complain(failure.what());
        status = Status::refused;
    }
    return static_cast<int>(status);
}
