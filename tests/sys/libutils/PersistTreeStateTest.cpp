#include "sys/libutils/PersistTreeState.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "sys/libutils/Exception.h"
#include "sys/libutils/HiveFile.h"
#include "sys/libutils/HivePath.h"
#include "sys/libutils/PersistException.h"
#include "sys/libutils/PersistTree.h"
#include "tests/sys/libutils/HiveTestSupport.h"

using namespace qn::sys;
using qn::test::hiveWithMachine;

namespace {

class Hive : public qn::test::HiveFixture {};

const std::string kChain = "<node name=\"Software\">\r\n<node name=\"Quintor\">\r\n";
const std::string kChainEnd = "</node>\r\n</node>\r\n";

std::string failureText(const PersistTree& tree, PersistFlags flags) {
    try {
        tree.read(flags);
    } catch (const Failure& failure) {
        return failure.what();
    }
    return "no failure";
}

}  // namespace

TEST_F(Hive, FirstReadCreatesTheTemplate) {
    PersistTree tree("Logger");
    EXPECT_TRUE(tree.read(PersistLocalMachine).empty());
    const std::string text = fileText();
    EXPECT_EQ(text.size(), 153u);
    EXPECT_EQ(text, HiveFile::templateText());
    EXPECT_EQ(text, hiveWithMachine(""));
}

TEST_F(Hive, BadFlagsComeAfterTheFileWasCreated) {
    PersistTree tree("Logger");
    EXPECT_THROW(tree.read(PersistNetwork), PersistBadFlags);
    EXPECT_TRUE(hiveExists());
    EXPECT_THROW(tree.write(PersistValues(), 3), PersistBadFlags);
    EXPECT_EQ(fileText(), HiveFile::templateText());
}

TEST_F(Hive, WriteIntoAFreshHiveIsByteExact) {
    PersistValues values;
    values.setInt("filesize", 2048);
    values.setString("directory", "");
    PersistTree("Logger").write(values, PersistLocalMachine);
    EXPECT_EQ(fileText(), hiveWithMachine(kChain +
                                          "<node name=\"Logger\">\r\n"
                                          "<value name=\"directory\"/>\r\n"
                                          "<value name=\"filesize\">2048</value>\r\n"
                                          "</node>\r\n" +
                                          kChainEnd));
    const PersistValues back = PersistTree("Logger").read(PersistLocalMachine);
    EXPECT_EQ(back, values);
    EXPECT_TRUE(PersistTree("Logger").read(PersistCurrentUser).empty());
}

TEST_F(Hive, ReplacingAnEmptyValueLeavesAStrayBracket) {
    putFile(hiveWithMachine(kChain + "<node name=\"Logger\">\r\n<value name=\"directory\"/>\r\n" +
                            "</node>\r\n" + kChainEnd));
    PersistValues values;
    values.setString("directory", "/var/log");
    PersistTree("Logger").write(values, PersistLocalMachine);
    EXPECT_EQ(
        fileText(),
        hiveWithMachine(kChain + "<node name=\"Logger\">\r\n" +
                        "<value name=\"directory\">/var/log</value>>\r\n</node>\r\n" + kChainEnd));
    // The file stays readable.
    EXPECT_EQ(PersistTree("Logger").read(PersistLocalMachine).getString("directory"), "/var/log");
}

TEST_F(Hive, EscapingTwoBracketsPadsWithZeroBytesAndBreaksTheHive) {
    PersistValues values;
    values.setString("v", "<<");
    PersistTree("K").write(values, PersistLocalMachine);
    EXPECT_EQ(fileText(),
              hiveWithMachine(kChain + "<node name=\"K\">\r\n<value name=\"v\">&lt;" +
                              std::string(14, '\0') + "&lt;</value>\r\n</node>\r\n" + kChainEnd));
    // The reader stops at the first zero byte, so the hive is no longer one.
    EXPECT_EQ(failureText(PersistTree("K"), PersistLocalMachine), "Hive format not recognised");
}

TEST_F(Hive, ReplacedValueIsMeasuredByItsUnescapedLength) {
    putFile(hiveWithMachine(kChain + "<node name=\"K\">\r\n<value name=\"a\">a&amp;b</value>\r\n" +
                            "<value name=\"keep\">1</value>\r\n</node>\r\n" + kChainEnd));
    PersistValues values;
    values.setString("a", "z");
    PersistTree("K").write(values, PersistLocalMachine);
    EXPECT_EQ(fileText(),
              hiveWithMachine(kChain + "<node name=\"K\">\r\n<value name=\"a\">zmp;b</value>\r\n" +
                              "<value name=\"keep\">1</value>\r\n</node>\r\n" + kChainEnd));
}

TEST_F(Hive, WriteMergesAndSkipsSubKeys) {
    PersistTree tree("K");
    PersistValues first;
    first.setString("a", "1");
    first.setString("b", "2");
    tree.write(first, PersistCurrentUser);
    PersistValues second;
    second.setString("b", "3");
    second.setEntry("sub", PersistEntry::subKey());
    tree.write(second, PersistCurrentUser);
    const PersistValues back = tree.read(PersistCurrentUser);
    EXPECT_EQ(back.getString("a"), "1");
    EXPECT_EQ(back.getString("b"), "3");
    EXPECT_FALSE(back.exists("sub"));
    // remove has no effect in the hive
    tree.remove("a", PersistCurrentUser, true);
    EXPECT_TRUE(tree.read(PersistCurrentUser).isValue("a"));
}

TEST_F(Hive, EmptyWriteCreatesTheChainAndChildrenNest) {
    PersistTree parent("Top");
    PersistTree child(parent, "a/b");
    child.write(PersistValues(), PersistLocalMachine);
    EXPECT_EQ(fileText(), hiveWithMachine(kChain +
                                          "<node name=\"Top\">\r\n<node name=\"a/b\"/>\r\n"
                                          "</node>\r\n" +
                                          kChainEnd));
    EXPECT_TRUE(parent.read(PersistLocalMachine).isSubKey("a/b"));
}

TEST_F(Hive, NetworkWritesGoBelowTheNetworkKey) {
    PersistValues values;
    values.setString("x", "1");
    PersistTree("Logger").write(values, PersistNetwork);
    EXPECT_EQ(fileText(), hiveWithMachine(kChain +
                                          "<node name=\"Network Persist Settings\">\r\n"
                                          "<node name=\"Logger\">\r\n"
                                          "<value name=\"x\">1</value>\r\n"
                                          "</node>\r\n</node>\r\n" +
                                          kChainEnd));
    const PersistTree tree("Logger");
    const auto& state = dynamic_cast<const PersistTreeState&>(tree.state());
    EXPECT_EQ(state.path(), (std::vector<std::string>{"Software", "Quintor", "Logger"}));
    EXPECT_EQ(
        state.networkPath(),
        (std::vector<std::string>{"Software", "Quintor", "Network Persist Settings", "Logger"}));
}

TEST_F(Hive, ReadLetsTheLastValueWinAndKeysHideValues) {
    putFile(hiveWithMachine(kChain + "<node name=\"K\">\r\n<value name=\"a\">1</value>\r\n" +
                            "<value name=\"a\">2</value>\r\n<value name=\"s\">v</value>\r\n" +
                            "<node name=\"s\"/>\r\n<!-- note -->\r\n</node>\r\n" + kChainEnd));
    const PersistValues back = PersistTree("K").read(PersistLocalMachine);
    EXPECT_EQ(back.getString("a"), "2");
    EXPECT_TRUE(back.isSubKey("s"));
    EXPECT_EQ(back.size(), 2u);
}

TEST_F(Hive, MissingKeyReadsEmptyAndCreatesNothing) {
    putFile(hiveWithMachine(""));
    EXPECT_TRUE(PersistTree("Nowhere").read(PersistLocalMachine).empty());
    EXPECT_EQ(fileText(), hiveWithMachine(""));
    putFile("<?xml?>\r\n<QN_HIVE>\r\n</QN_HIVE>\r\n");
    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(PersistTree("K").read(PersistCurrentUser).empty());
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "No base key HKEY_CURRENT_USER\n");
}

TEST_F(Hive, ForeignOrEmptyFilesAreNotRecognisedAndLeftAlone) {
    for (const std::string text : {"", "<other/>", "<QN_HIVE><node name='x'>", "not xml"}) {
        putFile(text);
        PersistValues values;
        values.setString("a", "1");
        try {
            PersistTree("K").write(values, PersistLocalMachine);
            ADD_FAILURE() << "no failure for " << text;
        } catch (const Failure& failure) {
            EXPECT_STREQ(failure.what(), "Hive format not recognised");
        }
        EXPECT_EQ(fileText(), text);
    }
}

TEST_F(Hive, ZeroByteEndsTheTextAndTheTailIsLostOnWrite) {
    putFile(hiveWithMachine("") + std::string(1, '\0') + "tail");
    PersistValues values;
    values.setString("a", "1");
    PersistTree("K").write(values, PersistCurrentUser);
    EXPECT_EQ(fileText().find("tail"), std::string::npos);
    EXPECT_EQ(PersistTree("K").read(PersistCurrentUser).getString("a"), "1");
}

TEST_F(Hive, MissingDirectoryThrowsTheBareText) {
    HivePath::set((m_dir / "missing" / ".qn.xml").string());
    try {
        PersistTree("K").read(PersistLocalMachine);
        ADD_FAILURE() << "nothing thrown";
    } catch (const PersistException&) {
        ADD_FAILURE() << "caught as a PersistException";
    } catch (const char* text) {
        EXPECT_STREQ(text, "Cannot create hive");
    }
}

TEST_F(Hive, WritersInOneProcessSerialise) {
    auto writer = [](const char* name) {
        for (int i = 0; i < 20; ++i) {
            PersistValues values;
            values.setInt(name + std::to_string(i), i);
            PersistTree("K").write(values, PersistLocalMachine);
        }
    };
    std::thread a(writer, "a");
    std::thread b(writer, "b");
    a.join();
    b.join();
    EXPECT_EQ(PersistTree("K").read(PersistLocalMachine).size(), 40u);
}

TEST(HivePath, ExpandsHomeAndUsers) {
    EXPECT_EQ(HivePath::expand("/abs/.qn.xml"), "/abs/.qn.xml");
    EXPECT_EQ(HivePath::expand(""), "");
    const std::string home = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";
    if (!home.empty()) {
        const std::string withSlash = home.back() == '/' ? home : home + "/";
        EXPECT_EQ(HivePath::expand("~"), home);
        EXPECT_EQ(HivePath::expand("~/x/.qn.xml"), withSlash + "x/.qn.xml");
    }
    EXPECT_EQ(HivePath::expand("~root/.qn.xml"), "/root/.qn.xml");
    EXPECT_EQ(HivePath::expand("~no_such_user_here/a"), "~no_such_user_here/a");
    EXPECT_EQ(std::string(HivePath::builtIn()).front(), '/');
}
