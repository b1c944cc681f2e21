// Reads and writes the flat `key = value` texts that hold all local configuration: the site
// file, the scan and calibration files, and the same texts held in memory after a download
// from a camera. Every user makes its own short-lived object, on the thread that uses it.
//
// The two input routes differ on purpose, and callers depend on the differences:
//   parseKeyValueCfg (a file): lines of at most 255 bytes (the rest becomes a line of its own),
//     cut at the first CR and LF, empty lines skipped, whole-line `#` and `//` comments;
//   parse (a string): lines of any length, every CR kept as a NUL byte in the line, every line
//     without `=` (an empty one too) logged as a format error, no comments.
// Both remove every blank (0x20) from a line before splitting it at its first `=`; a tab stays.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>

#include "Orvia/ConfigFormat/KeyValueWriter.h"
#include "VsLog.h"

namespace Orvia::VisionSystem {

class CKeyValueCfgParser {
public:
    // Elements of every buffer that the list form of getVal hands out.
    static constexpr int kArrayCapacity = 100;

    CKeyValueCfgParser() = default;
    ~CKeyValueCfgParser() = default;
    CKeyValueCfgParser(const CKeyValueCfgParser&) = delete;
    CKeyValueCfgParser& operator=(const CKeyValueCfgParser&) = delete;

    // Replaces the content by the pairs of the file at `path`. False if the file can't be
    // opened (the content is emptied all the same); with `requireEntries`, also false when
    // the file stored no key.
    bool parseKeyValueCfg(const char* path, bool requireEntries);

    // Replaces the content by the pairs of `text`. Always true.
    bool parse(const std::string& text);

    // The stored value, or a process-wide empty string when the key is absent (logged).
    const std::string& getVal(const std::string& key);
    // False, with `out` untouched, when the value is missing or empty. Otherwise `out` is the
    // number at the front of the value, 0 if there is none, and the result is true.
    bool getVal(const std::string& key, int& out);
    bool getVal(const std::string& key, double& out);
    // Reads a list such as `[1.0,2.0,3.0]` into a buffer of kArrayCapacity doubles that
    // belongs to this parser (the same buffer, cleared, for every request of the same key) and
    // returns the element count; 0, with `out` untouched, when the value is missing or empty.
    int getVal(const std::string& key, double*& out);

    // Creates the key if it is absent, else overwrites its value.
    void setVal(const std::string& key, const std::string& value);

    // Writes every pair in key order as "key = value". False if the file can't be created.
    bool saveKeyValueCfg(const char* path);

private:
    static constexpr const char* kLogSource = "Include/KeyValueCfgParser.h";
    static constexpr const char* kChannel = "KeyValParser";
    static constexpr const char* kParseFileFn = "Orvia::VisionSystem::CKeyValueCfgParser::parseKeyValueCfg";
    static constexpr const char* kParseFn = "Orvia::VisionSystem::CKeyValueCfgParser::parse";
    static constexpr const char* kGetValFn = "Orvia::VisionSystem::CKeyValueCfgParser::getVal";
    static constexpr const char* kSaveFn = "Orvia::VisionSystem::CKeyValueCfgParser::saveKeyValueCfg";
    // A read takes at most kLineBufferSize - 1 bytes of a line.
    static constexpr int kLineBufferSize = 256;

    static const std::string& emptyValue();
    static void removeBlanks(std::string& line) { std::erase(line, ' '); }
    static bool isComment(const std::string& line);
    static std::string listItems(std::string text);
    template <typename Number>
    bool readNumber(const std::string& key, Number& out);
    // Splits a line without blanks at its first `=` and stores the pair; false if there is none.
    bool storePair(const std::string& line);
    double* clearedArray(const std::string& key);

    std::map<std::string, std::string> values;
    std::mutex mutex;
    std::map<std::string, std::unique_ptr<double[]>> arrays;
};

static_assert(sizeof(double) * CKeyValueCfgParser::kArrayCapacity == 800);

inline bool CKeyValueCfgParser::parseKeyValueCfg(const char* path, bool requireEntries) {
    std::lock_guard lock(mutex);
    values.clear();
    std::FILE* file = std::fopen(path, "r");
    if (file == nullptr) {
        VS_LOG_ERROR(kChannel, kParseFileFn, "Read cfg failed, not found[%s]!\n", path);
        return false;
    }
    char buffer[kLineBufferSize];
    for (;;) {
        std::memset(buffer, 0, sizeof buffer);
        if (std::fgets(buffer, sizeof buffer, file) == nullptr)
            break;
        std::string line(buffer);
        line = line.substr(0, line.find('\r'));
        line = line.substr(0, line.find('\n'));
        removeBlanks(line);
        if (line.empty() || isComment(line))
            continue;
        if (!storePair(line))
            VS_LOG_WARN(kChannel, kParseFileFn, "Cfg has format error[%s]!\n", line.c_str());
    }
    std::fclose(file);
    return !requireEntries || !values.empty();
}

inline bool CKeyValueCfgParser::parse(const std::string& text) {
    std::lock_guard lock(mutex);
    values.clear();
    std::istringstream stream(text);
    std::string line;
    while (std::getline(stream, line)) {
        // Line ends stay in the line as NUL bytes: CRLF text leaves a NUL at the end of each value.
        std::replace_if(
            line.begin(), line.end(), [](char c) { return c == '\r' || c == '\n'; }, '\0');
        removeBlanks(line);
        if (!storePair(line))
            VS_LOG_WARN(kChannel, kParseFn, "Cfg has format error[%s]!\n", line.c_str());
    }
    return true;
}

inline const std::string& CKeyValueCfgParser::getVal(const std::string& key) {
    std::lock_guard lock(mutex);
    const auto found = values.find(key);
    if (found == values.end()) {
        VS_LOG_WARN(kChannel, kGetValFn, "Can't find key[%s], value is null!\n", key.c_str());
        return emptyValue();
    }
    return found->second;
}

inline bool CKeyValueCfgParser::getVal(const std::string& key, int& out) {
    return readNumber(key, out);
}

inline bool CKeyValueCfgParser::getVal(const std::string& key, double& out) {
    return readNumber(key, out);
}

inline int CKeyValueCfgParser::getVal(const std::string& key, double*& out) {
    const std::string value = getVal(key);
    if (value.empty())
        return 0;
    const std::string items = listItems(value);
    double* elements = clearedArray(key);
    out = elements;
    int count = 0;
    std::size_t begin = 0;
    while (count < kArrayCapacity) {
        const std::size_t comma = items.find(',', begin);
        // An item that holds no number leaves its element at 0.0 and is counted all the same.
        std::istringstream(items.substr(begin, comma - begin)) >> elements[count];
        ++count;
        if (comma == std::string::npos)
            break;
        begin = comma + 1;
    }
    return count;
}

inline void CKeyValueCfgParser::setVal(const std::string& key, const std::string& value) {
    std::lock_guard lock(mutex);
    values[key] = value;
}

inline bool CKeyValueCfgParser::saveKeyValueCfg(const char* path) {
    // A file that was created counts as saved, whatever happened to the writes after.
    if (ConfigFormat::writeKeyValueFile(path, values) == ConfigFormat::KeyValueWrite::NotCreated) {
        VS_LOG_ERROR(kChannel, kSaveFn, "Create cfg failed, not found[%s]!\n", path);
        return false;
    }
    return true;
}

inline const std::string& CKeyValueCfgParser::emptyValue() {
    static const std::string empty;
    return empty;
}

inline bool CKeyValueCfgParser::isComment(const std::string& line) {
    return line[0] == '#' || line.starts_with("//");
}

// The brackets around a list are optional: text up to the first `[` and from the first `]` on
// is dropped.
inline std::string CKeyValueCfgParser::listItems(std::string text) {
    const std::size_t open = text.find('[');
    if (open != std::string::npos)
        text.erase(0, open + 1);
    const std::size_t close = text.find(']');
    if (close != std::string::npos)
        text.erase(close);
    return text;
}

template <typename Number>
bool CKeyValueCfgParser::readNumber(const std::string& key, Number& out) {
    const std::string value = getVal(key);
    if (value.empty())
        return false;
    // Extraction that finds no number leaves 0, which is still a successful read.
    out = 0;
    std::istringstream(value) >> out;
    return true;
}

inline bool CKeyValueCfgParser::storePair(const std::string& line) {
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos)
        return false;
    values[line.substr(0, equals)] = line.substr(equals + 1);
    return true;
}

inline double* CKeyValueCfgParser::clearedArray(const std::string& key) {
    std::lock_guard lock(mutex);
    std::unique_ptr<double[]>& buffer = arrays[key];
    if (!buffer)
        buffer = std::make_unique<double[]>(kArrayCapacity);
    std::fill_n(buffer.get(), kArrayCapacity, 0.0);
    return buffer.get();
}

} // namespace Orvia::VisionSystem
