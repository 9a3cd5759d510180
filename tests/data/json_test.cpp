#include "data/json.h"

#include "files.h"

#include <limits>

using namespace dm;
using namespace std::string_literals;

namespace {

const std::string accepted;

std::string outcomeOfParse(const std::string &document) {
    return test::failureOf([&] { parseJson(document); });
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

} // namespace

TEST(Json, DocumentsAreAcceptedOrRefusedWithTheirMessage) {
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {accepted,
         {"7", " \t\r\n7 \t\r\n", R"("x")", "true", "null", "[ ]", "{ }", R"( { "a" : [ 1 , { } ] , "b" : null } )",
          R"({"a":{"a":1},"A":2})", "0", "-0", "0.0", "1E+2", "-12.050e-09", R"("\udbff\udfff")", "\"\x7F\x80\xFF\""}},
        {"JSON trailing data", {"falsee", "{} trailing", "1 2", "1\0"s, "01", "-01", "0x1"}},
        {"invalid JSON",
         {"",   " \t\r\n", "\xEF\xBB\xBF{}", "\v1",  "\0 1"s, "tru",    "True",        "nul", "[",       "{",       "]",
          "[1", "[1}",     "[1 2]",          "[1,]", "[,1]",  "[1,,2]", R"({"a":1,})", "{,}", R"({"a")", R"({"a":)"}},
        {"invalid JSON",
         {R"({"a" 1})", R"({"a":1 "b":2})", R"({"a":1])", "{a:1}", "{1:1}", R"({"a":1,"a":1})", R"({"a":1,"\u0061":2})",
          "// x\n1", "[01]"}},
        {"invalid JSON", {"-", "-a", "1.", "1.e1", ".5", "1e", "1e+", "1e+-1", "+1", "NaN"}},
        {"invalid JSON",
         {"\"", R"("\)", R"("\")", R"("\x41")", R"("\U0041")", R"("\u004")", R"("\u00g1")", R"("\ud83d")",
          R"("\ud83dx")", R"("\ud83d\n")", R"("\ud83d\u0041")", R"("\ud83d\ud83d")", R"("\ud83d \ude00")",
          R"("\ude00")", "\"\t\"", "\"\x1F\"", "\"\0\""s}},
    };
    for (const auto &[outcome, documents] : cases)
        for (const std::string &document : documents)
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
        EXPECT_EQ(test::failureOf([&] { jsonInteger(parseJson(document)); }), "JSON integer expected") << document;
    for (const char *document : {"9223372036854775808", "-9223372036854775809", "99999999999999999999999"})
        EXPECT_THROW(jsonInteger(parseJson(document)), std::out_of_range) << document;
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
