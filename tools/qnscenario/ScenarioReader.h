#pragma once
// Typed, checked access to the JSON of one part of a scenario; every complaint carries
// the line of that part.

#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/Quartz.h"
#include "platform/sim/SimWorld.h"
#include "tools/qnscenario/Scenario.h"

namespace qn::tools::qnscenario {

class ScenarioReader {
  public:
    ScenarioReader(int line, std::string where) : m_line(line), m_where(std::move(where)) {}

    [[noreturn]] void fail(const std::string& message) const;

    const nlohmann::json& object(const nlohmann::json& json,
                                 std::initializer_list<const char*> allowed) const;
    const nlohmann::json& member(const nlohmann::json& object, const char* key) const;
    double number(const nlohmann::json& json, const char* what) const;
    std::uint32_t uint32(const nlohmann::json& json, const char* what) const;
    std::int32_t int32(const nlohmann::json& json, const char* what) const;
    bool boolean(const nlohmann::json& json, const char* what) const;
    std::string string(const nlohmann::json& json, const char* what) const;
    std::vector<std::string> strings(const nlohmann::json& json, const char* what) const;
    platform::CGRect rect(const nlohmann::json& json) const;
    std::vector<platform::CGRect> rects(const nlohmann::json& json) const;
    platform::sim::SimDisplaySpec display(const nlohmann::json& json) const;
    platform::sim::SimCoreAudio::Device audioDevice(const nlohmann::json& json) const;
    // A dictionary or null.
    const nlohmann::json& dictionaryOrNull(const nlohmann::json& json, const char* what) const;

    int line() const { return m_line; }

  private:
    int m_line;
    std::string m_where;
};

}  // namespace qn::tools::qnscenario
