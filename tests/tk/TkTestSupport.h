#pragma once
// A simulated host installed as the backend, and a logger whose lines are read back as
// "LEVEL message" for one module.

#include <memory>
#include <string>
#include <vector>

#include "platform/sim/SimHost.h"
#include "platform/sim/SimWorld.h"
#include "sys/libutils/LogLine.h"
#include "tests/sys/libutils/LogTestSupport.h"

namespace qn::tk::testing {

class TkHost {
  public:
    explicit TkHost(std::string module)
        : m_module(std::move(module)),
          m_logger("tktest", sys::Logger::DEBUG, false, true, nullptr,
                   std::make_unique<qn::testing::DirectoryConfiguration>(m_dir.path())) {}

    platform::sim::SimHost& host() { return m_host; }
    platform::sim::SimWorld& world() { return m_world; }

    std::vector<std::string> newLines() {
        const auto back = qn::testing::readLogFile(m_dir / "tktest.log");
        std::vector<std::string> lines;
        for (std::size_t i = m_seen; i < back.lines.size(); ++i) {
            sys::logline::Fields f;
            if (sys::logline::parse(back.lines[i], f) && f.module == m_module) {
                lines.push_back(std::string(f.level) + " " + std::string(f.message));
            }
        }
        m_seen = back.lines.size();
        return lines;
    }

  private:
    std::string m_module;
    platform::sim::SimHost m_host;
    platform::sim::SimWorld m_world{m_host};
    platform::ScopedBackend m_backend{m_host.backend()};
    qn::testing::ScratchDir m_dir;
    sys::Logger m_logger;
    std::size_t m_seen = 0;
};

}  // namespace qn::tk::testing
