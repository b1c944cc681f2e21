// Feeds each input to both routes of the key-value parser: as a string to `parse`, and as a file
// to `parseKeyValueCfg`. Beside the sanitizers, it checks each route against a plain model of
// its line rules, checks what the lookups promise for every stored key, and checks that a saved
// file reads back to the same pairs whenever every pair fits on one line.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <string_view>

#include "KeyValueCfgParser.h"

namespace {

using Orvia::VisionSystem::CKeyValueCfgParser;
using Pairs = std::map<std::string, std::string>;

// Lookups checked per input: enough to cover the forms, few enough to keep the pace.
constexpr std::size_t kMaxKeysChecked = 64;
// A file line is read 255 bytes at a time.
constexpr std::size_t kFileChunk = 255;

std::string inputPath;
std::string savedPath;

void require(bool condition, const char* what) {
    if (condition)
        return;
    std::fprintf(stderr, "key-value parser check failed: %s\n", what);
    std::abort();
}

void discardLine(void*, int, const char*, const OvpLogLocation*, const char* text) {
    require(text != nullptr, "log text");
}

std::string withoutBlanks(std::string line) {
    std::erase(line, ' ');
    return line;
}

void storeLine(Pairs& pairs, const std::string& line) {
    const std::size_t equals = line.find('=');
    if (equals != std::string::npos)
        pairs[line.substr(0, equals)] = line.substr(equals + 1);
}

// The string route: LF splits, a CR is kept as a NUL byte, no comments.
Pairs stringModel(std::string_view text) {
    Pairs pairs;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string line(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        for (char& c : line)
            if (c == '\r')
                c = '\0';
        storeLine(pairs, withoutBlanks(line));
    }
    return pairs;
}

// The file route: reads of at most 255 bytes up to an LF, each taken as a C string, cut at CR
// and LF, with whole-line comments.
Pairs fileModel(std::string_view text) {
    Pairs pairs;
    while (!text.empty()) {
        std::size_t length = std::min(text.size(), kFileChunk);
        const std::size_t lineFeed = text.substr(0, length).find('\n');
        if (lineFeed != std::string_view::npos)
            length = lineFeed + 1;
        std::string line(text.substr(0, length).data(), ::strnlen(text.data(), length));
        text.remove_prefix(length);
        line = line.substr(0, line.find_first_of("\r\n"));
        line = withoutBlanks(line);
        if (line.empty() || line[0] == '#' || line.starts_with("//"))
            continue;
        storeLine(pairs, line);
    }
    return pairs;
}

void checkPairs(CKeyValueCfgParser& parser, const Pairs& expected) {
    std::size_t checked = 0;
    for (const auto& [key, value] : expected) {
        if (++checked > kMaxKeysChecked)
            break;
        require(parser.getVal(key) == value, "stored value");
    }
}

void checkNumberForms(CKeyValueCfgParser& parser, const std::string& key, const std::string& value) {
    int number = -77;
    const bool gotNumber = parser.getVal(key, number);
    require(gotNumber == !value.empty(), "int form answers by emptiness");
    require(gotNumber || number == -77, "int form leaves out untouched");
    double real = -77.0;
    const bool gotReal = parser.getVal(key, real);
    require(gotReal == !value.empty(), "double form answers by emptiness");
    require(gotReal || real == -77.0, "double form leaves out untouched");
}

void checkListForm(CKeyValueCfgParser& parser, const std::string& key, const std::string& value) {
    double* first = nullptr;
    const int count = parser.getVal(key, first);
    if (value.empty()) {
        require(count == 0 && first == nullptr, "empty list");
        return;
    }
    require(count >= 1 && count <= CKeyValueCfgParser::kArrayCapacity && first != nullptr, "list count");
    for (int i = count; i < CKeyValueCfgParser::kArrayCapacity; ++i)
        require(first[i] == 0.0, "elements behind the count are cleared");
    double* second = nullptr;
    require(parser.getVal(key, second) == count && second == first, "same buffer for the same key");
}

void checkLookups(CKeyValueCfgParser& parser, const Pairs& expected) {
    std::size_t checked = 0;
    for (const auto& [key, value] : expected) {
        if (++checked > kMaxKeysChecked)
            break;
        checkNumberForms(parser, key, value);
        checkListForm(parser, key, value);
    }
    require(parser.getVal(std::string("\n")).empty(), "a key never holds an LF");
}

// A saved pair reads back unchanged when its line fits in one read, holds no NUL byte and
// doesn't begin like a comment.
bool savesLosslessly(const Pairs& pairs) {
    for (const auto& [key, value] : pairs) {
        const std::string line = key + " = " + value + "\n";
        if (line.size() > kFileChunk || line.find('\0') != std::string::npos || key.starts_with('#') ||
            key.starts_with("//"))
            return false;
    }
    return true;
}

void checkSaveAndReread(CKeyValueCfgParser& parser, const Pairs& expected) {
    // A fresh file each time: rewriting one in place makes some file systems flush it to disk.
    std::remove(savedPath.c_str());
    if (!parser.saveKeyValueCfg(savedPath.c_str()) || !savesLosslessly(expected))
        return;
    CKeyValueCfgParser reread;
    require(reread.parseKeyValueCfg(savedPath.c_str(), true) == !expected.empty(), "reread result");
    checkPairs(reread, expected);
}

void fuzzStringRoute(const std::string& text) {
    CKeyValueCfgParser parser;
    require(parser.parse(text), "parse is always true");
    const Pairs expected = stringModel(text);
    checkPairs(parser, expected);
    checkLookups(parser, expected);
    checkSaveAndReread(parser, expected);
}

void fuzzFileRoute(const std::string& text, bool requireEntries) {
    std::remove(inputPath.c_str());
    std::FILE* file = std::fopen(inputPath.c_str(), "wb");
    require(file != nullptr, "input file");
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
    CKeyValueCfgParser parser;
    const Pairs expected = fileModel(text);
    const bool parsed = parser.parseKeyValueCfg(inputPath.c_str(), requireEntries);
    require(parsed == (!requireEntries || !expected.empty()), "parseKeyValueCfg result");
    checkPairs(parser, expected);
    checkLookups(parser, expected);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    ovpLogSetHandler(&discardLine, nullptr);
    const std::string stem =
        (std::filesystem::temp_directory_path() / ("kvcfg-fuzz-" + std::to_string(std::random_device{}())))
            .string();
    inputPath = stem + ".in";
    savedPath = stem + ".out";
    std::atexit([] {
        std::remove(inputPath.c_str());
        std::remove(savedPath.c_str());
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    fuzzStringRoute(text);
    fuzzFileRoute(text, size % 2 == 0);
    return 0;
}
