// A small immutable JSON value for FactoryData.json and the calibration text a camera holds.
// Parsing is done by RapidJSON; what the value offers is what those two readers need: parse with
// an error text, build from a string or an ordered map, dump, type tests, lookup by key and the
// value accessors. A number keeps whether it was written as an integer that fits an int.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Orvia::VisionSystem {

class Json {
public:
    enum Type { NUL, NUMBER, BOOL, STRING, ARRAY, OBJECT };
    using array = std::vector<Json>;
    using object = std::map<std::string, Json>;

    Json();
    Json(std::nullptr_t);
    Json(double value);
    Json(int value);
    Json(bool value);
    Json(const std::string& value);
    Json(std::string&& value);
    Json(const char* value);
    Json(const array& values);
    Json(const object& values);
    // Would otherwise turn into a bool.
    Json(void*) = delete;

    // The text's one value, or null with `error` set to what is wrong and where. Nesting deeper
    // than kMaxDepth is refused.
    static Json parse(const std::string& text, std::string& error);
    static constexpr int kMaxDepth = 200;

    // Compact text: a blank after each colon and comma, members in key order.
    std::string dump() const;

    Type type() const;
    bool is_null() const { return type() == NUL; }
    bool is_number() const { return type() == NUMBER; }
    bool is_bool() const { return type() == BOOL; }
    bool is_string() const { return type() == STRING; }
    bool is_array() const { return type() == ARRAY; }
    bool is_object() const { return type() == OBJECT; }
    // A number written without fraction or exponent that fits an int, or built from an int.
    bool is_integer() const;

    // Zero, false or empty when the value is of another type.
    double number_value() const;
    // The integer as written; another number is truncated and held within the range of int.
    int int_value() const;
    bool bool_value() const;
    const std::string& string_value() const;
    const array& array_items() const;
    const object& object_items() const;

    // Null when the value is no object or has no such member, or no array or too short.
    const Json& operator[](const std::string& key) const;
    const Json& operator[](std::size_t index) const;

    bool operator==(const Json& other) const;

private:
    struct Value;
    explicit Json(std::shared_ptr<const Value> value);
    void dump(std::string& out) const;

    std::shared_ptr<const Value> value;
};

} // namespace Orvia::VisionSystem
