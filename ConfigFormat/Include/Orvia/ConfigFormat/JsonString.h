// A text as a JSON string, quotes included, as every JSON text of the system spells it: quote,
// backslash and control characters escaped, and U+2028 and U+2029 too, which end lines in some
// readers of JSON texts. The library's JSON layer and the virtual station both write with it.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace Orvia::VisionSystem::ConfigFormat {

inline void appendJsonString(std::string& out, std::string_view text) {
    out += '"';
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned char ch = static_cast<unsigned char>(text[i]);
        switch (ch) {
        case '\\':
            out += "\\\\";
            break;
        case '"':
            out += "\\\"";
            break;
        case '\b':
            out += "\\b";
            break;
        case '\f':
            out += "\\f";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (ch <= 0x1f) {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\u%04x", ch);
                out += escaped;
            } else if (ch == 0xe2 && i + 2 < text.size() && static_cast<unsigned char>(text[i + 1]) == 0x80 &&
                       (static_cast<unsigned char>(text[i + 2]) & 0xfe) == 0xa8) {
                // U+2028 and U+2029 end lines in some readers of JSON texts.
                out += static_cast<unsigned char>(text[i + 2]) == 0xa8 ? "\\u2028" : "\\u2029";
                i += 2;
            } else {
                out += static_cast<char>(ch);
            }
        }
    }
    out += '"';
}

} // namespace Orvia::VisionSystem::ConfigFormat
