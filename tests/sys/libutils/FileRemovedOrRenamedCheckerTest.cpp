#include "sys/libutils/FileRemovedOrRenamedChecker.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <thread>

#include "TempDirectory.h"
#include "sys/libutils/Exception.h"

namespace qn::sys {
namespace {

// Kernel events arrive asynchronously, though in practice at once; poll
// hasChanged (which never blocks) for a while before concluding.
bool changesWithin(FileRemovedOrRenamedChecker& checker, std::chrono::milliseconds limit) {
    auto end = std::chrono::steady_clock::now() + limit;
    do {
        if (checker.hasChanged()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    } while (std::chrono::steady_clock::now() < end);
    return false;
}

class CheckerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        m_path = m_directory.file("app.log");
        m_log.open(m_path, std::ios::out | std::ios::app);
        ASSERT_TRUE(m_log.is_open());
        m_checker = FileRemovedOrRenamedChecker::create(m_path);
    }

    testing::TempDirectory m_directory;
    std::string m_path;
    std::ofstream m_log;  // a log file is always held open by its writer
    std::unique_ptr<FileRemovedOrRenamedChecker> m_checker;
};

TEST_F(CheckerTest, WritingDoesNotCount) {
    for (int i = 0; i < 50; ++i) {
        m_log << "line " << i << std::endl;
    }
    EXPECT_FALSE(changesWithin(*m_checker, std::chrono::milliseconds(100)));
}

TEST_F(CheckerTest, RenameCounts) {
    m_log << "before" << std::endl;
    ASSERT_EQ(std::rename(m_path.c_str(), (m_path + ".1").c_str()), 0);
    EXPECT_TRUE(changesWithin(*m_checker, std::chrono::seconds(5)));
    EXPECT_FALSE(m_checker->hasChanged());  // the event was taken
}

TEST_F(CheckerTest, DeleteWhileHeldOpenCounts) {
    ASSERT_EQ(unlink(m_path.c_str()), 0);
    m_log << "still writing to the unlinked file" << std::endl;
    EXPECT_TRUE(changesWithin(*m_checker, std::chrono::seconds(5)));
}

TEST_F(CheckerTest, DeleteWhileAnotherProcessHoldsItOpenCounts) {
    m_log.close();
    int toChild[2];
    ASSERT_EQ(pipe(toChild), 0);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        FILE* held = std::fopen(m_path.c_str(), "a");
        char go;
        (void)!read(toChild[0], &go, 1);  // hold the file until the parent is done
        _exit(held != nullptr ? 0 : 1);
    }
    ASSERT_EQ(unlink(m_path.c_str()), 0);
    bool changed = changesWithin(*m_checker, std::chrono::seconds(5));
    ASSERT_EQ(write(toChild[1], "g", 1), 1);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(changed);
    close(toChild[0]);
    close(toChild[1]);
}

TEST_F(CheckerTest, AttributeChangeAloneDoesNotCount) {
    ASSERT_EQ(chmod(m_path.c_str(), 0640), 0);
    ASSERT_EQ(link(m_path.c_str(), (m_path + ".hard").c_str()), 0);
    EXPECT_FALSE(changesWithin(*m_checker, std::chrono::milliseconds(100)));
}

TEST_F(CheckerTest, TwoCheckersOfOneFileBothSeeTheRename) {
    auto second = FileRemovedOrRenamedChecker::create(m_path);
    ASSERT_EQ(std::rename(m_path.c_str(), (m_path + ".1").c_str()), 0);
    EXPECT_TRUE(changesWithin(*m_checker, std::chrono::seconds(5)));
    EXPECT_TRUE(changesWithin(*second, std::chrono::seconds(5)));
}

TEST(Checker, MissingFileFailsToSetEvent) {
    try {
        FileRemovedOrRenamedChecker::create("/nonexistent-dir/app.log");
        FAIL();
    } catch (const Failure& e) {
        EXPECT_STREQ(e.what(), "Failed to set event");
    }
}

}  // namespace
}  // namespace qn::sys
