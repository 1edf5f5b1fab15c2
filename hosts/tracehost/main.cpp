#include "command_line.h"
#include "descriptor.h"
#include "host.h"

#include <chrono>
#include <exception>
#include <string>

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

constexpr int kOutput = 1;
constexpr int kErrors = 2;

constexpr std::chrono::seconds kWriteLimit(2);

} // namespace

int main(int argumentCount, char ** arguments)
{
    try {
        tracehost::reserveStandardDescriptors();
        tracehost::raiseDescriptorLimit();
        tracehost::CommandLine const commandLine = tracehost::parseCommandLine(argumentCount, arguments);
        if (commandLine.options && commandLine.options->mode != tracehost::Mode::run) {
            tracehost::Answer const answer = tracehost::answerOf(*commandLine.options);
            return tracehost::writeWithin(kOutput, answer.text, kWriteLimit) && answer.isDone ? kDone : kFailed;
        }
        if (commandLine.options) {
            return tracehost::runHost(*commandLine.options);
        }
        if (!commandLine.error.empty()) {
            (void)tracehost::writeWithin(kErrors, commandLine.error + "\n", kWriteLimit);
            return kWrongUse;
        }
        return tracehost::writeWithin(kOutput, commandLine.output, kWriteLimit) ? kDone : kFailed;
    } catch (std::exception const & failure) {
        std::string const text = std::string("tracehost: ") + failure.what() + "\n";
        (void)tracehost::writeWithin(kErrors, text, kWriteLimit);
        return kFailed;
    }
}
