#include "sys/libutils/StringHelpers.h"

#include <gtest/gtest.h>

namespace qn::sys {
namespace {

TEST(StringHelpers, FormatGrowsToFit) {
    EXPECT_EQ(FormatString("%d-%s", 7, "x"), "7-x");
    std::string longText(500, 'a');
    EXPECT_EQ(FormatString("<%s>", longText.c_str()), "<" + longText + ">");
}

TEST(StringHelpers, TrimBothEnds) {
    EXPECT_EQ(TrimRight(std::string(" a b \t\r\n")), " a b");
    EXPECT_EQ(TrimLeft(std::string("\n\t a b ")), "a b ");
    EXPECT_EQ(TrimRight(std::string(" \t")), "");
    EXPECT_EQ(TrimLeft(std::wstring(L"  w")), L"w");
}

TEST(StringHelpers, SplitSkipsRunsOfDelimiters) {
    std::vector<std::string> words{"stale"};
    EXPECT_EQ(Split(",,a, b,,c,", ", ", words), 3u);
    EXPECT_EQ(words, (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(Split("", ",", words), 0u);
    EXPECT_TRUE(words.empty());
}

TEST(StringHelpers, StripQuotesAndParse) {
    EXPECT_EQ(StripQuotes(L"\"q\""), L"q");
    EXPECT_EQ(StripQuotes(L"\"q"), L"q");
    EXPECT_EQ(StripQuotes(L"\""), L"");
    EXPECT_EQ(ParseIntoVector<int>("1, 2,3", ", "), (std::vector<int>{1, 2, 3}));
    try {
        ParseIntoVector<int>("1,x", ",");
        FAIL();
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), "Couldn't parse data into vector: 1,x\"");
    }
}

}  // namespace
}  // namespace qn::sys
