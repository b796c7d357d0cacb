#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "sys/libutils/HivePath.h"

namespace qn::test {

// Points the process's hive at a fresh temporary directory for each test.
class HiveFixture : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "qnhiveXXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        m_dir = pattern;
        m_hive = (m_dir / ".qn.xml").string();
        qn::sys::HivePath::set(m_hive);
    }
    void TearDown() override { std::filesystem::remove_all(m_dir); }

    std::string fileText() const {
        std::ifstream in(m_hive, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    void putFile(const std::string& text) const {
        std::ofstream(m_hive, std::ios::binary | std::ios::trunc) << text;
    }
    bool hiveExists() const { return std::filesystem::exists(m_hive); }

    std::filesystem::path m_dir;
    std::string m_hive;
};

// The text of a hive with the given lines inside HKEY_LOCAL_MACHINE.
inline std::string hiveWithMachine(const std::string& inside) {
    return "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<QN_HIVE>\r\n"
           "<node name=\"HKEY_CURRENT_USER\">\r\n</node>\r\n"
           "<node name=\"HKEY_LOCAL_MACHINE\">\r\n" +
           inside + "</node>\r\n</QN_HIVE>\r\n";
}

}  // namespace qn::test
