#pragma once
// A logger writing into a scratch directory and one object logging through it, with the
// messages read back through the project's log reader.

#include <memory>
#include <string>
#include <vector>

#include "sys/libutils/LogLine.h"
#include "sys/libutils/Logger.h"
#include "tests/sys/libutils/LogTestSupport.h"

namespace qn::testing {

class TestLog {
  public:
    explicit TestLog(const std::string& module)
        : m_logger("QuintorUserAgent", sys::Logger::DEBUG, false, true, nullptr,
                   std::make_unique<DirectoryConfiguration>(m_dir.path())),
          m_object(m_logger, module, "") {}

    const sys::Logger::Logged& object() const { return m_object; }

    // Every message of this object's module so far, without the logger's own lines.
    std::vector<std::string> messages(const std::string& module) const {
        std::vector<std::string> out;
        for (const auto& line : readLogFile(m_dir / "QuintorUserAgent.log").lines) {
            sys::logline::Fields f;
            if (sys::logline::parse(line, f) && f.module == module) {
                out.emplace_back(f.message);
            }
        }
        return out;
    }

  private:
    ScratchDir m_dir;
    sys::Logger m_logger;
    sys::Logger::Logged m_object;
};

}  // namespace qn::testing
