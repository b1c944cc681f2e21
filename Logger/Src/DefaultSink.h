// The sinks that take log lines when no handler is set.
#pragma once

#include <memory>

#include <spdlog/logger.h>

namespace ovp::logger {

// Builds the default logger from OVP_LOG_FILE and OVP_LOG_LEVEL: a rotating file of 5 x 10 MiB
// (default ./Log/Quboid3D.log), or standard error for the value "stderr" and whenever the file
// can't be opened.
std::shared_ptr<spdlog::logger> makeDefaultLogger();

// The spdlog level of a handler level 0..3.
spdlog::level::level_enum toSpdlogLevel(int level);

} // namespace ovp::logger
