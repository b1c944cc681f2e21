#include "LogCapture.h"

#include <algorithm>

namespace quboid3d::test {

LogCapture::LogCapture() {
    ovpLogSetHandler(&LogCapture::onLine, this);
}

LogCapture::~LogCapture() {
    ovpLogSetHandler(nullptr, nullptr);
}

void LogCapture::onLine(void* user, int level, const char* channel, const OvpLogLocation* loc,
                        const char* text) {
    auto* self = static_cast<LogCapture*>(user);
    LogLine line;
    line.level = level;
    line.channel = channel != nullptr ? channel : "";
    if (loc != nullptr) {
        line.file = loc->file != nullptr ? loc->file : "";
        line.function = loc->function != nullptr ? loc->function : "";
        line.line = loc->line;
    }
    line.text = text != nullptr ? text : "";
    {
        std::lock_guard lock(self->mutex_);
        self->lines_.push_back(std::move(line));
    }
    self->written_.notify_all();
}

bool LogCapture::waitFor(const std::string& text, std::chrono::milliseconds limit) const {
    std::unique_lock lock(mutex_);
    return written_.wait_for(lock, limit, [&] {
        for (const LogLine& line : lines_)
            if (line.text == text)
                return true;
        return false;
    });
}

bool LogCapture::waitForCount(const std::string& text, std::size_t count,
                              std::chrono::milliseconds limit) const {
    std::unique_lock lock(mutex_);
    return written_.wait_for(lock, limit, [&] {
        return static_cast<std::size_t>(std::count_if(lines_.begin(), lines_.end(), [&](const LogLine& line) {
                   return line.text == text;
               })) >= count;
    });
}

std::vector<LogLine> LogCapture::lines() const {
    std::lock_guard lock(mutex_);
    return lines_;
}

std::vector<LogLine> LogCapture::withText(const std::string& text) const {
    std::vector<LogLine> found;
    for (const LogLine& line : lines())
        if (line.text == text)
            found.push_back(line);
    return found;
}

int LogCapture::count(int level, const std::string& channel, const std::string& function,
                      const std::string& text) const {
    int n = 0;
    for (const LogLine& line : lines())
        if (line.level == level && line.channel == channel && line.function == function && line.text == text)
            ++n;
    return n;
}

void LogCapture::clear() {
    std::lock_guard lock(mutex_);
    lines_.clear();
}

} // namespace quboid3d::test
