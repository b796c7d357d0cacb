#include "sys/libutils/Conversions.h"

#include <gtest/gtest.h>

#include <sstream>

#include "sys/libutils/Clock.h"

namespace qn::sys {
namespace {

TEST(Conversions, BooleansReadFirstLetterThenNumber) {
    EXPECT_TRUE(StringToBool("Yes"));
    EXPECT_TRUE(StringToBool("true"));
    EXPECT_TRUE(StringToBool("12"));
    EXPECT_FALSE(StringToBool("no"));
    EXPECT_FALSE(StringToBool("0"));
    EXPECT_FALSE(StringToBool(""));
    EXPECT_EQ(BoolToString(true), "yes");
    EXPECT_EQ(BoolToString(false), "no");
}

TEST(Conversions, NumbersSkipBlanksAndIgnoreRubbish) {
    EXPECT_EQ(StringToInt("  42abc"), 42);
    EXPECT_EQ(StringToInt("abc"), 0);
    EXPECT_EQ(StringToI64(std::string("-9000000000")), -9000000000LL);
    EXPECT_EQ(StringToU32("4294967295"), 4294967295u);
    EXPECT_DOUBLE_EQ(StringToDouble("2.5x"), 2.5);
    EXPECT_EQ(WideToInt(L" -7"), -7);
    EXPECT_EQ(IntToString(-3), "-3");
    EXPECT_EQ(I64ToString(1LL << 40), "1099511627776");
    EXPECT_EQ(IntToWide(15), L"15");
    EXPECT_DOUBLE_EQ(WideToDouble(DoubleToWide(0.125)), 0.125);
}

TEST(Conversions, NarrowingReplacesNonAsciiAndSurrogatePairs) {
    EXPECT_EQ(ToNarrowString(L"caf\u00e9!"), "caf?!");
    const wchar_t pair[] = {L'a', 0xD83D, 0xDE00, L'b', 0};
    EXPECT_EQ(ToNarrowString(pair), "a?b");
    const wchar_t loneHigh[] = {0xD800, L'c', 0};
    EXPECT_EQ(ToNarrowString(loneHigh), "?c");
    EXPECT_EQ(ToWideString("plain"), L"plain");
    EXPECT_EQ(ToWideString("plain", 3), L"pla");
}

TEST(Conversions, WideToStreamWritesHexForOthers) {
    std::ostringstream stream;
    WideToStream(stream, L"a\u00e9b");
    EXPECT_EQ(stream.str(), "ae9b");
    stream << 255;
    EXPECT_EQ(stream.str(), "ae9bff");  // left in hexadecimal mode
    EXPECT_EQ(ToWideVector(L"ab"), (std::vector<wchar_t>{L'a', L'b', L'\0'}));
}

TEST(Clock, TimeTextHasNoNewline) {
    std::ostringstream stream;
    TimeToStream(stream, 0);
    EXPECT_EQ(stream.str().size(), 24u);
    EXPECT_EQ(stream.str().find('\n'), std::string::npos);
    EXPECT_EQ(TicksPerSecond(), 1000000);
    std::int64_t before = CurrentMicroseconds();
    SleepMilliseconds(2);
    EXPECT_GE(CurrentMicroseconds() - before, 1000);
}

}  // namespace
}  // namespace qn::sys
