#include "Json.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include "Orvia/ConfigFormat/JsonString.h"

namespace Orvia::VisionSystem {

struct Json::Value {
    Type type = NUL;
    double number = 0.0;
    int integer = 0;
    bool integral = false;
    bool boolean = false;
    std::string text;
    array items;
    object members;
};

namespace {

const std::string& emptyString() {
    static const std::string empty;
    return empty;
}
const Json::array& emptyArray() {
    static const Json::array empty;
    return empty;
}
const Json::object& emptyObject() {
    static const Json::object empty;
    return empty;
}
const Json& nullJson() {
    static const Json null;
    return null;
}

// A number that is no integer keeps a fraction in its text, so that it reads back as one.
void appendNumber(std::string& out, double number) {
    if (!std::isfinite(number)) {
        out += "null";
        return;
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.17g", number);
    out += text;
    const std::string written(text);
    if (written.find_first_of(".e") == std::string::npos)
        out += ".0";
}

} // namespace

Json::Json() : value(std::make_shared<const Value>()) {}
Json::Json(std::nullptr_t) : Json() {}
Json::Json(std::shared_ptr<const Value> v) : value(std::move(v)) {}

Json::Json(double number) {
    auto v = std::make_shared<Value>();
    v->type = NUMBER;
    v->number = number;
    value = std::move(v);
}

Json::Json(int integer) {
    auto v = std::make_shared<Value>();
    v->type = NUMBER;
    v->number = integer;
    v->integer = integer;
    v->integral = true;
    value = std::move(v);
}

Json::Json(bool boolean) {
    auto v = std::make_shared<Value>();
    v->type = BOOL;
    v->boolean = boolean;
    value = std::move(v);
}

Json::Json(std::string&& text) {
    auto v = std::make_shared<Value>();
    v->type = STRING;
    v->text = std::move(text);
    value = std::move(v);
}

Json::Json(const std::string& text) : Json(std::string(text)) {}
Json::Json(const char* text) : Json(std::string(text)) {}

Json::Json(const array& items) {
    auto v = std::make_shared<Value>();
    v->type = ARRAY;
    v->items = items;
    value = std::move(v);
}

Json::Json(const object& members) {
    auto v = std::make_shared<Value>();
    v->type = OBJECT;
    v->members = members;
    value = std::move(v);
}

Json::Type Json::type() const {
    return value->type;
}
bool Json::is_integer() const {
    return value->type == NUMBER && value->integral;
}
double Json::number_value() const {
    return value->type == NUMBER ? value->number : 0.0;
}
bool Json::bool_value() const {
    return value->type == BOOL && value->boolean;
}
const std::string& Json::string_value() const {
    return value->type == STRING ? value->text : emptyString();
}
const Json::array& Json::array_items() const {
    return value->type == ARRAY ? value->items : emptyArray();
}
const Json::object& Json::object_items() const {
    return value->type == OBJECT ? value->members : emptyObject();
}

int Json::int_value() const {
    if (value->type != NUMBER || std::isnan(value->number))
        return 0;
    if (value->integral)
        return value->integer;
    // Held within range first: converting an out-of-range double to int is undefined.
    if (value->number >= static_cast<double>(INT_MAX))
        return INT_MAX;
    if (value->number <= static_cast<double>(INT_MIN))
        return INT_MIN;
    return static_cast<int>(value->number);
}

const Json& Json::operator[](const std::string& key) const {
    if (value->type != OBJECT)
        return nullJson();
    const auto found = value->members.find(key);
    return found == value->members.end() ? nullJson() : found->second;
}

const Json& Json::operator[](std::size_t index) const {
    if (value->type != ARRAY || index >= value->items.size())
        return nullJson();
    return value->items[index];
}

bool Json::operator==(const Json& other) const {
    if (value == other.value)
        return true;
    if (type() != other.type())
        return false;
    switch (type()) {
    case NUL:
        return true;
    case NUMBER:
        return value->number == other.value->number;
    case BOOL:
        return value->boolean == other.value->boolean;
    case STRING:
        return value->text == other.value->text;
    case ARRAY:
        return value->items == other.value->items;
    case OBJECT:
        return value->members == other.value->members;
    }
    return false;
}

std::string Json::dump() const {
    std::string out;
    dump(out);
    return out;
}

void Json::dump(std::string& out) const {
    switch (value->type) {
    case NUL:
        out += "null";
        break;
    case BOOL:
        out += value->boolean ? "true" : "false";
        break;
    case NUMBER:
        if (value->integral)
            out += std::to_string(value->integer);
        else
            appendNumber(out, value->number);
        break;
    case STRING:
        ConfigFormat::appendJsonString(out, value->text);
        break;
    case ARRAY: {
        out += '[';
        const char* separator = "";
        for (const Json& item : value->items) {
            out += separator;
            item.dump(out);
            separator = ", ";
        }
        out += ']';
        break;
    }
    case OBJECT: {
        out += '{';
        const char* separator = "";
        for (const auto& [key, member] : value->members) {
            out += separator;
            ConfigFormat::appendJsonString(out, key);
            out += ": ";
            member.dump(out);
            separator = ", ";
        }
        out += '}';
        break;
    }
    }
}

namespace {

// Builds values from the reader's events on a stack of its own, so that nesting costs no
// recursion while reading.
class JsonBuilder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, JsonBuilder> {
public:
    bool Null() { return add(Json()); }
    bool Bool(bool b) { return add(Json(b)); }
    // Numbers come as their text: what counts as an integer is decided on what was written.
    bool RawNumber(const char* text, rapidjson::SizeType length, bool) {
        const std::string written(text, length);
        if (written.find_first_of(".eE") == std::string::npos) {
            errno = 0;
            const long long integer = std::strtoll(written.c_str(), nullptr, 10);
            if (errno == 0 && integer >= INT_MIN && integer <= INT_MAX)
                return add(Json(static_cast<int>(integer)));
        }
        const double number = std::strtod(written.c_str(), nullptr);
        if (!std::isfinite(number)) {
            numberTooBig = true;
            return false;
        }
        return add(Json(number));
    }
    bool String(const char* text, rapidjson::SizeType length, bool) {
        return add(Json(std::string(text, length)));
    }
    bool Key(const char* text, rapidjson::SizeType length, bool) {
        stack.back().key.assign(text, length);
        return true;
    }
    bool StartObject() { return open(true); }
    bool StartArray() { return open(false); }
    bool EndObject(rapidjson::SizeType) {
        Json::object members = std::move(stack.back().members);
        stack.pop_back();
        return add(Json(members));
    }
    bool EndArray(rapidjson::SizeType) {
        Json::array items = std::move(stack.back().items);
        stack.pop_back();
        return add(Json(items));
    }

    Json root;
    bool tooDeep = false;
    bool numberTooBig = false;

private:
    struct Container {
        bool isObject = false;
        std::string key;
        Json::array items;
        Json::object members;
    };

    bool open(bool isObject) {
        if (stack.size() >= static_cast<std::size_t>(Json::kMaxDepth)) {
            tooDeep = true;
            return false;
        }
        stack.push_back(Container{isObject, {}, {}, {}});
        return true;
    }
    bool add(Json item) {
        if (stack.empty()) {
            root = std::move(item);
        } else if (stack.back().isObject) {
            // A repeated member name keeps its last value.
            stack.back().members[stack.back().key] = std::move(item);
        } else {
            stack.back().items.push_back(std::move(item));
        }
        return true;
    }

    std::vector<Container> stack;
};

} // namespace

Json Json::parse(const std::string& text, std::string& error) {
    JsonBuilder builder;
    rapidjson::Reader reader;
    rapidjson::MemoryStream stream(text.data(), text.size());
    constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;
    const rapidjson::ParseResult result = reader.Parse<kFlags>(stream, builder);
    if (result.IsError()) {
        const char* reason = builder.tooDeep ? "Nesting is deeper than 200 levels."
                             : builder.numberTooBig
                                 ? rapidjson::GetParseError_En(rapidjson::kParseErrorNumberTooBig)
                                 : rapidjson::GetParseError_En(result.Code());
        error = std::string(reason) + " (offset " + std::to_string(result.Offset()) + ")";
        return Json();
    }
    error.clear();
    return builder.root;
}

} // namespace Orvia::VisionSystem
