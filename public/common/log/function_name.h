#pragma once

#include <cstddef>
#include <initializer_list>

namespace common::log {

/// The name of a function with its namespaces and class, such as common::log::trace::Log::log, as a constant: without
/// result type, parameters and template arguments, and the same whichever compiler spells it.
///
/// An unnamed namespace is {anonymous}. A lambda bears the name of what it stands in, of all functions the innermost;
/// "lambda" where it stands in nothing that has a name.
template <std::size_t Capacity>
class FunctionName
{
public:
    /// @param signature  how the compiler spells the function, see COMMON_LOG_FUNCTION_SIGNATURE
    constexpr explicit FunctionName(char const (&signature)[Capacity]) noexcept : m_text{}
    {
        char const * position = signature;
        while (*position != '\0') {
            position = read(position);
        }
        if (m_length == 0) {
            append("lambda");
        }
        while (m_length != Capacity) {
            m_text[m_length++] = '\0'; // what stood there of a longer result type
        }
    }

    constexpr char const * text() const noexcept { return m_text; }

    /// The name without as many of its outermost scopes as have to go for it to have at most `length` characters. The
    /// last name of it always stays.
    constexpr char const * innermost(std::size_t length) const noexcept
    {
        std::size_t end = 0;
        while (m_text[end] != '\0') {
            ++end;
        }
        std::size_t start = 0;
        for (std::size_t position = 0; end - start > length && position != end; ++position) {
            // By places, since under the undefined-behaviour sanitizer no address of a constant can be compared.
            if (m_text[position] == ':' && m_text[position + 1] == ':') {
                start = position + 2;
            }
        }
        return m_text + start;
    }

private:
    /// Reads one piece of the signature. What was kept turns out to be of the result type where a blank, '*' or '&'
    /// follows, and is dropped.
    ///
    /// @return the position behind it, which is the end of the signature behind the last name
    constexpr char const * read(char const * position) noexcept
    {
        bool const isStart = m_length == 0 || m_text[m_length - 1] == ':';
        for (char const * const unnamed : {"{anonymous}", "(anonymous namespace)", "`anonymous-namespace'"}) {
            if (char const * const behind = behindText(position, unnamed)) {
                append("{anonymous}");
                return behind;
            }
        }
        for (char const * const lambda : {"<lambda", "(lambda", "(anonymous class)"}) {
            if (isStart && behindText(position, lambda) != nullptr) {
                m_length -= m_length < 2 ? m_length : 2; // the colons
                return behindLambda(behindBrackets(position));
            }
        }
        char const * const behindOperator = behindText(position, "operator");
        if (isStart && behindOperator != nullptr && !isOfIdentifier(*behindOperator)) {
            append("operator");
            return readOperator(behindBlanks(behindOperator));
        }
        if (char const * const behind = behindText(position, "decltype"); isStart && behind != nullptr) {
            return *behindBlanks(behind) == '(' ? behindBrackets(behindBlanks(behind)) : behind;
        }
        switch (*position) {
        case '(': // of the parameters, or else around the name, since the function returns a pointer to an array or so
            return m_length == 0 ? position + 1 : behindParameters(position);
        case '<':
        case '[':
            return behindBrackets(position);
        case ' ':
        case '*':
        case '&':
            m_length = 0;
            return position + 1;
        default:
            m_text[m_length++] = *position;
            return position + 1;
        }
    }

    /// Reads what stands behind "operator", up to its parameters.
    constexpr char const * readOperator(char const * position) noexcept
    {
        if (char const * const behind = behindText(position, "()")) {
            append("()");
            return behind;
        }
        if (!isOfIdentifier(*position)) {
            for (; *position != '\0' && *position != '(' && *position != ' ' && !isOfIdentifier(*position);
                 ++position) {
                m_text[m_length++] = *position;
            }
            return behindBlanks(position); // in front of template arguments
        }
        append(" ");
        while (*position != '\0' && *position != '(') {
            if (*position == '<') {
                position = behindBrackets(position);
                continue;
            }
            char const * const next = behindBlanks(position);
            if (*next != '*' && *next != '&' && *next != '[') {
                m_text[m_length++] = *position++;
            } else {
                m_text[m_length++] = *next;
                position = next + 1;
            }
        }
        return position;
    }

    /// Behind the operation of a lambda, which some compilers spell.
    static constexpr char const * behindLambda(char const * position) noexcept
    {
        for (char const * const operation : {"::operator()", "::operator ()"}) {
            if (char const * const behind = behindText(position, operation)) {
                position = behind;
            }
        }
        return behindParameters(position);
    }

    /// Where a name goes on behind parameters, if there are any, since it is of something inside of that function.
    static constexpr char const * behindParameters(char const * position) noexcept
    {
        position = *position == '(' ? behindBrackets(position) : position;
        for (char const * const qualifier : {" const", " volatile", " mutable", " &", "&"}) {
            if (char const * const behind = behindText(position, qualifier)) {
                position = behind;
            }
        }
        return behindText(position, "::") != nullptr ? position : "";
    }

    static constexpr char const * behindBrackets(char const * position) noexcept
    {
        bool const isTemplate = *position == '<';
        char const closing = isTemplate ? '>' : *position == '(' ? ')' : ']';
        ++position;
        while (*position != '\0' && *position != closing) {
            if (*position == '\'' && position[1] != '\0' && position[2] == '\'') {
                position += 3; // a character as template argument
            } else if (*position == '(' || *position == '[' || (isTemplate && *position == '<')) {
                position = behindBrackets(position);
            } else {
                ++position;
            }
        }
        return *position == '\0' ? position : position + 1;
    }

    /// Null where `text` does not stand there.
    static constexpr char const * behindText(char const * position, char const * text) noexcept
    {
        for (; *text != '\0'; ++position, ++text) {
            if (*position != *text) {
                return nullptr;
            }
        }
        return position;
    }

    static constexpr char const * behindBlanks(char const * position) noexcept
    {
        for (; *position == ' '; ++position) {
        }
        return position;
    }

    static constexpr bool isOfIdentifier(char character) noexcept
    {
        return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
               (character >= '0' && character <= '9') || character == '_';
    }

    constexpr void append(char const * text) noexcept
    {
        for (; *text != '\0'; ++text) {
            m_text[m_length++] = *text;
        }
    }

    // Never longer than the signature, but for "lambda" of nothing.
    std::size_t m_length = 0;
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
