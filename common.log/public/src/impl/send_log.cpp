#include <common/log/send_log.h>

#include "helper/format.h"
#include "helper/self_trace.h"

#include <common/log/convert_timestamp.h>

#include <cstdint>
#include <cstring>
#include <exception>
#include <iostream>

namespace common::log {

namespace {

constexpr std::uint16_t kTimeSize = 28;
constexpr int kMessageSize = 256;

/// The texts of a record between its timestamp and its message, in the order of the stream.
using RecordTexts = char const * const[11];

/// Field by field: the record stands nowhere in memory as a whole, so that its length has no limit.
///
/// @param insert  takes a text, and answers whether the next one shall follow
/// @return whether all followed
template <typename Insert>
bool insertRecord(char const * time, RecordTexts const & texts, char const * message, Insert const & insert)
{
    if (!insert("\n") || !insert(time)) {
        return false;
    }
    for (char const * const text : texts) {
        if (!insert("|") || !insert(text)) {
            return false;
        }
    }
    return insert("|") && insert(message);
}

/// Whether an insertion does nothing beside handing its text to the buffer of the stream: it neither flushes nor fills
/// up, and no failure throws.
bool isPlain(std::ostream const & stream)
{
    return stream.good() && stream.tie() == nullptr && stream.width() == 0 &&
           stream.exceptions() == std::ios_base::goodbit && (stream.flags() & std::ios_base::unitbuf) == 0;
}

/// The same insertions into such a stream, without the look at its state that each of the operators takes before and
/// behind: those cost more than all else that the sink does.
void insertPlainly(std::ostream & stream, char const * time, RecordTexts const & texts, char const * message)
try {
    std::streambuf & buffer = *stream.rdbuf();
    bool const isTaken = insertRecord(time, texts, message, [&](char const * text) {
        // As with the operators, nothing follows what was not taken, and an empty text is no call.
        if (*text == '\0') {
            return true;
        }
        auto const size = static_cast<std::streamsize>(std::strlen(text));
        return buffer.sputn(text, size) == size;
    });
    if (!isTaken) {
        stream.setstate(std::ios_base::badbit);
    }
} catch (...) {
    stream.setstate(std::ios_base::badbit);
    if (std::current_exception() == nullptr) {
        throw; // no exception of the language: the thread is being cancelled, and may not be held up
    }
}

void writeRecord(timespec const & timestamp, RecordTexts const & texts, char const * message)
{
    std::int64_t microseconds = 0;
    char time[kTimeSize];
    convertTimestamp(timestamp, &microseconds, time, kTimeSize);
    if (isPlain(std::cerr)) {
        insertPlainly(std::cerr, time, texts, message);
    } else {
        (void)insertRecord(time, texts, message, [](char const * text) {
            std::cerr << text;
            return true; // of a stream that takes no more, the operators see to it
        });
    }
    std::cerr << std::flush;
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
