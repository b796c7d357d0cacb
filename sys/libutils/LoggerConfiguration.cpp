#include "sys/libutils/LoggerConfiguration.h"

namespace qn::sys {

void LoggerConfiguration::readGlobals(const std::string&, Globals&) {}

void LoggerConfiguration::resolveModule(Logger&, const std::string&, std::int32_t&,
                                        Logger::OutputLevels&) {}

Logger::Output* LoggerConfiguration::makeOutput(Logger&, const std::string&) {
    return nullptr;
}

}  // namespace qn::sys
