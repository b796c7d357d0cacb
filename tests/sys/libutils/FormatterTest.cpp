#include "sys/libutils/Formatter.h"

#include <gtest/gtest.h>

namespace qn::sys {
namespace {

std::string format(const std::string& pattern, std::initializer_list<std::string> arguments) {
    Formatter formatter;
    formatter.setPattern(pattern);
    for (const std::string& argument : arguments) {
        (formatter << argument).next();
    }
    return formatter.result();
}

TEST(Formatter, PlaceHoldersAndEscapes) {
    EXPECT_EQ(format("100%%", {}), "100%");
    EXPECT_EQ(format("%x stays", {"a"}), "%x stays");
    EXPECT_EQ(format("%2-%1", {"a", "b"}), "b-a");
    EXPECT_EQ(format("%12", {"a"}), "a2");  // one digit only
    EXPECT_EQ(format("[%0][%3]", {"a"}), "[][]");
}

TEST(Formatter, EmptyArgumentShiftsTheRest) {
    EXPECT_EQ(format("%1|%2", {"", "b"}), "b|");
}

TEST(Formatter, ResultClearsArgumentsForReuse) {
    WFormatter formatter;
    formatter.setPattern(L"<%1>");
    (formatter << 12).next();
    EXPECT_EQ(formatter.result(), L"<12>");
    EXPECT_EQ(formatter.result(), L"<>");
}

}  // namespace
}  // namespace qn::sys
