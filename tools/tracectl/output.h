#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tracectl {

/// The reader of the output has gone, which ends a command quietly.
struct ReaderIsGone
{
};

/// Standard output, gathered in pieces of some size.
class Output
{
public:
    explicit Output(int descriptor);
    Output(Output const &) = delete;
    Output & operator=(Output const &) = delete;
    ~Output() = default; ///< what was not flushed is dropped

    bool isTerminal() const { return m_isTerminal; }
    bool isColoured() const { return m_isColoured; } ///< a terminal, and nobody has set NO_COLOR

    /// @throws ReaderIsGone
    /// @throws Failure  with the reason, for a full disk and the like
    void write(std::string_view text);
    void flush();

    /// How much waits for the reader.
    std::size_t pending() const { return m_text.size(); }
    void add(std::string_view text) { m_text.append(text); }
    /// Writes what the reader takes without a wait. Throws as `write` does, also where nothing is pending.
    void writeWithoutWaiting();

private:
    void writeSome(std::size_t most);

    int m_descriptor;
    bool m_isTerminal;
    bool m_isColoured;
    std::string m_text;
};

} // namespace tracectl
