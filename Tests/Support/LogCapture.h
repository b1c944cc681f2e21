// Captures every log line through the logger's handler hook, so that a test can assert the
// level, channel, function name and exact text of what the code under test wrote.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "OvpLogger.h"

namespace quboid3d::test {

struct LogLine {
    int level = 0;
    std::string channel;
    std::string file;
    std::string function;
    int line = 0;
    std::string text;
};

class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogLine> lines() const;
    // Lines whose text is exactly `text`.
    std::vector<LogLine> withText(const std::string& text) const;
    // Number of lines with this level, channel, function and exact text.
    int count(int level, const std::string& channel, const std::string& function,
              const std::string& text) const;
    bool has(int level, const std::string& channel, const std::string& function,
             const std::string& text) const {
        return count(level, channel, function, text) > 0;
    }
    // Blocks until a line with exactly `text` has been written, or `limit` has passed; true if
    // it was written. For lines that another thread writes.
    bool waitFor(const std::string& text, std::chrono::milliseconds limit = std::chrono::seconds(20)) const;
    // The same, until `count` lines with exactly `text` have been written.
    bool waitForCount(const std::string& text, std::size_t count,
                      std::chrono::milliseconds limit = std::chrono::seconds(20)) const;
    void clear();

private:
    static void onLine(void* user, int level, const char* channel, const OvpLogLocation* loc,
                       const char* text);

    mutable std::mutex mutex_;
    mutable std::condition_variable written_;
    std::vector<LogLine> lines_;
};

// A test fixture whose every test captures the log.
class LogCaptureTest : public ::testing::Test {
protected:
    LogCapture log;
};

} // namespace quboid3d::test
