#include "OvpLogger.h"

#include <mutex>
#include <string>
#include <string_view>

#include "DefaultSink.h"
#include "FormatText.h"

namespace ovp::logger {
namespace {

struct LoggerState {
    std::mutex mutex;
    OvpLogHandler handler = nullptr;
    void* user = nullptr;
    std::shared_ptr<spdlog::logger> defaultLogger;
};

// Never destroyed, so that lines written from static destructors still find it.
LoggerState& state() {
    static LoggerState* instance = new LoggerState;
    return *instance;
}

struct Route {
    OvpLogHandler handler;
    void* user;
    std::shared_ptr<spdlog::logger> defaultLogger;
};

Route currentRoute() {
    LoggerState& s = state();
    std::lock_guard lock(s.mutex);
    if (s.handler == nullptr && !s.defaultLogger)
        s.defaultLogger = makeDefaultLogger();
    return Route{s.handler, s.user, s.handler == nullptr ? s.defaultLogger : nullptr};
}

// "[channel] text  file:line function", the text without its trailing newline.
std::string defaultLine(const char* channel, const OvpLogLocation* loc, std::string_view text) {
    if (!text.empty() && text.back() == '\n')
        text.remove_suffix(1);
    std::string line;
    line.reserve(text.size() + 96);
    line += '[';
    line += channel != nullptr ? channel : "";
    line += "] ";
    line += text;
    if (loc != nullptr) {
        line += "  ";
        line += loc->file != nullptr ? loc->file : "?";
        line += ':';
        line += std::to_string(loc->line);
        line += ' ';
        line += loc->function != nullptr ? loc->function : "?";
    }
    return line;
}

std::string formatWithMsvcModifiers(const char* fmt, va_list args) {
    std::string translated;
    if (translateMsvcLengthModifiers(fmt, translated))
        return formatText(translated.c_str(), args);
    return formatText(fmt, args);
}

void dispatch(int level, const char* channel, const OvpLogLocation* loc, const char* fmt, va_list args) {
    try {
        if (fmt == nullptr)
            return;
        Route route = currentRoute();
        if (route.handler != nullptr) {
            const std::string text = formatWithMsvcModifiers(fmt, args);
            route.handler(route.user, level, channel, loc, text.c_str());
            return;
        }
        const auto spdLevel = toSpdlogLevel(level);
        if (!route.defaultLogger->should_log(spdLevel))
            return;
        const std::string text = formatWithMsvcModifiers(fmt, args);
        route.defaultLogger->log(spdLevel, spdlog::string_view_t(defaultLine(channel, loc, text)));
    } catch (...) {
        // Logging must never take its caller down.
    }
}

} // namespace
} // namespace ovp::logger

using ovp::logger::dispatch;

extern "C" {

#define OVP_DEFINE_LOG_FUNCTION(name, level)                                                                 \
    void name(const char* channel, const OvpLogLocation* loc, const char* fmt, ...) {                        \
        va_list args;                                                                                        \
        va_start(args, fmt);                                                                                 \
        dispatch(level, channel, loc, fmt, args);                                                            \
        va_end(args);                                                                                        \
    }

OVP_DEFINE_LOG_FUNCTION(logDebugEx, OVP_LOG_DEBUG)
OVP_DEFINE_LOG_FUNCTION(logInfoEx, OVP_LOG_INFO)
OVP_DEFINE_LOG_FUNCTION(logWarnEx, OVP_LOG_WARN)
OVP_DEFINE_LOG_FUNCTION(logErrorEx, OVP_LOG_ERROR)

void ovpLogSetHandler(OvpLogHandler handler, void* user) {
    try {
        auto& s = ovp::logger::state();
        std::shared_ptr<spdlog::logger> previous;
        {
            std::lock_guard lock(s.mutex);
            s.handler = handler;
            s.user = handler != nullptr ? user : nullptr;
            // Dropped so that the default sinks are built anew, from the environment of now.
            previous = std::move(s.defaultLogger);
        }
        if (previous)
            previous->flush();
    } catch (...) {
    }
}

void ovpLogFlush(void) {
    try {
        auto& s = ovp::logger::state();
        std::shared_ptr<spdlog::logger> logger;
        {
            std::lock_guard lock(s.mutex);
            logger = s.defaultLogger;
        }
        if (logger)
            logger->flush();
    } catch (...) {
    }
}

} // extern "C"
