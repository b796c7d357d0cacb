#pragma once
// A scratch folder for a test's servers, and reading a whole file (their logs).

#include <string>

namespace qn::testing::linux_host {

// A fresh directory under the system's temporary folder, removed with its contents.
class ScratchDir {
  public:
    ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    ~ScratchDir();
    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

std::string readWholeFile(const std::string& path);

}  // namespace qn::testing::linux_host
