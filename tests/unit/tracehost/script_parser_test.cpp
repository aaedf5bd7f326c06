#include "tracehost/script_parser.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Korr::Plim::Trace::Tracehost {

namespace {

std::vector<std::string> Texts(const std::string& line) {
    std::vector<std::string> texts;
    for (const ScriptWord& word : SplitScriptLine(line)) texts.push_back(word.text);
    return texts;
}

ScriptArguments Arguments(const std::string& line) { return ScriptArguments(SplitScriptLine(line)); }

using Words = std::vector<std::string>;

TEST(SplitScriptLine, SeparatesWordsAtBlanksAndTabs) {
    EXPECT_EQ(Texts("  allocate \tboard/cpu  7 "), (Words{"allocate", "board/cpu", "7"}));
}

TEST(SplitScriptLine, EmptyAndCommentLinesHaveNoWords) {
    EXPECT_TRUE(Texts("").empty());
    EXPECT_TRUE(Texts(" \t").empty());
    EXPECT_TRUE(Texts("# create").empty());
    EXPECT_EQ(Texts("create # now"), Words{"create"});
}

TEST(SplitScriptLine, HashInsideAWordIsPartOfIt) { EXPECT_EQ(Texts("a#b \"# c\""), (Words{"a#b", "# c"})); }

TEST(SplitScriptLine, QuotedWordHoldsBlanksAndDoubledQuotes) {
    EXPECT_EQ(Texts("attribute cpu \"WP0 Comp\" \"say \"\"x\"\"\" \"\""),
              (Words{"attribute", "cpu", "WP0 Comp", "say \"x\"", ""}));
}

TEST(SplitScriptLine, BackslashesStandForThemselves) {
    EXPECT_EQ(Texts("save c \"C:\\new dir\\\" 2"), (Words{"save", "c", "C:\\new dir\\", "2"}));
}

TEST(SplitScriptLine, CarriageReturnAtTheEndIsDropped) { EXPECT_EQ(Texts("create\r"), Words{"create"}); }

TEST(SplitScriptLine, OpenQuoteIsRefused) { EXPECT_THROW(SplitScriptLine("a \"b"), ScriptError); }

TEST(SplitScriptLine, TextRightAfterAQuotedWordIsRefused) {
    EXPECT_THROW(SplitScriptLine("\"a\"b"), ScriptError);
}

TEST(SplitScriptLine, LineBeyondTheBoundIsRefused) {
    EXPECT_EQ(Texts(std::string(kLongestLine, 'a')).size(), 1u);
    EXPECT_THROW(SplitScriptLine(std::string(kLongestLine + 1, 'a')), ScriptError);
}

TEST(ScriptArguments, BareDashIsNullAndQuotedDashIsText) {
    const ScriptArguments arguments = Arguments("- \"-\" --");
    EXPECT_EQ(arguments.TextOrNull(0), nullptr);
    EXPECT_STREQ(arguments.TextOrNull(1), "-");
    EXPECT_STREQ(arguments.TextOrNull(2), "--");
}

TEST(ScriptArguments, NumbersAreDecimalOrHexadecimalAndBounded) {
    const ScriptArguments arguments = Arguments("4294967295 0xFF 010 256");
    EXPECT_EQ(arguments.Number(0), 4294967295u);
    EXPECT_EQ(arguments.Number(1), 255u);
    EXPECT_EQ(arguments.Number(2), 10u);
    EXPECT_THROW(arguments.Number(3, 255), ScriptError);
    EXPECT_EQ(arguments.NumberOr(9, 5), 5u);
}

TEST(ScriptArguments, TextThatIsNoNumberIsRefused) {
    for (const char* text : {"4294967296", "-1", "1x", "x", "0x", "\"\"", "1.5"}) {
        EXPECT_THROW(Arguments(text).Number(0), ScriptError) << text;
    }
}

TEST(ScriptArguments, SignedNumbersHaveBothSigns) {
    EXPECT_EQ(Arguments("-2147483648").SignedNumber(0), INT32_MIN);
    EXPECT_EQ(Arguments("2").SignedNumber(0), 2);
    EXPECT_THROW(Arguments("2147483648").SignedNumber(0), ScriptError);
}

TEST(ScriptLine, EndsAtALineEndOrTheEndOfTheInput) {
    std::istringstream lines("first\n\nlast");
    std::string line;
    EXPECT_TRUE(ReadScriptLine(lines, line));
    EXPECT_EQ(line, "first");
    EXPECT_TRUE(ReadScriptLine(lines, line));
    EXPECT_EQ(line, "");
    EXPECT_TRUE(ReadScriptLine(lines, line));
    EXPECT_EQ(line, "last");
    EXPECT_FALSE(ReadScriptLine(lines, line));
}

TEST(ScriptLine, IsReadUpToOneByteTooMany) {
    std::istringstream lines(std::string(kLongestLine, 'x') + "\n" + std::string(kLongestLine + 5, 'y'));
    std::string line;
    EXPECT_TRUE(ReadScriptLine(lines, line));
    EXPECT_EQ(line, std::string(kLongestLine, 'x'));
    EXPECT_NO_THROW(SplitScriptLine(line));
    EXPECT_TRUE(ReadScriptLine(lines, line));
    EXPECT_EQ(line.size(), kLongestLine + 1);
    EXPECT_THROW(SplitScriptLine(line), ScriptError);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
