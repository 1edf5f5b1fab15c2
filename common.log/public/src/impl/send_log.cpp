#include <common/log/send_log.h>

#include "helper/format.h"
#include "helper/self_trace.h"

#include <common/log/convert_timestamp.h>

#include <cstdint>
#include <iostream>

namespace common::log {

namespace {

constexpr std::uint16_t kTimeSize = 28;
constexpr int kMessageSize = 256;

/// The texts of a record between its timestamp and its message, in the order of the stream.
using RecordTexts = char const * const[11];

/// Field by field: the record stands nowhere in memory as a whole, so that its length has no limit.
void writeRecord(timespec const & timestamp, RecordTexts const & texts, char const * message)
{
    std::int64_t microseconds = 0;
    char time[kTimeSize];
    convertTimestamp(timestamp, &microseconds, time, kTimeSize);
    std::cerr << "\n" << time;
    for (char const * const text : texts) {
        std::cerr << "|" << text;
    }
    std::cerr << "|" << message << std::flush;
}

} // namespace

CommonResult sendLog(char const * /*identifier*/, PriorityType /*priority*/, timespec timestamp, char const * reserved1,
                     char const * diagnosisCodeText, char const * titleText, char const * reserved2,
                     char const * reserved3, char const * componentName, char const * snapName, char const * unitName,
                     char const * fileName, char const * functionName, char const * lineText, char const * format,
                     char * arguments)
{
    CommonResult result = COMMON_OK;
    char message[kMessageSize];
    int const length = trace::formatArguments(message, sizeof message, format, arguments);
    if (length < 0) {
        SELF_TRACE_ERROR("Calling 'vsnprintf' failed. Output string could not be built.");
        return COMMON_FAILED;
    }
    if (length >= kMessageSize) {
        SELF_TRACE_ERROR("Message size of output string exceeded. String is truncated after %d characters "
                         "(or before, depending on implementation).",
                         kMessageSize - 1);
        result = COMMON_TRUNCATED;
    }
    writeRecord(timestamp,
                {reserved1, diagnosisCodeText, titleText, reserved2, reserved3, componentName, snapName, unitName,
                 fileName, functionName, lineText},
                message);
    return result;
}

CommonResult sendLogNoVaList(char const * /*identifier*/, PriorityType /*priority*/, timespec timestamp,
                             char const * reserved1, char const * diagnosisCodeText, char const * titleText,
                             char const * reserved2, char const * reserved3, char const * componentName,
                             char const * snapName, char const * unitName, char const * fileName,
                             char const * functionName, char const * lineText, char const * message)
{
    writeRecord(timestamp,
                {reserved1, diagnosisCodeText, titleText, reserved2, reserved3, componentName, snapName, unitName,
                 fileName, functionName, lineText},
                message);
    return COMMON_OK;
}

} // namespace common::log
