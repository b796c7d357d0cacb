#pragma once
// The stand-in's output: one JSON line per thing the Manager saw, stamped with the
// seconds since the stand-in started, flushed at once so a reader sees it as it happens.

#include <chrono>
#include <ostream>

#include <nlohmann/json.hpp>

namespace qn::tools::qnmanager {

class Transcript {
  public:
    explicit Transcript(std::ostream& out)
        : m_out(out), m_start(std::chrono::steady_clock::now()) {}
    void write(const nlohmann::ordered_json& line);

  private:
    std::ostream& m_out;
    std::chrono::steady_clock::time_point m_start;
};

}  // namespace qn::tools::qnmanager
