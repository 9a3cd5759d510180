#include "platform/linux/command_line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace dm;
using dm::platform::commandLineOf;

namespace {

struct Line {
    std::vector<const char *> arguments;
    WString text;
};

} // namespace

TEST(CommandLine, ArgumentsAreJoinedSoThatTheySplitAgain) {
    const Line cases[] = {
        {{}, W("")},
        {{"--self-test"}, W("--self-test")},
        {{"a", "b"}, W("a b")},
        {{""}, W("\"\"")},
        {{"", "b"}, W("\"\" b")},
        {{"a b", "c\td"}, W("\"a b\" \"c\td\"")},
        {{"C:\\a\\", "b"}, W("C:\\a\\ b")},
        {{"C:\\a b\\", "c"}, W("\"C:\\a b\\\\\" c")},
        {{"say \"x\""}, W("\"say \\\"x\\\"\"")},
        {{"\\\\\"\\x"}, W("\"\\\\\\\\\\\"\\x\"")},
        {{"\\\" \\\\"}, W("\"\\\\\\\" \\\\\\\\\"")},
    };
    for (const auto &[arguments, text] : cases)
        EXPECT_EQ(commandLineOf(arguments), text) << testing::PrintToString(arguments);
}

TEST(CommandLine, BytesBecomeUnitsWhateverTheyAre) {
    const Line cases[] = {
        {{"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"}, W("\u00E9\u20AC\U0001F600")},
        {{"a\xFF\x80z"}, W("a\xDCFF\xDC80z")},
        {{"\xC3"}, W("\xDCC3")},
        {{"\xF0\x9F\x98", "x"}, W("\xDCF0\xDC9F\xDC98 x")},
        {{"\xC0\xAF"}, W("\xDCC0\xDCAF")},
        {{"\xED\xA0\x80"}, W("\xDCED\xDCA0\xDC80")},
    };
    for (const auto &[arguments, text] : cases)
        EXPECT_EQ(commandLineOf(arguments), text) << testing::PrintToString(arguments);
}
