/* The logging library: printf-style lines on named channels, with the source location of
 * each call. By default lines go to a rotating file (or standard error); a handler can take
 * every line instead. Every function is safe from any thread and never throws. */
#ifndef OVP_LOGGER_H
#define OVP_LOGGER_H

#include <stdint.h>

#if defined(_WIN32)
#if defined(OVP_LOGGER_BUILD)
#define OVP_LOGGER_API __declspec(dllexport)
#else
#define OVP_LOGGER_API __declspec(dllimport)
#endif
#else
#define OVP_LOGGER_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Where a line was written: source path, function name, line number. */
typedef struct OvpLogLocation {
    const char* file;
    const char* function;
    int32_t line;
} OvpLogLocation;

enum { OVP_LOG_DEBUG = 0, OVP_LOG_INFO = 1, OVP_LOG_WARN = 2, OVP_LOG_ERROR = 3 };

/* Writes one line. `fmt` has printf semantics; the length modifier I64 (as in %I64u, %I64d,
 * %I64x) prints a 64-bit integer on every platform. `channel` and `loc` may be null. */
OVP_LOGGER_API void logDebugEx(const char* channel, const OvpLogLocation* loc, const char* fmt, ...);
OVP_LOGGER_API void logInfoEx(const char* channel, const OvpLogLocation* loc, const char* fmt, ...);
OVP_LOGGER_API void logWarnEx(const char* channel, const OvpLogLocation* loc, const char* fmt, ...);
OVP_LOGGER_API void logErrorEx(const char* channel, const OvpLogLocation* loc, const char* fmt, ...);

/* Receives every line, whatever OVP_LOG_LEVEL says, synchronously on the thread that logged
 * it. `text` is exactly the formatted text, a trailing newline included. */
typedef void (*OvpLogHandler)(void* user, int level, const char* channel, const OvpLogLocation* loc,
                              const char* text);

/* Sends every later line to `handler` instead of the default sinks; NULL restores the default
 * sinks, which then read OVP_LOG_FILE and OVP_LOG_LEVEL afresh. A line that another thread
 * began before this call may still reach the previous handler. */
OVP_LOGGER_API void ovpLogSetHandler(OvpLogHandler handler, void* user);

/* Writes out whatever the default sinks hold in their buffers. */
OVP_LOGGER_API void ovpLogFlush(void);

#ifdef __cplusplus
}
#endif

#endif /* OVP_LOGGER_H */
