#include "FactoryData.h"

#include <cstdio>
#include <fstream>
#include <iterator>

#include "KeyValueCfgParser.h"
#include "VsLog.h"

namespace Orvia::VisionSystem {
namespace {

constexpr const char* kLogSource = "Src/FactoryData.cpp";
constexpr const char* kChannel = "Default";
constexpr const char* kParseFileFn = "FactoryData::parseFile";
constexpr const char* kReadConfigFn = "FactoryData::readConfig";
constexpr const char* kWriteFn = "FactoryData::write";

std::string fixedSixDecimals(double value) {
    const int length = std::snprintf(nullptr, 0, "%f", value);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::snprintf(text.data(), text.size(), "%f", value);
    text.resize(static_cast<std::size_t>(length));
    return text;
}

} // namespace

std::string factoryValueText(const Json& value) {
    switch (value.type()) {
    case Json::STRING:
        return value.string_value();
    case Json::NUMBER:
        return value.is_integer() ? std::to_string(value.int_value())
                                  : fixedSixDecimals(value.number_value());
    case Json::BOOL:
        return value.bool_value() ? "1" : "0";
    default:
        return {};
    }
}

FactoryData& FactoryData::instance() {
    static FactoryData data;
    return data;
}

const char* FactoryData::getTypeName(int type) const {
    switch (type) {
    case CalibIn:
        return "CalibIn";
    case CalibOut:
        return "CalibOut";
    case ScanIn:
        return "ScanIn";
    case ScanOut:
        return "ScanOut";
    default:
        return nullptr;
    }
}

bool FactoryData::parseFile(const std::string& path, Json& out) {
    std::ifstream in(path);
    if (!in.is_open()) {
        VS_LOG_WARN(kChannel, kParseFileFn, "open file error. %s", path.c_str());
        return false;
    }
    const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    std::string error;
    Json root = Json::parse(text, error);
    if (!error.empty()) {
        VS_LOG_WARN(kChannel, kParseFileFn, "factory data parse error. %s", error.c_str());
        return false;
    }
    if (!root.is_object()) {
        VS_LOG_WARN(kChannel, kParseFileFn, "factory data format error. %s", path.c_str());
        return false;
    }
    out = root;
    return true;
}

bool FactoryData::readConfig(const char* section, int type, Json& out) {
    const char* stage = getTypeName(type);
    if (stage == nullptr) {
        VS_LOG_WARN(kChannel, kReadConfigFn, "factory data type error: %d", type);
        return false;
    }
    // A file here that can't be used, for whatever reason, gives way to the parent directory's.
    Json root;
    if (!parseFile(fileName, root) && !parseFile(std::string("../") + fileName, root))
        return false;
    out = root[section ? section : ""][stage];
    return true;
}

int FactoryData::write(int type, const char* dir) {
    Json stage;
    if (!readConfig(calibSection, type, stage)) {
        VS_LOG_WARN(kChannel, kWriteFn, "read factory data file error.");
        return 0;
    }
    if (!stage.is_object()) {
        // The message names the stage by its number, given as text so that "%s" reads a string.
        VS_LOG_WARN(kChannel, kWriteFn, "no factory data [%s] found.", std::to_string(type).c_str());
        return 0;
    }
    const std::string directory = dir ? dir : "";
    int count = 0;
    for (const auto& [file, values] : stage.object_items()) {
        if (values.object_items().empty())
            continue;
        const std::string path = directory + "/" + file;
        CKeyValueCfgParser parser;
        // A file that isn't there is left uncreated.
        if (!parser.parseKeyValueCfg(path.c_str(), false))
            continue;
        for (const auto& [key, value] : values.object_items()) {
            parser.setVal(key, factoryValueText(value));
            ++count;
        }
        parser.saveKeyValueCfg(path.c_str());
    }
    return count;
}

} // namespace Orvia::VisionSystem
