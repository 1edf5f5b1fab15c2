#include "inputs.h"

#include "input_line.h"

#include <array>
#include <chrono>
#include <optional>
#include <system_error>

namespace tracehost {

using namespace common::log::trace;

constexpr char const * kTraceComponent = "input";

namespace {

constexpr std::chrono::milliseconds kLookInterval(100);

/// What is read of standard input at a time.
constexpr std::size_t kChunkBytes = 65'536;

} // namespace

Inputs::Inputs() = default;

Inputs::~Inputs() { stop(); }

void Inputs::addStandardInput(CountedLog & unit)
{
    m_standardInput.emplace_back(unit);
    m_isStandardInputOpen = true;
}

void Inputs::addFile(std::string const & path, CountedLog & unit) { m_files.emplace_back(path, unit); }

void Inputs::start()
{
    if (m_isStandardInputOpen || !m_files.empty()) {
        m_thread.start([this] { run(); });
    }
}

void Inputs::reopenFiles()
{
    m_isReopening = true;
    m_input.wakeUp();
}

void Inputs::stop()
{
    m_isStopping = true;
    m_input.wakeUp();
}

std::vector<Inputs::LineCount> Inputs::lines() const
{
    std::vector<LineCount> counts;
    for (Source const & source : m_standardInput) {
        counts.push_back({source.unitName, source.lines});
    }
    for (File const & file : m_files) {
        counts.push_back({file.source.unitName, file.source.lines});
    }
    return counts;
}

void Inputs::run()
{
    auto nextLook = std::chrono::steady_clock::now();
    bool hasMore = false;
    while (!m_isStopping) {
        std::optional<std::chrono::milliseconds> limit;
        if (hasMore || !m_files.empty()) {
            limit = hasMore ? std::chrono::milliseconds(0) : kLookInterval;
        }
        m_isStandardInputReady = m_input.wait(m_isStandardInputOpen, limit);
        if (m_isReopening.exchange(false)) {
            for (File & file : m_files) {
                file.follower.reopen(tracerOf(file.source));
            }
        }
        if (m_isStandardInputReady) {
            readStandardInput();
        }
        if (auto const now = std::chrono::steady_clock::now(); hasMore || now >= nextLook) {
            hasMore = lookAtFiles();
            nextLook = now + kLookInterval;
        }
    }
    finishStandardInput();
    for (File & file : m_files) {
        file.follower.finish(tracerOf(file.source));
    }
}

void Inputs::readStandardInput()
{
    std::array<char, kChunkBytes> buffer;
    std::size_t size = 0;
    std::error_code const error = m_input.read(buffer.data(), buffer.size(), size);
    if (size > 0) {
        m_splitter.feed(std::string_view(buffer.data(), size), tracerOf(m_standardInput.front()));
        return;
    }
    if (error == std::errc::resource_unavailable_try_again) {
        return;
    }
    m_isStandardInputOpen = false;
    m_splitter.finish(tracerOf(m_standardInput.front()));
    if (error) {
        COMMON_LOG_ERROR(m_standardInput.front().unit, "Cannot read standard input: %s", error.message().c_str());
    }
}

/// What a pipe or a socket holds was sent before the stop and is still read. A file or a device is not: it may have no
/// end.
void Inputs::finishStandardInput()
{
    std::size_t const waiting = m_isStandardInputOpen ? m_input.bytesOnTheirWay() : 0;
    for (std::size_t read = 0; read < waiting && m_isStandardInputOpen; read += kChunkBytes) {
        if (m_input.wait(true, std::chrono::milliseconds(0))) {
            readStandardInput();
        }
    }
    if (m_isStandardInputOpen) {
        m_splitter.finish(tracerOf(m_standardInput.front()));
    }
}

bool Inputs::lookAtFiles()
{
    bool hasMore = false;
    for (File & file : m_files) {
        hasMore = file.follower.look(tracerOf(file.source)) || hasMore;
        traceProblem(file);
    }
    return hasMore;
}

LineFunction Inputs::tracerOf(Source & source)
{
    return [this, &source](std::string const & line) { traceLine(source, line); };
}

void Inputs::traceLine(Source & source, std::string const & line)
{
    source.lines.fetch_add(1, std::memory_order_relaxed);
    InputLine const parsed = parseInputLine(line);
    switch (parsed.severity) {
    case CLASS_ERROR:
        COMMON_LOG_ERROR(source.unit, "%s", parsed.text);
        break;
    case CLASS_WARNING:
        COMMON_LOG_WARNING(source.unit, "%s", parsed.text);
        break;
    default:
        COMMON_LOG_MESSAGE(source.unit, "%s", parsed.text);
    }
}

void Inputs::traceProblem(File & file)
{
    if (auto const problem = file.follower.takeProblem()) {
        COMMON_LOG_WARNING(file.source.unit, "Cannot read %s: %s", file.follower.path().c_str(), problem->c_str());
    }
}

} // namespace tracehost
