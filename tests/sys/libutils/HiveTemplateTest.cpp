#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "sys/libutils/HiveFile.h"

namespace qn::sys {
namespace {

// The installed hive must be the one the program would write itself, byte for byte
// (CR LF and all), or the first write would reflow an administrator's file.
TEST(HiveTemplate, PackagedFileIsTheProgramsOwnTemplate) {
    const char* source = std::getenv("QN_TEST_SOURCE_DIR");
    ASSERT_NE(source, nullptr);
    std::ifstream file(std::string(source) + "/packaging/qn.xml", std::ios::binary);
    ASSERT_TRUE(file) << "packaging/qn.xml missing";
    std::stringstream text;
    text << file.rdbuf();
    EXPECT_EQ(text.str(), HiveFile::templateText());
}

}  // namespace
}  // namespace qn::sys
