#pragma once

#include <common/log/common_result.h>
#include <common/log/export.h>
#include <common/log/priority_type.h>

#include <ctime>

namespace common::log {

/// Writes one record to `std::cerr`: a line end, the timestamp, the eleven texts from `reserved1` to `lineText`, and
/// the message, each behind a '|'; then a flush. No text is escaped, and nothing is written behind the record.
///
/// The message is `format` with its arguments, cut to 255 characters. A cut is reported as a record of its own, ahead.
///
/// @param identifier  not read, like `priority`
/// @param arguments   by `argumentPointer`; unread afterwards
/// @return COMMON_TRUNCATED for a cut text, COMMON_FAILED where the text could not be formatted; only then nothing is
///         written. The state of the stream is not looked at.
///
/// None of the texts may be null.
///
/// Threads    Any number at once. There is no lock: records of concurrent threads can interleave, text by text.
/// Real time  Not safe: it waits for the stream. It allocates nothing by itself.
COMMON_LOG_EXPORT CommonResult sendLog(char const * identifier, PriorityType priority, timespec timestamp,
                                       char const * reserved1, char const * diagnosisCodeText, char const * titleText,
                                       char const * reserved2, char const * reserved3, char const * componentName,
                                       char const * snapName, char const * unitName, char const * fileName,
                                       char const * functionName, char const * lineText, char const * format,
                                       char * arguments);

/// Like `sendLog` for a finished text of any length, in which a percent sign means nothing. Always COMMON_OK.
COMMON_LOG_EXPORT CommonResult sendLogNoVaList(char const * identifier, PriorityType priority, timespec timestamp,
                                               char const * reserved1, char const * diagnosisCodeText,
                                               char const * titleText, char const * reserved2, char const * reserved3,
                                               char const * componentName, char const * snapName, char const * unitName,
                                               char const * fileName, char const * functionName, char const * lineText,
                                               char const * message);

} // namespace common::log
