#pragma once
// An Xvfb the test starts as its own child, ready once it has written its display number
// (-displayfd), ended and reaped with the owner.

#include <memory>
#include <string>

#include "tests/support/ChildProcess.h"

namespace qn::testing::linux_host {
using qn::test::ChildProcess;

class XvfbServer {
  public:
    // `screen` as Xvfb's -screen 0 takes it, e.g. "640x480x24". Throws std::runtime_error
    // when the server does not come up.
    explicit XvfbServer(const std::string& screen);
    // ":N"
    const std::string& display() const { return m_display; }

  private:
    ScratchDir m_dir;
    std::unique_ptr<ChildProcess> m_server;
    std::string m_display;
};

}  // namespace qn::testing::linux_host
