#include "command_line.h"
#include "complaint.h"
#include "failure.h"
#include "output.h"
#include "run.h"

#include <common/log/host/record_text.h>

#include <csignal>
#include <exception>
#include <unistd.h>

namespace {

using tracectl::Status;

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
        tracectl::complain(failure.what());
        status = failure.status();
    } catch (std::exception const & failure) {
        tracectl::complain(failure.what());
        status = Status::refused;
    }
    return static_cast<int>(status);
}
