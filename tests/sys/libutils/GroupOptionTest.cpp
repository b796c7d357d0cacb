#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "sys/libutils/Exception.h"
#include "sys/libutils/GroupOption.h"
#include "sys/libutils/OptionBool.h"
#include "sys/libutils/OptionInt.h"
#include "sys/libutils/OptionPoint.h"
#include "sys/libutils/OptionString.h"
#include "tests/sys/libutils/MemoryDataStore.h"

namespace qn::sys::option {
namespace {

using testing::MemoryDataStore;

// A group over a memory store with a text, a flag, a number and a point.
class Walk : public ::testing::Test {
  protected:
    Walk() {
        auto memory = std::make_unique<MemoryDataStore>();
        m_store = memory.get();
        m_store->put("n", "5");
        m_group = std::make_unique<GroupOption>("prog", "Test Tool", "[files]", std::move(memory));
        m_group->add(m_text);
        m_group->add(m_flag);
        m_group->add(m_number);
        m_group->add(m_point);
    }

    // Walks the words; returns what stayed, and the standard output.
    std::vector<std::string> walk(std::vector<std::string> words, std::string& printed,
                                  bool& failed) {
        std::vector<char*> argv;
        for (auto& word : words) {
            argv.push_back(word.data());
        }
        int count = static_cast<int>(argv.size());
        failed = false;
        ::testing::internal::CaptureStdout();
        try {
            m_group->parse(count, argv.data());
        } catch (const MessageException& failure) {
            failed = failure.code() == 12;
        }
        printed = ::testing::internal::GetCapturedStdout();
        return std::vector<std::string>(argv.begin(), argv.begin() + count);
    }

    MemoryDataStore* m_store;
    std::unique_ptr<GroupOption> m_group;
    String m_text{"s", "none", "a text", "TEXT"};
    Flag m_flag{"v", "talk more"};
    Int m_number{"n", 1, "a number", "N"};
    Point m_point{"at", Point::Value{}, "a position"};
};

using Words = std::vector<std::string>;

TEST_F(Walk, OperandsStayAndOptionsWithTheirValuesGo) {
    std::string printed;
    bool failed = false;
    EXPECT_EQ(walk({"prog", "a", "-s", "v", "b", "-v", "-", "c"}, printed, failed),
              (Words{"prog", "a", "b", "-", "c"}));
    EXPECT_FALSE(failed);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(m_text.get(), "v");
    EXPECT_TRUE(m_flag.get());
    // An unset point still has its word, with an empty value behind it.
    EXPECT_EQ(m_group->getCommandLine(), "-s v -v -n 5 -at  ");
}

TEST_F(Walk, UnknownArgumentsAreAllReportedThenOneFailure) {
    std::string printed;
    bool failed = false;
    EXPECT_EQ(walk({"prog", "-x", "-n", "0x20", "-y"}, printed, failed), (Words{"prog"}));
    EXPECT_TRUE(failed);
    EXPECT_EQ(printed, "Unknown argument: -x\nUnknown argument: -y\n");
    // The known option between them was applied all the same.
    EXPECT_EQ(m_number.get(), 32);
    EXPECT_EQ(m_number.getSource(), SourceCommandLine);
}

TEST_F(Walk, MissingOrRefusedValueReadsAsUnknownArgument) {
    std::string printed;
    bool failed = false;
    EXPECT_EQ(walk({"prog", "-at", "1,2x", "-s"}, printed, failed), (Words{"prog", "1,2x"}));
    EXPECT_TRUE(failed);
    EXPECT_EQ(printed, "Unknown argument: -at\nUnknown argument: -s\n");
    EXPECT_FALSE(m_point.isSet());

    EXPECT_EQ(walk({"prog"}, printed, failed), (Words{"prog"}));
    EXPECT_EQ(walk({"prog", "-"}, printed, failed), (Words{"prog", "-"}));
    EXPECT_FALSE(failed);
    EXPECT_EQ(printed, "");
}

TEST_F(Walk, AddLoadsAtOnceSoTheStoreOverrulesTheDefault) {
    EXPECT_EQ(m_number.get(), 5);
    EXPECT_EQ(m_number.getSource(), SourceMachineStore);
    // Saving the group writes nothing that the program did not set.
    m_group->save(m_store->child("unused"));
    EXPECT_TRUE(m_store->child("unused").values().empty());
}

TEST_F(Walk, PreservingFormsKeepTheCallersWords) {
    std::string a = "prog", b = "-s", c = "x", d = "keep";
    char* argv[] = {a.data(), b.data(), c.data(), d.data()};
    int count = 4;
    m_group->parsePreserving(count, argv);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(argv[1], d.data());

    std::wstring wa = L"prog", wb = L"one", wc = L"-n", wd = L"9", we = L"two";
    wchar_t* wide[] = {wa.data(), wb.data(), wc.data(), wd.data(), we.data()};
    count = 5;
    m_group->parsePreserving(count, wide);
    ASSERT_EQ(count, 3);
    EXPECT_EQ(wide[1], wb.data());
    EXPECT_EQ(wide[2], we.data());
    EXPECT_EQ(m_number.get(), 9);

    ::testing::internal::CaptureStdout();
    m_group->parse("  -s   spaced    -v  operand ");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(m_text.get(), "spaced");
}

TEST_F(Walk, AliasForwardsToItsTarget) {
    m_store->put("t", "stored under alias");
    AliasOption alias(*m_group, "t", m_text);
    EXPECT_EQ(alias.getDescription(), "(alias for -s)");
    EXPECT_EQ(m_text.get(), "stored under alias");
    std::string printed;
    bool failed = false;
    walk({"prog", "-t", "via alias"}, printed, failed);
    EXPECT_EQ(m_text.get(), "via alias");
    EXPECT_EQ(alias.getCommandLine(), "-t via alias");
    // Code 1 of the exception table: the text begins with that code's message.
    const std::wstring codeOne = L"Internal error \"" + ErrorCodeException(1).getMessage() + L"\"";
    for (const Option* option :
         {static_cast<const Option*>(&alias), static_cast<const Option*>(m_group.get())}) {
        try {
            option->clone();
            ADD_FAILURE() << "cloned";
        } catch (const InternalError& e) {
            EXPECT_EQ(e.code(), 1U);
            EXPECT_EQ(e.getMessage().rfind(codeOne, 0), 0U) << e.what();
        }
    }
}

TEST_F(Walk, UsageAlignsDescriptionsAtAColumnOfAtMostThirty) {
    Int longOne("a_really_long_option_name_here", 0, "long one", "NUMBER");
    m_group->add(longOne);
    AliasOption alias(*m_group, "t", m_text);
    std::ostringstream usage;
    m_group->printUsage(usage);

    std::vector<std::string> lines;
    std::istringstream in(usage.str());
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    ASSERT_EQ(lines.size(), 16u) << usage.str();
    EXPECT_TRUE(std::regex_match(lines[0], std::regex(R"(Test Tool v\d+\.\d+[a-z] \(\d+\))")))
        << lines[0];
    EXPECT_EQ(lines[2], "Usage: prog [files]");
    EXPECT_EQ(lines[4], "Options:");
    EXPECT_EQ(lines[5], "");
    EXPECT_EQ(lines[6], "");
    EXPECT_EQ(lines[7], "prog");
    auto row = [](const std::string& left, const std::string& text) {
        return left + std::string(31 - left.size(), ' ') + text;
    };
    EXPECT_EQ(lines[8], row("-s TEXT ", "a text"));
    EXPECT_EQ(lines[9], row("-v  ", "talk more"));
    EXPECT_EQ(lines[10], row("-n N ", "a number"));
    EXPECT_EQ(lines[11], row("-at X,Y ", "a position"));
    // Too long for the column: the description follows directly.
    EXPECT_EQ(lines[12], "-a_really_long_option_name_here NUMBER long one");
    EXPECT_EQ(lines[13], row("-t  ", "(alias for -s)"));
    EXPECT_EQ(lines[14], "");
    EXPECT_FALSE(lines[15].empty());
}

}  // namespace
}  // namespace qn::sys::option
