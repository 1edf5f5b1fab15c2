#pragma once

#include <common/log/export.h>

#include <cstdint>
#include <ctime>

namespace common::log::trace {

/// What an entry of the trace queue is.
enum DataTypeOfQueue : std::uint32_t
{
    DATA_NONE = 0,      ///< a default-constructed value
    DATA_TRACE = 1,     ///< a record for the stream
    DATA_TERMINATE = 2, ///< the worker ends on reading it
};

/// One record of the real-time road. All texts are terminated.
struct TraceData
{
    /// The time of the push. Mutable, since the queue stamps the value that its caller hands over as a constant.
    mutable timespec timestamp;
    std::uint32_t mainDiagnosisCode; ///< as the caller gave it, valid or not
    char componentName[128];
    char snapName[64];
    char unitName[64];
    char fileName[64];
    char functionName[64];
    std::uint32_t line;
    char message[256]; ///< the finished text
};

/// The value in the trace queue. It holds no pointers, so that it can outlive the call and the caller's texts.
struct COMMON_LOG_EXPORT DataOfQueue
{
    /// Sets every byte to zero.
    DataOfQueue() noexcept;

    DataTypeOfQueue dataType;
    TraceData traceData; ///< all bytes zero unless `dataType` is DATA_TRACE
};

} // namespace common::log::trace
