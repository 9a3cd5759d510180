#include "data/json.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using namespace dm;
using namespace std::string_literals;

namespace {

const std::string accepted = "accepted";

/// The message of what the action throws, or "accepted".
template <typename Action>
std::string outcomeOf(Action action) {
    try {
        action();
    } catch (const std::runtime_error &error) {
        return error.what();
    }
    return accepted;
}

std::string outcomeOfParse(const std::string &document) {
    return outcomeOf([&] { parseJson(document); });
}

std::string nested(int brackets, const std::string &inside) {
    return std::string(brackets, '[') + inside + std::string(brackets, ']');
}

std::string nestedObjects(int braces, const std::string &inside) {
    std::string document = inside;
    for (int brace = 0; brace < braces; ++brace)
        document = R"({"k":)" + document + "}";
    return document;
}

JsonValue handMade(JsonKind kind, const std::string &text) {
    JsonValue value;
    value.kind = kind;
    value.text = text;
    return value;
}

} // namespace

TEST(Json, DocumentsAreAcceptedOrRefusedWithTheirMessage) {
    const std::string invalid = "invalid JSON";
    const std::string trailing = "JSON trailing data";
    const std::pair<std::string, std::string> cases[] = {
        {"", invalid},
        {" \t\r\n", invalid},
        {"\xEF\xBB\xBF{}", invalid},
        {"\v1", invalid},
        {"\0 1"s, invalid},
        {"7", accepted},
        {" \t\r\n7 \t\r\n", accepted},
        {R"("x")", accepted},
        {"true", accepted},
        {"null", accepted},
        {"tru", invalid},
        {"True", invalid},
        {"nul", invalid},
        {"falsee", trailing},
        {"[ ]", accepted},
        {"{ }", accepted},
        {"[", invalid},
        {"{", invalid},
        {"]", invalid},
        {"[1", invalid},
        {"[1}", invalid},
        {"[1 2]", invalid},
        {"[1,]", invalid},
        {"[,1]", invalid},
        {"[1,,2]", invalid},
        {R"({"a":1,})", invalid},
        {"{,}", invalid},
        {R"({"a")", invalid},
        {R"({"a":)", invalid},
        {R"({"a" 1})", invalid},
        {R"({"a":1 "b":2})", invalid},
        {R"({"a":1])", invalid},
        {"{a:1}", invalid},
        {"{1:1}", invalid},
        {R"( { "a" : [ 1 , { } ] , "b" : null } )", accepted},
        {R"({"a":1,"a":1})", invalid},
        {R"({"a":1,"\u0061":2})", invalid},
        {R"({"a":{"a":1},"A":2})", accepted},
        {"{} trailing", trailing},
        {"1 2", trailing},
        {"1\0"s, trailing},
        {"// x\n1", invalid},
        // Numbers.
        {"0", accepted},
        {"-0", accepted},
        {"0.0", accepted},
        {"1E+2", accepted},
        {"-12.050e-09", accepted},
        {"01", trailing},
        {"[01]", invalid},
        {"-01", trailing},
        {"-", invalid},
        {"-a", invalid},
        {"1.", invalid},
        {"1.e1", invalid},
        {".5", invalid},
        {"1e", invalid},
        {"1e+", invalid},
        {"1e+-1", invalid},
        {"+1", invalid},
        {"0x1", trailing},
        {"NaN", invalid},
        // Strings.
        {"\"", invalid},
        {R"("\)", invalid},
        {R"("\")", invalid},
        {R"("\x41")", invalid},
        {R"("\U0041")", invalid},
        {R"("\u004")", invalid},
        {R"("\u00g1")", invalid},
        {R"("\ud83d")", invalid},
        {R"("\ud83dx")", invalid},
        {R"("\ud83d\n")", invalid},
        {R"("\ud83d\u0041")", invalid},
        {R"("\ud83d\ud83d")", invalid},
        {R"("\ud83d \ude00")", invalid},
        {R"("\ude00")", invalid},
        {R"("\udbff\udfff")", accepted},
        {"\"\t\"", invalid},
        {"\"\x1F\"", invalid},
        {"\"\0\""s, invalid},
        {"\"\x7F\x80\xFF\"", accepted},
    };
    for (const auto &[document, outcome] : cases)
        EXPECT_EQ(outcomeOfParse(document), outcome) << document;
}

TEST(Json, SizeAndDepthEndExactlyAtTheirLimits) {
    const std::size_t limit = 131072;
    const std::string full = '"' + std::string(limit - 2, 'x') + '"';
    EXPECT_EQ(parseJson(full).text.size(), limit - 2);
    EXPECT_EQ(outcomeOfParse(full + ' '), "JSON too large");

    EXPECT_EQ(outcomeOfParse(nested(33, "")), accepted);
    EXPECT_EQ(outcomeOfParse(nested(34, "")), "invalid JSON");
    EXPECT_EQ(outcomeOfParse(nested(32, "1")), accepted);
    EXPECT_EQ(outcomeOfParse(nested(33, "1")), "invalid JSON");
    EXPECT_EQ(outcomeOfParse(nestedObjects(32, "{}")), accepted);
    EXPECT_EQ(outcomeOfParse(nestedObjects(33, "{}")), "invalid JSON");
    EXPECT_EQ(outcomeOfParse(std::string(limit, '[')), "invalid JSON");
}

TEST(Json, StringsAreDecoded) {
    const std::pair<std::string, std::string> cases[] = {
        {R"("\"\\\/\b\f\n\r\t")", "\"\\/\b\f\n\r\t"},
        {R"("a\u0000b")", "a\0b"s},
        {R"("\u007f\u0080\u07FF\u0800\uffff")", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
        {R"("\ud7ff\ue000")", "\xED\x9F\xBF\xEE\x80\x80"},
        {R"("\ud83d\ude00")", "\xF0\x9F\x98\x80"},
        {R"("\uD800\uDC00\uDBFF\uDFFF")", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
        {"\"\xC0\xFF\"", "\xC0\xFF"},
    };
    for (const auto &[document, text] : cases)
        EXPECT_EQ(jsonString(parseJson(document)), text) << document;
}

TEST(Json, ValuesKeepWhatStandsInTheDocument) {
    const JsonValue value = parseJson(R"({"b":[1.50,1e3,-0,true,false,null],"a":{"":"x"},"aa":[],"a\u00e9":{}})");
    std::vector<std::string> keys;
    for (const auto &member : value.object)
        keys.push_back(member.first);
    EXPECT_EQ(keys, (std::vector<std::string>{"a", "aa", "a\xC3\xA9", "b"}));

    const std::vector<JsonValue> &elements = jsonField(value, "b").array;
    ASSERT_EQ(elements.size(), 6u);
    EXPECT_EQ(elements[0].text, "1.50");
    EXPECT_EQ(elements[1].text, "1e3");
    EXPECT_EQ(elements[2].text, "-0");
    EXPECT_EQ(elements[2].kind, JsonKind::Number);
    EXPECT_TRUE(elements[3].kind == JsonKind::Boolean && elements[3].boolean);
    EXPECT_TRUE(elements[4].kind == JsonKind::Boolean && !elements[4].boolean);
    EXPECT_EQ(elements[5].kind, JsonKind::Null);
    EXPECT_EQ(jsonString(jsonField(jsonField(value, "a"), "")), "x");
}

TEST(Json, PartOfAValueCanReplaceIt) {
    JsonValue value = parseJson(R"({"a":[["x","y"],{"b":"deep"}]})");
    const JsonValue copy = value;
    value = value.object["a"];
    value = value.array[1];
    value = std::move(value.object["b"]);
    EXPECT_EQ(jsonString(value), "deep");
    EXPECT_EQ(copy.object.at("a").array[0].array.size(), 2u);
}

TEST(Json, IntegersAreExactOrRefused) {
    const std::pair<std::string, std::int64_t> integers[] = {
        {"0", 0},
        {"-0", 0},
        {"123", 123},
        {"9223372036854775807", std::numeric_limits<std::int64_t>::max()},
        {"-9223372036854775808", std::numeric_limits<std::int64_t>::min()},
    };
    for (const auto &[document, integer] : integers)
        EXPECT_EQ(jsonInteger(parseJson(document)), integer) << document;

    for (const char *document : {"1.0", "10.0", "1e2", "1E2", "\"1\"", "true", "null", "[1]", "{}"})
        EXPECT_EQ(outcomeOf([&] { jsonInteger(parseJson(document)); }), "JSON integer expected") << document;
    for (const char *document : {"9223372036854775808", "-9223372036854775809", "99999999999999999999999"}) {
        try {
            jsonInteger(parseJson(document));
            ADD_FAILURE() << document;
        } catch (const std::out_of_range &error) {
            EXPECT_STREQ(error.what(), "stoll") << document;
        }
    }

    EXPECT_EQ(outcomeOf([] { jsonInteger(handMade(JsonKind::Number, "12x")); }), "JSON integer");
    EXPECT_EQ(outcomeOf([] { jsonInteger(handMade(JsonKind::Number, "12\0"s)); }), "JSON integer");
    for (const char *text : {"", "-", "x"}) {
        try {
            jsonInteger(handMade(JsonKind::Number, text));
            ADD_FAILURE() << text;
        } catch (const std::invalid_argument &error) {
            EXPECT_STREQ(error.what(), "stoll") << text;
        }
    }
}

TEST(Json, AccessorsRefuseOrFallBackOnTheWrongKind) {
    const JsonValue value = parseJson(R"({"yes":true,"no":false,"text":"true","empty":"","number":1,"none":null})");
    EXPECT_EQ(outcomeOf([&] { jsonField(value, "absent"); }), "missing JSON field");
    EXPECT_EQ(outcomeOf([&] { jsonField(value, "YES"); }), "missing JSON field");
    EXPECT_EQ(outcomeOf([] { jsonField(parseJson("[1]"), "a"); }), "missing JSON field");
    for (const char *key : {"yes", "number", "none"})
        EXPECT_EQ(outcomeOf([&] { jsonString(jsonField(value, key)); }), "JSON string expected") << key;

    for (const bool fallback : {false, true}) {
        EXPECT_TRUE(jsonBoolOr(value, "yes", fallback));
        EXPECT_FALSE(jsonBoolOr(value, "no", fallback));
        for (const char *key : {"text", "number", "none", "absent"})
            EXPECT_EQ(jsonBoolOr(value, key, fallback), fallback) << key;
        EXPECT_EQ(jsonBoolOr(jsonField(value, "text"), "yes", fallback), fallback);
    }
    EXPECT_EQ(jsonStringOr(value, "text", "other"), "true");
    EXPECT_EQ(jsonStringOr(value, "empty", "other"), "");
    for (const char *key : {"yes", "number", "none", "absent"})
        EXPECT_EQ(jsonStringOr(value, key, "other"), "other") << key;
    EXPECT_EQ(jsonStringOr(parseJson("[]"), "text", "other"), "other");
}

TEST(Json, QuotedTextIsWrittenAsToldAndReadBack) {
    EXPECT_EQ(jsonQuote("\t\n\r\"\\/\b\f\x1F\x7F"), "\"\\t\\n\\r\\\"\\\\/\\u0008\\u000c\\u001f\x7F\"");
    EXPECT_EQ(jsonQuote("\0"s), R"("\u0000")");
    EXPECT_EQ(jsonQuote(""), R"("")");
    std::string everyByte;
    for (int byte = 0; byte < 256; ++byte)
        everyByte.push_back(static_cast<char>(byte));
    EXPECT_EQ(jsonString(parseJson(jsonQuote(everyByte))), everyByte);
}
