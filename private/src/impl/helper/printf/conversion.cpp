#include "helper/printf/conversion.h"

#include <climits>

namespace common::log::trace {

namespace {

bool isDigit(char character) { return character >= '0' && character <= '9'; }

char const * readFlags(char const * position, Conversion & conversion)
{
    for (;; ++position) {
        switch (*position) {
        case '-':
            conversion.isLeft = true;
            break;
        case '+':
            conversion.hasPlus = true;
            break;
        case ' ':
            conversion.hasBlank = true;
            break;
        case '#':
            conversion.isAlternate = true;
            break;
        case '0':
            conversion.isZeroPadded = true;
            break;
        default:
            return position;
        }
    }
}

/// @return null above INT_MAX
char const * readNumber(char const * position, int & number)
{
    number = 0;
    for (; isDigit(*position); ++position) {
        int const digit = *position - '0';
        if (number > (INT_MAX - digit) / 10) {
            return nullptr;
        }
        number = 10 * number + digit;
    }
    return position;
}

char const * readListedOrNumber(char const * position, int & number, bool & isListed)
{
    if (*position == '*') {
        isListed = true;
        return position + 1;
    }
    return readNumber(position, number);
}

char const * readLength(char const * position, ArgumentLength & length)
{
    bool const isTwice = position[0] != '\0' && position[0] == position[1];
    switch (*position) {
    case 'h':
        length = isTwice ? ArgumentLength::hh : ArgumentLength::h;
        return position + (isTwice ? 2 : 1);
    case 'l':
        length = isTwice ? ArgumentLength::ll : ArgumentLength::l;
        return position + (isTwice ? 2 : 1);
    case 'j':
        length = ArgumentLength::j;
        return position + 1;
    case 'z':
        length = ArgumentLength::z;
        return position + 1;
    case 't':
        length = ArgumentLength::t;
        return position + 1;
    default:
        return position;
    }
}

/// Whether nothing but a letter stands behind the percent sign, which is so most of the time.
bool isPlain(char letter)
{
    switch (letter) {
    case 'd':
    case 'f':
    case 's':
    case 'u':
    case 'x':
        return true;
    default:
        return false;
    }
}

bool isTaken(Conversion const & conversion)
{
    switch (conversion.letter) {
    case 'd':
    case 'o':
    case 'u':
    case 'x':
    case 'X':
        return true;
    case 'a':
    case 'A':
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
        return conversion.length == ArgumentLength::none || conversion.length == ArgumentLength::l;
    case 'c':
    case 's':
    case 'p':
    case '%':
        return conversion.length == ArgumentLength::none; // with any other, texts are wide
    default:
        return false;
    }
}

} // namespace

char const * readConversion(char const * position, Conversion & conversion) noexcept
{
    conversion = plainConversion(*position);
    if (isPlain(*position)) {
        return position + 1;
    }
    position = readFlags(position, conversion);
    position = readListedOrNumber(position, conversion.width, conversion.isWidthListed);
    if (position == nullptr) {
        return nullptr;
    }
    if (*position == '.') {
        position = readListedOrNumber(position + 1, conversion.precision, conversion.isPrecisionListed);
        if (position == nullptr) {
            return nullptr;
        }
    }
    position = readLength(position, conversion.length);
    conversion.letter = *position == 'i' ? 'd' : *position;
    return isTaken(conversion) ? position + 1 : nullptr;
}

} // namespace common::log::trace
