#include <common/log/trace/handler.h>

#include "helper/format.h"
#include "helper/self_trace.h"
#include "helper/severity.h"
#include "record.h"
#include "trace_queue.h"

#include <common/log/argument_pointer.h>
#include <common/log/send_log.h>
#include <common/log/trace/map_results.h>
#include <common_zep/thread.h>

#include <chrono>
#include <cstdarg>
#include <cstring>
#include <string>
#include <thread>
#include <type_traits>

// A record that the handler writes at once on the current thread, past the queue and all switches.
#define DIRECT_RECORD(handler, code, ...)                                                                              \
    do {                                                                                                               \
        static constexpr FunctionName directFunction(COMMON_LOG_FUNCTION_SIGNATURE);                                   \
        (handler)->logDirect(code, directFunction.text(), __LINE__, __VA_ARGS__);                                      \
    } while (false)

namespace common::log::trace {

namespace {

constexpr char const * kThreadName = "TraceHandler";
constexpr unsigned int kThreadPriority = 10;
constexpr unsigned int kThreadDelayMilliseconds = 10;
constexpr std::uint32_t kThreadStackBytes = 0x10000;
constexpr unsigned int kJoinTimeoutMilliseconds = 3000;

// Statuses of the thread layer that mean something of their own.
constexpr std::uint32_t kJoinTimedOut = 0xF001000BU;
constexpr std::uint32_t kThreadLeftBehind = 0xF001000FU;

/// The texts of an entry as strings, kept from entry to entry so that their memory is.
struct EntryTexts
{
    std::string componentName;
    std::string snapName;
    std::string unitName;
    std::string fileName;
    std::string functionName;
    std::string message;

    void assign(TraceData const & data)
    {
        componentName.assign(data.componentName);
        snapName.assign(data.snapName);
        unitName.assign(data.unitName);
        fileName.assign(data.fileName);
        functionName.assign(data.functionName);
        message.assign(data.message);
    }
};

constexpr bool isFailedStatus(std::uint32_t status) noexcept { return (status & 0x80000000U) != 0; }

} // namespace

static_assert(std::is_trivially_copyable_v<DataOfQueue>, "an entry is copied into and out of the queue as bytes");

DataOfQueue::DataOfQueue() noexcept // NOLINT(cppcoreguidelines-pro-type-member-init): the padding counts as well
{
    std::memset(static_cast<void *>(this), 0, sizeof *this);
}

Handler::Handler()
    : m_initResult(TRACE_OK), m_queue(std::make_unique<TraceQueue>()), m_hasNewData(false), m_droppedEntries(0),
      m_thread(0), m_isTerminating(false), m_clock(CLOCK_ID_WALL)
{
    DIRECT_RECORD(this, kMessageCode, "Trace queue is lockfree and has a fixed size of %u elements.", kQueueSize);

    std::uint64_t usableCores = 0;
    std::uint32_t const coresStatus = ZEP_eThreadGetUsableCores(&usableCores);
    if (isFailedStatus(coresStatus)) {
        DIRECT_RECORD(this, kErrorCode, "Calling 'ZEP_eThreadGetUsableCores' failed with error code 0x%08X",
                      coresStatus);
        m_initResult = TRACE_THREAD_START_FAILED;
        return;
    }
    // The last step of a good start: the worker may run before this returns, and finds the whole object.
    std::uint32_t const createStatus = ZEP_eThreadCreate(
        &m_thread, kThreadName,
        [](void * handler) -> std::uint32_t { return threadTraceHandler(static_cast<Handler *>(handler)); }, this,
        kThreadPriority, kThreadStackBytes, usableCores, false);
    if (!isFailedStatus(createStatus)) {
        return;
    }
    DIRECT_RECORD(this, kErrorCode, "Calling 'ZEP_eThreadCreate' for thread '%s' failed with error code 0x%08X",
                  kThreadName, createStatus);
    m_initResult = TRACE_THREAD_START_FAILED;
    if (createStatus == kThreadLeftBehind) {
        std::uint32_t const deleteStatus = ZEP_eThreadDelete(m_thread);
        if (isFailedStatus(deleteStatus)) {
            DIRECT_RECORD(this, kErrorCode, "Calling 'ZEP_eThreadDelete' for thread '%s' failed with error code 0x%08X",
                          kThreadName, deleteStatus);
        }
    }
}

Handler::~Handler()
{
    SELF_TRACE_MESSAGE("Bundle will be destructed. Traces sent up to now to queue will still be set, new ones will be "
                       "ignored.");
    m_isTerminating = true;

    DataOfQueue last;
    last.dataType = DATA_TERMINATE;
    TraceResult const lastResult = addTraceData(last);
    if (isFailure(lastResult)) {
        DIRECT_RECORD(this, kErrorCode, "Calling 'addTraceData' with data type %d failed with error code 0x%08X",
                      static_cast<int>(last.dataType), static_cast<unsigned int>(lastResult));
    }

    std::uint32_t exitCode = 0;
    std::uint32_t const joinStatus = ZEP_eThreadJoin(m_thread, kJoinTimeoutMilliseconds, &exitCode);
    if (joinStatus == kJoinTimedOut) {
        DIRECT_RECORD(this, kErrorCode, "Thread '%s' did not end after %d ms", kThreadName,
                      static_cast<int>(kJoinTimeoutMilliseconds));
    } else if (isFailedStatus(joinStatus)) {
        DIRECT_RECORD(this, kErrorCode, "Calling 'ZEP_eThreadJoin' for '%s' failed with error code 0x%08X", kThreadName,
                      joinStatus);
    }
    if (isFailedStatus(exitCode)) {
        DIRECT_RECORD(this, kErrorCode, "Thread '%s' ended with exit code 0x%08X", kThreadName, exitCode);
    }

    // Deleted is only a thread that was never told to end. One that is merely slow is released, and the thread layer
    // answers for it that nothing goes while it is still in use.
    if (isFailure(lastResult) && isFailedStatus(joinStatus)) {
        std::uint32_t const deleteStatus = ZEP_eThreadDelete(m_thread);
        if (isFailedStatus(deleteStatus)) {
            DIRECT_RECORD(this, kErrorCode, "Calling 'ZEP_eThreadDelete' for thread '%s' failed with error code 0x%08X",
                          kThreadName, deleteStatus);
        }
    } else {
        std::uint32_t const cleanupStatus = ZEP_eThreadCleanup(m_thread);
        if (isFailedStatus(cleanupStatus)) {
            DIRECT_RECORD(this, kErrorCode,
                          "Calling 'ZEP_eThreadCleanup' for thread '%s' failed with error code 0x%08X", kThreadName,
                          cleanupStatus);
        }
    }
}

TraceResult Handler::addTraceData(DataOfQueue const & data)
{
    // Test and push are two steps. An entry that slips in between, behind the terminating one, goes unwritten with the
    // queue; to keep it out would take a lock on the real-time road.
    if (m_isTerminating && data.dataType != DATA_TERMINATE) {
        return TRACE_SHUTTING_DOWN;
    }
    if (data.dataType == DATA_TRACE) {
        data.traceData.timestamp = m_clock.getTimestamp();
    }
    if (!m_queue->push(data)) {
        ++m_droppedEntries; // the worker tells it; this thread may have a deadline
        return TRACE_QUEUE_FULL;
    }
    // Behind the push: the worker takes the flag first and pops then. The other way round it could take the flag of an
    // entry that it does not see yet, and leave that to whoever comes next. Pairs with the exchange in the worker.
    (void)m_hasNewData.exchange(true);
    return TRACE_OK;
}

TraceResult Handler::threadTraceHandler(Handler * handler)
{
    DIRECT_RECORD(handler, kMessageCode, "Thread '%s' is started with priority %u and a thread delay of %u ms",
                  kThreadName, kThreadPriority, kThreadDelayMilliseconds);
    DataOfQueue entry;
    EntryTexts texts;
    while (true) {
        // Ahead of the entries, although they are older than the loss: the report is not to wait for a long drain.
        unsigned long long const dropped = handler->m_droppedEntries.exchange(0);
        if (dropped != 0) {
            DIRECT_RECORD(handler, kErrorCode,
                          "Pushing to trace queue failed. %llu trace entries are dismissed. This trace log may not be "
                          "in the right order to the other trace logs.",
                          dropped);
        }
        // A hint that spares an idle worker the look into the queue. Pairs with the exchange behind the push.
        bool hadNewData = true;
        if (handler->m_hasNewData.compare_exchange_strong(hadNewData, false)) {
            while (handler->m_queue->pop(entry)) {
                switch (entry.dataType) {
                case DATA_TRACE:
                    texts.assign(entry.traceData);
                    (void)handler->logThread(entry.traceData.timestamp, entry.traceData.mainDiagnosisCode,
                                             texts.componentName, texts.snapName, texts.unitName, texts.fileName,
                                             texts.functionName, entry.traceData.line,
                                             texts.message); // the entry counts as done
                    break;
                case DATA_TERMINATE:
                    DIRECT_RECORD(handler, kMessageCode, "Thread '%s' is terminated by destruction", kThreadName);
                    return TRACE_OK;
                default:
                    DIRECT_RECORD(handler, kErrorCode, "Unknown data type of queue: %d",
                                  static_cast<int>(entry.dataType));
                }
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(kThreadDelayMilliseconds));
    }
}

TraceResult Handler::logThread(timespec const & timestamp, unsigned int mainDiagnosisCode,
                               std::string const & componentName, std::string const & snapName,
                               std::string const & unitName, std::string const & fileName,
                               std::string const & functionName, unsigned int line, std::string const & message) const
{
    TraceResult result = TRACE_OK;
    Severity const severity = severityOf(mainDiagnosisCode);
    if (!severity.isValid()) {
        SELF_TRACE_ERROR("%s: Invalid main diagnosis code 0x%08X: treat as trace error, using 0x%08X instead.",
                         unitName.c_str(), mainDiagnosisCode, kErrorCode);
        mainDiagnosisCode = kErrorCode;
        result = TRACE_INVALID_ARGUMENT;
    }
    RecordTitle const title(severity, unitName.c_str());
    RecordNumbers const numbers(mainDiagnosisCode, line);
    CommonResult const sent = sendLogNoVaList(
        kIdentifier, severity.priority, timestamp, "", numbers.code(), title.text(), "", "", componentName.c_str(),
        snapName.c_str(), unitName.c_str(), fileName.c_str(), functionName.c_str(), numbers.line(), message.c_str());
    return isFailure(sent) ? mapCommonResultToTraceResult(sent) : result;
}

void Handler::logDirect(unsigned int mainDiagnosisCode, char const * functionName, unsigned int line,
                        char const * format, ...) const
{
    char text[256] = "";
    std::va_list arguments;
    va_start(arguments, format);
    (void)formatArguments(text, sizeof text, format, argumentPointer(arguments));
    va_end(arguments);
    (void)logThread(m_clock.getTimestamp(), mainDiagnosisCode, kComponentName, m_snapName.getSnapName(), kUnitName,
                    fileBaseName(__FILE__), functionName, line, text); // nobody is left to tell
}

} // namespace common::log::trace
