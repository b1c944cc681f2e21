// printf formatting with the MSVC length modifiers that log formats of this system use.
#pragma once

#include <cstdarg>
#include <string>

namespace ovp::logger {

// Rewrites the MSVC length modifiers I64, I32 and I into their standard forms (ll, none, z).
// Returns false, leaving `out` untouched, when `fmt` has none of them.
bool translateMsvcLengthModifiers(const char* fmt, std::string& out);

// Formats like vsnprintf into a string of any length. `args` is left untouched.
std::string formatText(const char* fmt, va_list args);

} // namespace ovp::logger
