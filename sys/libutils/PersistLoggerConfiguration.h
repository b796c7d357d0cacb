#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "sys/libutils/LoggerConfiguration.h"
#include "sys/libutils/PersistTree.h"

namespace qn::sys {

// The logger's settings as the persistent tree holds them, read when each is
// first needed. Every node is read whole from the user section, and only if
// that is entirely empty from the machine section.
class PersistLoggerConfiguration : public LoggerConfiguration {
  public:
    PersistLoggerConfiguration();
    ~PersistLoggerConfiguration() override;

    void readGlobals(const std::string& name, Globals& globals) override;
    void resolveModule(Logger& logger, const std::string& module, std::int32_t& level,
                       Logger::OutputLevels& outputs) override;
    Logger::Output* makeOutput(Logger& logger, const std::string& name) override;

    // The node as the logger reads it; a hive that is missing, cannot be made
    // or is not recognised reads as empty, since logging must not throw.
    static PersistValues readNode(const PersistTree& tree);

  private:
    // Software, Quintor, the logger's name, Logger.
    std::unique_ptr<PersistTree> m_branch;
};

}  // namespace qn::sys
