// The JSON layer: parse errors with their message, nesting, escapes, numbers at the edges of int,
// integers told from other numbers, the dump's form, and dump/parse round trips.
#include "Json.h"

#include <climits>
#include <string>

#include <gtest/gtest.h>

namespace quboid3d::test {
namespace {

using Orvia::VisionSystem::Json;

Json parsed(const std::string& text) {
    std::string error = "not cleared";
    Json value = Json::parse(text, error);
    EXPECT_EQ(error, "") << text;
    return value;
}

std::string errorOf(const std::string& text) {
    std::string error;
    const Json value = Json::parse(text, error);
    EXPECT_TRUE(value.is_null());
    return error;
}

TEST(JsonTest, ParseErrorsCarryTheReasonAndTheOffset) {
    EXPECT_EQ(errorOf(""), "The document is empty. (offset 0)");
    EXPECT_EQ(errorOf("{\"a\": 1"), "Missing a comma or '}' after an object member. (offset 7)");
    EXPECT_EQ(errorOf("[1, 2] x"), "The document root must not be followed by other values. (offset 7)");
    EXPECT_EQ(errorOf("{a: 1}"), "Missing a name for object member. (offset 1)");
    EXPECT_EQ(errorOf("\"abc"), "Missing a closing quotation mark in string. (offset 4)");
    EXPECT_EQ(errorOf("[1, ]"), "Invalid value. (offset 4)");
}

TEST(JsonTest, CommentsAreNoPartOfTheStandardForm) {
    EXPECT_EQ(errorOf("// note\n{}"), "Invalid value. (offset 0)");
}

TEST(JsonTest, NestedValuesAreReachedByKeyAndIndex) {
    const Json root = parsed(R"({"CalibData": {"ScanIn": {"a.cfg": {"k": [1, {"x": true}]}}}})");
    ASSERT_TRUE(root.is_object());
    const Json& list = root["CalibData"]["ScanIn"]["a.cfg"]["k"];
    ASSERT_TRUE(list.is_array());
    EXPECT_EQ(list[0].int_value(), 1);
    EXPECT_TRUE(list[1]["x"].bool_value());
    EXPECT_TRUE(list[2].is_null());
    EXPECT_TRUE(root["missing"]["deeper"].is_null());
    EXPECT_TRUE(list["key of an array"].is_null());
    EXPECT_EQ(root.object_items().size(), 1u);
}

TEST(JsonTest, NestingIsLimitedTo200Levels) {
    const std::string deepest = std::string(200, '[') + std::string(200, ']');
    EXPECT_TRUE(parsed(deepest).is_array());
    const std::string tooDeep = std::string(201, '[') + std::string(201, ']');
    EXPECT_EQ(errorOf(tooDeep), "Nesting is deeper than 200 levels. (offset 200)");
}

TEST(JsonTest, EscapesAreReadAndWrittenBack) {
    const Json value = parsed(R"("q\" b\\ s\/ \b\f\n\r\t \u0041 \u00e9 \u0000 \ud83d\ude00")");
    const std::string expected =
        std::string("q\" b\\ s/ \b\f\n\r\t A \xc3\xa9 ") + '\0' + " \xf0\x9f\x98\x80";
    EXPECT_EQ(value.string_value(), expected);
    EXPECT_EQ(value.dump(), "\"q\\\" b\\\\ s/ \\b\\f\\n\\r\\t A \xc3\xa9 \\u0000 \xf0\x9f\x98\x80\"");
    EXPECT_EQ(Json(std::string("\x01\x1f \xe2\x80\xa8\xe2\x80\xa9")).dump(),
              "\"\\u0001\\u001f \\u2028\\u2029\"");
}

TEST(JsonTest, IntegersAtTheEdgesOfIntStayIntegers) {
    const Json edges = parsed("[2147483647, -2147483648, 0, -0]");
    EXPECT_TRUE(edges[0].is_integer());
    EXPECT_EQ(edges[0].int_value(), INT_MAX);
    EXPECT_TRUE(edges[1].is_integer());
    EXPECT_EQ(edges[1].int_value(), INT_MIN);
    EXPECT_TRUE(edges[2].is_integer());
    EXPECT_EQ(edges[3].int_value(), 0);
}

TEST(JsonTest, NumbersBeyondIntOrWithFractionOrExponentAreNoIntegers) {
    const Json values = parsed("[2147483648, -2147483649, 3.0, 1e2, 0.5, 1E0, 9007199254740993]");
    for (const Json& value : values.array_items())
        EXPECT_FALSE(value.is_integer()) << value.dump();
    EXPECT_EQ(values[0].number_value(), 2147483648.0);
    EXPECT_EQ(values[0].int_value(), INT_MAX);
    EXPECT_EQ(values[1].int_value(), INT_MIN);
    EXPECT_EQ(values[2].int_value(), 3);
    EXPECT_EQ(values[3].number_value(), 100.0);
    EXPECT_EQ(values[4].int_value(), 0);
}

TEST(JsonTest, NumbersAreReadFromTheirText) {
    const Json values = parsed("[0e83, -0, 99999999999999999999, 1E-400, 0.1]");
    EXPECT_FALSE(values[0].is_integer());
    EXPECT_EQ(values[0].number_value(), 0.0);
    EXPECT_TRUE(values[1].is_integer());
    EXPECT_FALSE(values[2].is_integer());
    EXPECT_EQ(values[2].number_value(), 1e20);
    EXPECT_EQ(values[3].number_value(), 0.0);
    EXPECT_EQ(values[4].number_value(), 0.1);
    EXPECT_EQ(errorOf("[1, 1e400]"), "Number too big to be stored in double. (offset 4)");
    EXPECT_EQ(errorOf("01"), "The document root must not be followed by other values. (offset 1)");
}

TEST(JsonTest, AccessorsOfAnotherTypeGiveZeroFalseOrEmpty) {
    const Json text("3");
    EXPECT_EQ(text.int_value(), 0);
    EXPECT_EQ(text.number_value(), 0.0);
    EXPECT_FALSE(text.bool_value());
    EXPECT_TRUE(text.object_items().empty());
    EXPECT_EQ(Json(3).string_value(), "");
    EXPECT_EQ(Json().type(), Json::NUL);
}

TEST(JsonTest, DumpPutsABlankAfterEachColonAndCommaAndMembersInKeyOrder) {
    const Json value(Json::object{{"b", Json("x")},
                                  {"a", Json(Json::array{Json(1), Json(true), Json()})},
                                  {"c", Json(Json::object{})},
                                  {"d", Json(Json::array{})}});
    EXPECT_EQ(value.dump(), R"({"a": [1, true, null], "b": "x", "c": {}, "d": []})");
}

TEST(JsonTest, NumbersDumpSoThatTheyReadBackAsTheSameKind) {
    EXPECT_EQ(Json(3).dump(), "3");
    EXPECT_EQ(Json(3.0).dump(), "3.0");
    EXPECT_EQ(Json(0.5).dump(), "0.5");
    EXPECT_EQ(Json(-2147483648.0 * 2).dump(), "-4294967296.0");
    EXPECT_EQ(parsed("1e300").dump(), "1.0000000000000001e+300");
    EXPECT_EQ(parsed("2147483648").dump(), "2147483648.0");
}

TEST(JsonTest, DumpAndParseRoundTrip) {
    const std::string texts[] = {
        R"({"CalibScanCfg.cfg": "a = 1\r\nb = [1,2]\n", "x": {"y": [0.1, -7, false, null, "\u0001"]}})",
        R"([1.7976931348623157e+308, 4.9406564584124654e-324, -0.0, 123456789])",
        R"("only a string")",
        R"({})",
    };
    for (const std::string& text : texts) {
        const Json first = parsed(text);
        const Json second = parsed(first.dump());
        EXPECT_TRUE(second == first) << text;
        EXPECT_EQ(second.dump(), first.dump());
    }
}

TEST(JsonTest, ARepeatedMemberKeepsItsLastValue) {
    EXPECT_EQ(parsed(R"({"a": 1, "a": 2})")["a"].int_value(), 2);
}

} // namespace
} // namespace quboid3d::test
