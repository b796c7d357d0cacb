#include "sys/libutils/Files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
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
    EXPECT_EQ(dataDirectory(), "/Library/Application Support/Quintor/");
    EXPECT_FALSE(exists("/nonexistent-dir/x"));
    testing::TempDirectory directory;
    EXPECT_TRUE(isWritable(directory.path()));
    EXPECT_FALSE(isWritable("/nonexistent-dir"));
}

}  // namespace
}  // namespace qn::sys
