#pragma once

#include <cstddef>

namespace common::log {

/// The name of a function with its namespaces and class, such as common::log::trace::Log::log, as a constant.
template <std::size_t Capacity>
class FunctionName
{
public:
    /// @param signature  how the compiler spells the function: result type, name and parameters
    constexpr explicit FunctionName(char const (&signature)[Capacity]) noexcept : m_text{}
    {
        std::size_t const end = endOfName(signature);
        std::size_t target = 0;
        std::size_t templateDepth = 0;
        for (std::size_t position = startOfName(signature, end); position < end; ++position) {
            templateDepth += signature[position] == '<' ? 1U : 0U;
            if (templateDepth == 0) {
                m_text[target] = signature[position];
                ++target;
            }
            templateDepth -= signature[position] == '>' ? 1U : 0U;
        }
    }

    constexpr char const * text() const noexcept { return m_text; }

private:
    /// The parenthesis that opens the parameters: the first one outside of template arguments that does not stand at
    /// the start of a name, as that of "(anonymous namespace)::" does.
    static constexpr std::size_t endOfName(char const (&signature)[Capacity]) noexcept
    {
        std::size_t templateDepth = 0;
        for (std::size_t position = 0; position + 1 < Capacity; ++position) {
            char const character = signature[position];
            templateDepth += character == '<' ? 1U : 0U;
            templateDepth -= character == '>' && templateDepth > 0 ? 1U : 0U;
            bool const isBehindName = position > 0 && signature[position - 1] != ' ' && signature[position - 1] != ':';
            if (character == '(' && templateDepth == 0 && isBehindName) {
                return position;
            }
        }
        return Capacity - 1; // a plain name, without parameters
    }

    /// Behind the blank, '*' or '&' that ends the result type; blanks inside of brackets do not count.
    static constexpr std::size_t startOfName(char const (&signature)[Capacity], std::size_t end) noexcept
    {
        std::size_t bracketDepth = 0;
        for (std::size_t position = end; position > 0; --position) {
            char const character = signature[position - 1];
            bracketDepth += character == '>' || character == ')' ? 1U : 0U;
            if (bracketDepth == 0 && (character == ' ' || character == '*' || character == '&')) {
                return position;
            }
            bracketDepth -= (character == '<' || character == '(') && bracketDepth > 0 ? 1U : 0U;
        }
        return 0;
    }

    char m_text[Capacity];
};

} // namespace common::log

/// How the compiler spells the function in which this stands.
#if defined(__GNUC__)
#define COMMON_LOG_FUNCTION_SIGNATURE __PRETTY_FUNCTION__
#elif defined(_MSC_VER)
#define COMMON_LOG_FUNCTION_SIGNATURE __FUNCSIG__
#else
#define COMMON_LOG_FUNCTION_SIGNATURE __func__
#endif
