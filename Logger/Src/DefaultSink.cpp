#include "DefaultSink.h"

#include <cstdlib>
#include <string>

#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

namespace ovp::logger {
namespace {

constexpr const char* kDefaultPath = "./Log/Quboid3D.log";
constexpr size_t kFileSize = 10 * 1024 * 1024;
constexpr size_t kFileCount = 5;
constexpr const char* kPattern = "%Y-%m-%d %H:%M:%S.%e %-7l %v";

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

spdlog::level::level_enum levelFromEnvironment() {
    const std::string value = environment("OVP_LOG_LEVEL");
    if (value == "debug")
        return spdlog::level::debug;
    if (value == "warn")
        return spdlog::level::warn;
    if (value == "error")
        return spdlog::level::err;
    if (value == "off")
        return spdlog::level::off;
    return spdlog::level::info;
}

spdlog::sink_ptr makeSink(bool& fellBack, std::string& path) {
    path = environment("OVP_LOG_FILE");
    if (path.empty())
        path = kDefaultPath;
    if (path == "stderr")
        return std::make_shared<spdlog::sinks::stderr_sink_mt>();
    try {
        return std::make_shared<spdlog::sinks::rotating_file_sink_mt>(path, kFileSize, kFileCount);
    } catch (const std::exception&) {
        fellBack = true;
        return std::make_shared<spdlog::sinks::stderr_sink_mt>();
    }
}

} // namespace

std::shared_ptr<spdlog::logger> makeDefaultLogger() {
    bool fellBack = false;
    std::string path;
    auto logger = std::make_shared<spdlog::logger>("Quboid3D", makeSink(fellBack, path));
    logger->set_pattern(kPattern);
    logger->set_level(levelFromEnvironment());
    // A line must survive a crash of the process that wrote it.
    logger->flush_on(spdlog::level::trace);
    if (fellBack)
        logger->warn("[Logger] can't open log file {}, logging to standard error", path);
    return logger;
}

spdlog::level::level_enum toSpdlogLevel(int level) {
    switch (level) {
    case 0:
        return spdlog::level::debug;
    case 1:
        return spdlog::level::info;
    case 2:
        return spdlog::level::warn;
    default:
        return spdlog::level::err;
    }
}

} // namespace ovp::logger
