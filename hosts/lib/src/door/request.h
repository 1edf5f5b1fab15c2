#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace common::log::host {

constexpr std::size_t kLimitOfTarget = 1000;
constexpr std::size_t kLimitOfBody = std::size_t{64} * 1024;

/// The query of a request. Each parameter is taken by who knows it; what is left at the end was known to nobody.
///
/// Errors  Refusal
class Parameters
{
public:
    void add(std::string name, std::optional<std::string> value);

    /// A parameter with a value.
    std::optional<std::string> text(std::string_view name);
    /// A parameter that is there or not, without a value.
    bool flag(std::string_view name);
    std::optional<std::uint64_t> number(std::string_view name, std::uint64_t least, std::uint64_t most);

    void expectNoMore() const;

private:
    struct Parameter
    {
        std::string name;
        std::optional<std::string> value;
    };

    std::optional<Parameter> take(std::string_view name);

    std::vector<Parameter> m_parameters;
};

/// A request as the routes see it, when all of it was read.
struct Request
{
    std::string method;
    std::vector<std::string> path; ///< segments, decoded; none is empty
    Parameters parameters;
    std::string body;
    std::optional<std::string> lastEventId; ///< the header of that name
    int socket = -1;                        ///< of the client
};

/// Reads path and query of a request line.
///
/// @throws Refusal  for what is too long, wrongly encoded, no UTF-8, or has control characters, dots as segments or
///                  empty segments
void readTarget(std::string_view target, Request & request);

/// @throws Refusal  unless this is a number in digits alone, within the limits
std::uint64_t readNumber(std::string const & name, std::string const & text, std::uint64_t least, std::uint64_t most);

} // namespace common::log::host
