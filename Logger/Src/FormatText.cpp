#include "FormatText.h"

#include <cstdio>
#include <cstring>

namespace ovp::logger {
namespace {

bool isFlag(char c) {
    return c == '-' || c == '+' || c == ' ' || c == '#' || c == '0';
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isIntegerConversion(char c) {
    return c != '\0' && std::strchr("diouxX", c) != nullptr;
}

// Skips flags, width and precision of one conversion; `p` stands just after the '%'.
const char* skipFlagsWidthPrecision(const char* p) {
    while (isFlag(*p))
        ++p;
    while (isDigit(*p) || *p == '*')
        ++p;
    if (*p == '.') {
        ++p;
        while (isDigit(*p) || *p == '*')
            ++p;
    }
    return p;
}

// Length of an MSVC modifier at `p` and its standard spelling, or 0 when there is none.
size_t msvcModifierAt(const char* p, const char** standard) {
    if (p[0] != 'I')
        return 0;
    if (p[1] == '6' && p[2] == '4' && isIntegerConversion(p[3])) {
        *standard = "ll";
        return 3;
    }
    if (p[1] == '3' && p[2] == '2' && isIntegerConversion(p[3])) {
        *standard = "";
        return 3;
    }
    if (isIntegerConversion(p[1])) {
        *standard = "z";
        return 1;
    }
    return 0;
}

} // namespace

bool translateMsvcLengthModifiers(const char* fmt, std::string& out) {
    if (std::strchr(fmt, 'I') == nullptr)
        return false;
    std::string result;
    bool changed = false;
    const char* p = fmt;
    while (*p != '\0') {
        if (*p != '%') {
            result += *p++;
            continue;
        }
        result += *p++;
        if (*p == '%') {
            result += *p++;
            continue;
        }
        const char* spec = skipFlagsWidthPrecision(p);
        result.append(p, spec);
        p = spec;
        const char* standard = nullptr;
        if (size_t length = msvcModifierAt(p, &standard); length != 0) {
            result += standard;
            p += length;
            changed = true;
        }
    }
    if (changed)
        out = std::move(result);
    return changed;
}

std::string formatText(const char* fmt, va_list args) {
    char stackBuffer[512];
    va_list measure;
    va_copy(measure, args);
    const int needed = std::vsnprintf(stackBuffer, sizeof stackBuffer, fmt, measure);
    va_end(measure);
    if (needed < 0)
        return std::string(fmt);
    if (static_cast<size_t>(needed) < sizeof stackBuffer)
        return std::string(stackBuffer, static_cast<size_t>(needed));
    std::string text(static_cast<size_t>(needed), '\0');
    va_list again;
    va_copy(again, args);
    std::vsnprintf(text.data(), text.size() + 1, fmt, again);
    va_end(again);
    return text;
}

} // namespace ovp::logger
