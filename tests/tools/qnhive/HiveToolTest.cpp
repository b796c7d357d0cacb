#include "tools/qnhive/HiveTool.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/sys/libutils/HiveTestSupport.h"

using namespace qn::tools;

namespace {

class HiveTool : public qn::test::HiveFixture {
  protected:
    int run(std::vector<std::string> arguments) {
        m_out.str("");
        m_err.str("");
        arguments.insert(arguments.begin(), {"--file", m_hive});
        return runHiveTool(arguments, m_out, m_err);
    }
    std::ostringstream m_out;
    std::ostringstream m_err;
};

}  // namespace

TEST_F(HiveTool, SetGetAndPrintBothSections) {
    ASSERT_EQ(run({"set", "machine", "Logger", "verbosity", "WARN"}), HiveToolOk) << m_err.str();
    ASSERT_EQ(run({"set", "user", "Agent", "Logger", "Modules", "Thread", "ERROR"}), HiveToolOk);
    ASSERT_EQ(run({"set", "machine", "Logger", "verbosity", "INFO"}), HiveToolOk);
    EXPECT_EQ(run({"get", "machine", "Logger", "verbosity"}), HiveToolOk);
    EXPECT_EQ(m_out.str(), "INFO\n");
    EXPECT_EQ(run({"get", "user", "Logger", "verbosity"}), HiveToolNotFound);
    EXPECT_EQ(run({"get", "machine", "Logger", "absent"}), HiveToolNotFound);
    EXPECT_EQ(run({"print"}), HiveToolOk);
    EXPECT_EQ(m_out.str(),
              "HKEY_CURRENT_USER\n  Software\n    Quintor\n      Agent\n        Logger\n"
              "          Modules\n            Thread = \"ERROR\"\n"
              "HKEY_LOCAL_MACHINE\n  Software\n    Quintor\n      Logger\n"
              "        verbosity = \"INFO\"\n");
    EXPECT_EQ(run({"check"}), HiveToolOk);
}

TEST_F(HiveTool, FilesThatAreNoHiveAreNamedAndLeftAlone) {
    EXPECT_EQ(run({"check"}), HiveToolNotAHive);
    EXPECT_FALSE(hiveExists());  // check and print never create
    EXPECT_EQ(run({"print"}), HiveToolNotAHive);
    EXPECT_FALSE(hiveExists());
    const std::string zero = qn::test::hiveWithMachine("") + std::string(1, '\0') + "tail";
    for (const std::string& text :
         {std::string(""), std::string("<a/>"), std::string("<QN_HIVE><node>"), zero}) {
        putFile(text);
        EXPECT_EQ(run({"check"}), HiveToolNotAHive);
        EXPECT_NE(m_err.str().find("not a hive"), std::string::npos) << m_err.str();
        EXPECT_EQ(run({"set", "machine", "Logger", "verbosity", "WARN"}), HiveToolNotAHive);
        EXPECT_EQ(fileText(), text);
    }
}

TEST_F(HiveTool, RefusesTextsTheHiveCannotStore) {
    EXPECT_EQ(run({"set", "machine", "Logger", "verbosity", "<<"}), HiveToolRefused);
    EXPECT_EQ(run({"set", "machine", "Log&ger", "verbosity", "x"}), HiveToolRefused);
    EXPECT_FALSE(hiveExists());
    putFile(qn::test::hiveWithMachine(
        "<node name=\"Software\">\r\n<node name=\"Quintor\">\r\n<node name=\"K\">\r\n"
        "<value name=\"v\">a&amp;b</value>\r\n</node>\r\n</node>\r\n</node>\r\n"));
    const std::string before = fileText();
    EXPECT_EQ(run({"set", "machine", "K", "v", "z"}), HiveToolRefused);
    EXPECT_EQ(fileText(), before);
}

TEST_F(HiveTool, UsageErrorsAndHelp) {
    EXPECT_EQ(run({}), HiveToolUsage);
    EXPECT_EQ(run({"get", "machine", "Logger"}), HiveToolUsage);
    EXPECT_EQ(run({"get", "elsewhere", "Logger", "x"}), HiveToolUsage);
    std::ostringstream out;
    std::ostringstream err;
    EXPECT_EQ(runHiveTool({"--help"}, out, err), HiveToolOk);
    EXPECT_NE(out.str().find("qnhive [--file PATH] set SECTION KEY... NAME VALUE"),
              std::string::npos);
}
