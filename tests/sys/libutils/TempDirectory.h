#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace qn::sys::testing {

// A fresh directory below /tmp, removed with its content at the end.
class TempDirectory {
  public:
    TempDirectory() {
        char pattern[] = "/tmp/qn_test_XXXXXX";
        m_path = mkdtemp(pattern);
    }
    ~TempDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

  private:
    std::string m_path;
};

}  // namespace qn::sys::testing
