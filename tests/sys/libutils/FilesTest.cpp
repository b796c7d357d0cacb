#include "sys/libutils/Files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "TempDirectory.h"

namespace qn::sys {
namespace {

std::vector<std::string> sorted(std::vector<std::string> names) {
    std::sort(names.begin(), names.end());
    return names;
}

TEST(Files, ListDirectoryMatchesShellPatternsAndHidesDotFiles) {
    testing::TempDirectory directory;
    for (const char* name : {"a.log", "b.log", ".hidden.log", "c.txt"}) {
        std::ofstream(directory.file(name)) << "x";
    }
    mkdir(directory.file("sub").c_str(), 0700);
    EXPECT_EQ(sorted(listDirectory(directory.path(), "*.log")),
              (std::vector<std::string>{"a.log", "b.log"}));
    EXPECT_EQ(sorted(listDirectory(directory.path(), "")),
              (std::vector<std::string>{"a.log", "b.log", "c.txt", "sub"}));
    EXPECT_EQ(listDirectory(directory.path(), ".*.log"), (std::vector<std::string>{".hidden.log"}));
}

TEST(Files, MissingDirectoryGivesEmptyList) {
    EXPECT_TRUE(listDirectory("/nonexistent-dir", "*").empty());
    EXPECT_FALSE(directoryExists("/nonexistent-dir"));
    EXPECT_TRUE(directoryExists("/tmp"));
}

TEST(Files, PlacesOfTheProgram) {
    EXPECT_EQ(executableName(), "test_libutils");
    EXPECT_EQ(executableDirectory() + "/" + executableName(), executablePath());
    EXPECT_TRUE(exists(executablePath()));
    EXPECT_EQ(temporaryDirectory(), "/tmp");
    EXPECT_FALSE(exists("/nonexistent-dir/x"));
    testing::TempDirectory directory;
    EXPECT_TRUE(isWritable(directory.path()));
    EXPECT_FALSE(isWritable("/nonexistent-dir"));
}

TEST(Files, DataDirectoryIsUnderTheUsersHome) {
    const char* home = std::getenv("HOME");
    ASSERT_NE(home, nullptr) << "the test needs HOME";
    const std::string directory = dataDirectory();
    EXPECT_EQ(directory.rfind(home, 0), 0u) << directory;
    EXPECT_EQ(directory.back(), '/');
}

TEST(Files, PrivateDirectoryIsMadeWithItsParentsAndOnlyForItsOwner) {
    testing::TempDirectory directory;
    const std::string nested = directory.file("state/quintor/");
    ASSERT_TRUE(makePrivateDirectory(nested));
    for (const std::string& made : {directory.file("state"), directory.file("state/quintor")}) {
        struct stat info {};
        ASSERT_EQ(stat(made.c_str(), &info), 0) << made;
        EXPECT_EQ(info.st_mode & 0777, 0700u) << made;
    }
    // Already there is fine; under a plain file it cannot be.
    EXPECT_TRUE(makePrivateDirectory(nested));
    std::ofstream(directory.file("plain")) << "x";
    EXPECT_FALSE(makePrivateDirectory(directory.file("plain/sub")));
}

}  // namespace
}  // namespace qn::sys
