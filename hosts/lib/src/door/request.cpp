#include "request.h"

#include "answer.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace common::log::host {

namespace {

[[noreturn]] void refuse(std::string const & text, std::string_view detail)
{
    throw Refusal(400, "bad_request", text, std::string(detail));
}

bool isUtf8(std::string const & text)
{
    try {
        (void)Json(text).dump();
        return true;
    } catch (Json::type_error const &) {
        return false;
    }
}

bool isControl(char character)
{
    auto const byte = static_cast<unsigned char>(character);
    return byte < 0x20U || byte == 0x7FU;
}

std::string decode(std::string_view encoded)
{
    std::string text;
    for (std::size_t i = 0; i < encoded.size(); ++i) {
        char character = encoded[i];
        if (character == '%') {
            unsigned char byte = 0;
            char const * const begin = encoded.data() + i + 1;
            char const * const end = encoded.data() + std::min(encoded.size(), i + 3);
            auto const [stop, error] = std::from_chars(begin, end, byte, 16);
            if (error != std::errc() || stop != begin + 2) {
                refuse("A percent sign stands without two hexadecimal digits.", encoded);
            }
            character = static_cast<char>(byte);
            i += 2;
        }
        if (isControl(character)) {
            refuse("There is a control character in the path or the query.", encoded);
        }
        text += character;
    }
    if (!isUtf8(text)) {
        refuse("The path or the query is no UTF-8.", encoded);
    }
    return text;
}

/// Calls `take` with each of the parts between the separators, empty ones too.
template <typename Take>
void split(std::string_view text, char separator, Take const & take)
{
    for (std::size_t begin = 0; begin <= text.size();) {
        std::size_t const end = std::min(text.find(separator, begin), text.size());
        take(text.substr(begin, end - begin));
        begin = end + 1;
    }
}

void readPath(std::string_view path, std::vector<std::string> & segments)
{
    if (path.empty() || path.front() != '/') {
        refuse("The path does not begin with a slash.", path);
    }
    if (path.size() == 1) {
        return;
    }
    split(path.substr(1), '/', [&](std::string_view encoded) {
        std::string segment = decode(encoded);
        if (segment.empty()) {
            refuse("The path has an empty segment.", path);
        }
        if (segment == "." || segment == ".." || segment.find('/') != std::string::npos) {
            refuse("The path has a segment that is no name.", segment);
        }
        segments.push_back(std::move(segment));
    });
}

} // namespace

void Parameters::add(std::string name, std::optional<std::string> value)
{
    for (Parameter const & other : m_parameters) {
        if (other.name == name) {
            refuse("A parameter stands twice.", name);
        }
    }
    m_parameters.push_back({std::move(name), std::move(value)});
}

std::optional<Parameters::Parameter> Parameters::take(std::string_view name)
{
    auto const found = std::find_if(m_parameters.begin(), m_parameters.end(),
                                    [&](Parameter const & parameter) { return parameter.name == name; });
    if (found == m_parameters.end()) {
        return std::nullopt;
    }
    Parameter taken = std::move(*found);
    m_parameters.erase(found);
    return taken;
}

std::optional<std::string> Parameters::text(std::string_view name)
{
    std::optional<Parameter> taken = take(name);
    if (!taken) {
        return std::nullopt;
    }
    if (!taken->value) {
        refuse("A parameter has no value.", name);
    }
    return std::move(taken->value);
}

bool Parameters::flag(std::string_view name)
{
    std::optional<Parameter> const taken = take(name);
    if (taken && taken->value) {
        refuse("A parameter has a value, but takes none.", name);
    }
    return taken.has_value();
}

std::optional<std::uint64_t> Parameters::number(std::string_view name, std::uint64_t least, std::uint64_t most)
{
    std::optional<std::string> const value = text(name);
    return value ? std::optional(readNumber(std::string(name), *value, least, most)) : std::nullopt;
}

void Parameters::expectNoMore() const
{
    if (!m_parameters.empty()) {
        refuse("A parameter is not known here.", m_parameters.front().name);
    }
}

void readTarget(std::string_view target, Request & request)
{
    if (target.size() > kLimitOfTarget) {
        throw Refusal(414, "too_large",
                      "Path and query are longer than " + std::to_string(kLimitOfTarget) + " characters.",
                      std::to_string(target.size()));
    }
    std::size_t const mark = std::min(target.find('?'), target.size());
    readPath(target.substr(0, mark), request.path);
    if (mark == target.size()) {
        return;
    }
    split(target.substr(mark + 1), '&', [&](std::string_view parameter) {
        std::size_t const equals = parameter.find('=');
        std::string name = decode(parameter.substr(0, equals));
        if (name.empty()) {
            refuse("The query has a parameter without a name.", target);
        }
        std::optional<std::string> value;
        if (equals != std::string_view::npos) {
            value = decode(parameter.substr(equals + 1));
        }
        request.parameters.add(std::move(name), std::move(value));
    });
}

std::uint64_t readNumber(std::string const & name, std::string const & text, std::uint64_t least, std::uint64_t most)
{
    std::uint64_t value = 0;
    auto const [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || stop != text.data() + text.size() || value < least || value > most) {
        refuse(name + " takes a whole number from " + std::to_string(least) + " to " + std::to_string(most) + ".",
               text);
    }
    return value;
}

} // namespace common::log::host
