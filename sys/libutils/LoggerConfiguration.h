#pragma once

#include <cstdint>
#include <string>

#include "sys/libutils/Logger.h"

namespace qn::sys {

// Where the logger's settings come from. The logger asks at its construction
// (globals), when a module is first named (resolveModule) and when a module
// names an output (makeOutput), always under its lock. This base answers as if
// nothing were configured; a persistent-tree source overrides it.
class LoggerConfiguration {
  public:
    struct Globals {
        std::int32_t fileVerbosity = Logger::INFO;
        std::uint64_t fileSize = 102400;
        std::string directory;  // empty, or with its final separator
    };

    virtual ~LoggerConfiguration() = default;

    // Refines the defaults the logger put in `globals` for logger `name`.
    virtual void readGlobals(const std::string& name, Globals& globals);
    // Settings of module `module` found in the configuration: may change the
    // level and add outputs (built through logger.getOutput). The logger then
    // adds stderr, the default file and the helper itself.
    virtual void resolveModule(Logger& logger, const std::string& module, std::int32_t& level,
                               Logger::OutputLevels& outputs);
    // The output defined under `name`, or null.
    virtual Logger::Output* makeOutput(Logger& logger, const std::string& name);
};

}  // namespace qn::sys
