// Log calls of the measuring library. Each source names itself in `kLogSource`, and every call
// names its channel and the function it is written from, so that a line can be traced back.
#pragma once

#include "OvpLogger.h"

#define VS_LOG(logFunction, channel, function, ...)                                                          \
    do {                                                                                                     \
        static constexpr OvpLogLocation vsLogLocation{kLogSource, function, __LINE__};                       \
        logFunction(channel, &vsLogLocation, __VA_ARGS__);                                                   \
    } while (0)

#define VS_LOG_DEBUG(channel, function, ...) VS_LOG(logDebugEx, channel, function, __VA_ARGS__)
#define VS_LOG_INFO(channel, function, ...) VS_LOG(logInfoEx, channel, function, __VA_ARGS__)
#define VS_LOG_WARN(channel, function, ...) VS_LOG(logWarnEx, channel, function, __VA_ARGS__)
#define VS_LOG_ERROR(channel, function, ...) VS_LOG(logErrorEx, channel, function, __VA_ARGS__)
