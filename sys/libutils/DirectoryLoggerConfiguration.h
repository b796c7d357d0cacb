#pragma once

#include <string>

#include "sys/libutils/LoggerConfiguration.h"

namespace qn::sys {

// Puts the logger's default file in one directory; everything else as unconfigured. For
// the tools and tests that run the logger away from the machine's settings.
class DirectoryLoggerConfiguration : public LoggerConfiguration {
  public:
    explicit DirectoryLoggerConfiguration(std::string directory)
        : m_directory(std::move(directory)) {}
    void readGlobals(const std::string&, Globals& globals) override {
        globals.directory = m_directory + "/";
    }

  private:
    std::string m_directory;
};

}  // namespace qn::sys
