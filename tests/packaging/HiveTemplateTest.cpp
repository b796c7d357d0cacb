// The shipped hive template is the one the program writes itself for a missing hive.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "sys/libutils/HiveFile.h"

namespace {

TEST(HiveTemplateTest, ShippedFileIsTheProgramsOwnTemplate) {
    const char* source = std::getenv("QN_TEST_SOURCE_DIR");
    ASSERT_NE(nullptr, source);
    std::ifstream in(std::string(source) + "/packaging/hive/qn.xml.template", std::ios::binary);
    ASSERT_TRUE(in.good());
    std::ostringstream text;
    text << in.rdbuf();
    EXPECT_EQ(std::string(qn::sys::HiveFile::templateText()), text.str());
}

}  // namespace
