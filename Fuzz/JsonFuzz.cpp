// Feeds each input to the JSON parser. Beside the sanitizers, it checks that a refused text has a
// message, that every accepted value dumps to a text that parses back to an equal value and the
// same dump, and that the accessors agree with the type.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Json.h"

namespace {

using Orvia::VisionSystem::Json;

void check(bool condition) {
    if (!condition)
        std::abort();
}

void checkAccessors(const Json& value, int depth) {
    check(depth <= Json::kMaxDepth);
    if (value.is_integer())
        check(static_cast<double>(value.int_value()) == value.number_value());
    if (!value.is_string())
        check(value.string_value().empty());
    if (!value.is_object())
        check(value.object_items().empty() && value["x"].is_null());
    for (const Json& item : value.array_items())
        checkAccessors(item, depth + 1);
    for (const auto& [key, member] : value.object_items()) {
        check(value[key] == member);
        checkAccessors(member, depth + 1);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::string error;
    const Json value = Json::parse(text, error);
    if (!error.empty()) {
        check(value.is_null());
        return 0;
    }
    checkAccessors(value, 0);
    const std::string dumped = value.dump();
    std::string again;
    const Json reread = Json::parse(dumped, again);
    check(again.empty());
    check(reread == value);
    check(reread.dump() == dumped);
    return 0;
}
