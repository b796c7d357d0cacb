#include <gtest/gtest.h>

#include "sys/libutils/Identity.h"
#include "sys/libutils/LogLevel.h"
#include "sys/libutils/LogLine.h"

namespace qn::sys {
namespace {

TEST(LogLevel, NamesParseInAnyCaseAndOnlyNames) {
    EXPECT_EQ(loglevel::parseLevel("warn", 9), loglevel::WARN);
    EXPECT_EQ(loglevel::parseLevel("Verbose", 9), loglevel::VERBOSE);
    EXPECT_EQ(loglevel::parseLevel("ALWAYS", 9), loglevel::ALWAYS);
    EXPECT_EQ(loglevel::parseLevel("", 4), 4);
    EXPECT_EQ(loglevel::parseLevel("4", 2), 2);
    EXPECT_EQ(loglevel::parseLevel("WARNING", 2), 2);
    EXPECT_EQ(loglevel::parseLevel("WAR", 2), 2);
    EXPECT_STREQ(loglevel::levelName(loglevel::ERROR), "ERROR");
    EXPECT_EQ(loglevel::levelName(7), nullptr);
    EXPECT_EQ(loglevel::levelName(-1), nullptr);
}

TEST(LogLine, ElapsedTimeHasFixedWidthsAndGrowingHours) {
    auto text = [](std::int64_t ms) {
        std::string out;
        logline::appendElapsed(out, ms);
        return out;
    };
    EXPECT_EQ(text(0), "00:00:00.000");
    EXPECT_EQ(text(3723004), "01:02:03.004");
    EXPECT_EQ(text(100LL * 3600000 + 59999), "100:00:59.999");
}

TEST(LogLine, FullAndShortForms) {
    std::string full;
    EXPECT_TRUE(logline::appendPlain(full, 1, 61001, loglevel::INFO, "Option.cpp", 42, "Mod",
                                     "inst", "", "a message\twith tab"));
    EXPECT_EQ(full, "00:01:01.001\t\tMod\tinst\tINFO\tOption.cpp:42\ta message\twith tab");

    std::string brief;
    logline::appendPlain(brief, 0, 5, loglevel::ERROR, "x.cpp", 1, "Mod", "inst", "", "hi");
    EXPECT_EQ(brief, "[Mod inst] hi");
    brief.clear();
    logline::appendPlain(brief, 0, 5, loglevel::ERROR, "x.cpp", 1, "Mod", "", "", "hi");
    EXPECT_EQ(brief, "[Mod] hi");

    // A level outside the table has no name: the line stops there.
    std::string cut;
    EXPECT_FALSE(logline::appendPlain(cut, 1, 0, 9, "x.cpp", 1, "M", "i", "", "lost"));
    EXPECT_EQ(cut, "00:00:00.000\t\tM\ti\t");
}

TEST(LogLine, ParseSplitsBothForms) {
    logline::Fields f;
    ASSERT_TRUE(logline::parse("123:00:00.000\t\tMod\tinst\tDEBUG\tf.cpp:7\tmsg\twith\ttabs", f));
    EXPECT_TRUE(f.full);
    EXPECT_EQ(f.module, "Mod");
    EXPECT_EQ(f.instance, "inst");
    EXPECT_EQ(f.level, "DEBUG");
    EXPECT_EQ(f.place, "f.cpp:7");
    EXPECT_EQ(f.message, "msg\twith\ttabs");

    ASSERT_TRUE(logline::parse("[Mod 12] text", f));
    EXPECT_FALSE(f.full);
    EXPECT_EQ(f.module, "Mod");
    EXPECT_EQ(f.instance, "12");
    EXPECT_EQ(f.message, "text");

    EXPECT_FALSE(logline::parse("1:00:00.000\t\tM\ti\tINFO\tf:1\tm", f));
    EXPECT_FALSE(logline::parse("00:00:00.000\t\tM\ti", f));
    EXPECT_FALSE(logline::parse("[no close", f));
    EXPECT_FALSE(logline::parse("", f));
}

struct Child : Identity {
    using Identity::Identity;
};

TEST(Identity, NamesAreSanitisedAndInstancesInherited) {
    Identity id("a.b c", "x-y");
    EXPECT_EQ(id.getModule(), "a_b_c");
    EXPECT_EQ(id.getInstance(), "x_y");
    EXPECT_EQ(id.fullName(), "a_b_c_x_y");

    Identity child("kid", &id);
    EXPECT_EQ(child.getInstance(), "x_y");
    EXPECT_EQ(child.getParent(), &id);

    Identity anonymous;
    EXPECT_EQ(anonymous.getModule(), "");
    ASSERT_EQ(anonymous.getInstance().size(), 16u);
    EXPECT_EQ(std::stoull(anonymous.getInstance(), nullptr, 16),
              reinterpret_cast<std::uintptr_t>(&anonymous));
    EXPECT_EQ(anonymous.getInstance().find_first_not_of("0123456789ABCDEF"), std::string::npos);

    Identity late("m", "");
    late.setInstance("");
    late.setParent(&id);
    EXPECT_EQ(late.getInstance(), "x_y");
    late.setModule("p/q");
    EXPECT_EQ(late.getModule(), "p_q");

    EXPECT_EQ(identityFullName(nullptr), "(NULL)");
    EXPECT_EQ(identityModule(nullptr), "(NULL)");
    EXPECT_EQ(identityInstance(&id), "x_y");
}

}  // namespace
}  // namespace qn::sys
