#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qn::tools::qnlog {

// Which plain lines to print: at a level or more severe, of a module, of an
// instance. Short lines carry no level, so a level filter leaves them out.
class LineFilter {
  public:
    void setLevel(std::int32_t level) { m_level = level; }
    void setModule(const std::string& module) { m_module = module; }
    void setInstance(const std::string& instance) { m_instance = instance; }
    bool active() const { return m_level || m_module || m_instance; }
    bool accepts(std::string_view plainLine) const;

  private:
    std::optional<std::int32_t> m_level;
    std::optional<std::string> m_module;
    std::optional<std::string> m_instance;
};

}  // namespace qn::tools::qnlog
