#include "sys/libutils/PersistLoggerConfiguration.h"

#include <algorithm>
#include <cctype>

#include "sys/libutils/Exception.h"
#include "sys/libutils/LogLevel.h"
#include "sys/libutils/LogOutputs.h"
#include "sys/libutils/PersistException.h"

namespace qn::sys {

namespace {

using logoutput::FileOutput;

constexpr std::int32_t kMinimumFileSize = 102400;
constexpr std::int32_t kMaximumFileSize = 10240000;
constexpr std::int32_t kDefaultOutputSize = 65536;

// "verbosity", else "verbosity threshold"; a bad name leaves level as it was.
void takeLevel(const PersistValues& node, std::int32_t& level) {
    if (node.isValue("verbosity")) {
        level = loglevel::parseLevel(node.getString("verbosity"), level);
    } else if (node.isValue("verbosity threshold")) {
        level = loglevel::parseLevel(node.getString("verbosity threshold"), level);
    }
}

bool sameWord(const std::string& text, const char* word) {
    const std::string_view expected(word);
    return text.size() == expected.size() &&
           std::equal(text.begin(), text.end(), expected.begin(), [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) ==
                      std::tolower(static_cast<unsigned char>(b));
           });
}

// New, Decorate or Append in any case; anything else gives the default.
std::int32_t modeNumber(const std::string& text, std::int32_t fallback) {
    if (sameWord(text, "New")) {
        return FileOutput::New;
    }
    if (sameWord(text, "Decorate")) {
        return FileOutput::Decorate;
    }
    if (sameWord(text, "Append")) {
        return FileOutput::Append;
    }
    return fallback;
}

}  // namespace

PersistLoggerConfiguration::PersistLoggerConfiguration() = default;
PersistLoggerConfiguration::~PersistLoggerConfiguration() = default;

PersistValues PersistLoggerConfiguration::readNode(const PersistTree& tree) {
    try {
        PersistValues values = tree.read(PersistCurrentUser);
        if (values.empty()) {
            values = tree.read(PersistLocalMachine);
        }
        return values;
    } catch (const Failure&) {
    } catch (const char*) {
    }
    return PersistValues();
}

void PersistLoggerConfiguration::readGlobals(const std::string& name, Globals& globals) {
    const PersistTree own(name);
    m_branch = std::make_unique<PersistTree>(own, "Logger");

    const PersistValues node = readNode(PersistTree("Logger"));
    takeLevel(node, globals.fileVerbosity);
    if (node.isValue("filesize")) {
        globals.fileSize = static_cast<std::uint64_t>(
            std::clamp(node.getInt("filesize"), kMinimumFileSize, kMaximumFileSize));
    }
    if (node.isValue("directory")) {
        globals.directory = node.getString("directory");
        // Always a backslash, slash paths too: "/var/log" becomes "/var/log\".
        if (!globals.directory.empty() && globals.directory.back() != '\\') {
            globals.directory += '\\';
        }
    }
}

void PersistLoggerConfiguration::resolveModule(Logger& logger, const std::string& module,
                                               std::int32_t& level, Logger::OutputLevels& outputs) {
    if (!m_branch) {
        return;
    }
    try {
        const PersistTree outputsKey(*m_branch, "Outputs");
        const PersistTree modulesKey(*m_branch, "Modules");
        const PersistValues modules = readNode(modulesKey);
        takeLevel(modules, level);

        std::string chosen;
        if (modules.isSubKey(module)) {
            chosen = module;
        } else if (modules.isSubKey("default")) {
            chosen = "default";
        }
        PersistValues named;
        if (!chosen.empty()) {
            const PersistTree moduleKey(modulesKey, chosen);
            const PersistValues settings = readNode(moduleKey);
            takeLevel(settings, level);
            if (settings.isSubKey("Outputs")) {
                named = readNode(PersistTree(moduleKey, "Outputs"));
            } else {
                // Every other entry of the module's node names an output.
                named = settings;
                named.erase("verbosity");
                named.erase("verbosity threshold");
                named.erase("default");
            }
        }
        if (modules.isValue(module)) {
            level = loglevel::parseLevel(modules.getString(module), level);
        }

        if (named.empty()) {
            for (const auto& [name, entry] : readNode(outputsKey)) {
                if (Logger::Output* output = logger.getOutput(name)) {
                    outputs.emplace_back(output, level);
                }
            }
        } else {
            std::int32_t greatest = level;
            for (const auto& [name, entry] : named) {
                const std::int32_t own =
                    entry.isLeaf() ? loglevel::parseLevel(entry.value(), level) : level;
                if (Logger::Output* output = logger.getOutput(name)) {
                    outputs.emplace_back(output, own);
                }
                greatest = std::max(greatest, own);
            }
            level = greatest;
        }
    } catch (const PersistException&) {
        // Resolution goes on with what it has.
    }
}

Logger::Output* PersistLoggerConfiguration::makeOutput(Logger& logger, const std::string& name) {
    if (!m_branch) {
        return nullptr;
    }
    try {
        // The first logger to ask fixes the branch for the whole process, so
        // a second logger reads the first one's outputs.
        static const PersistTree outputsKey(*m_branch, "Outputs");
        const PersistValues node = readNode(PersistTree(outputsKey, name));
        const std::string fileName = node.getString("filename");
        const bool decorated = node.getBool("decorated filename", false);
        const std::int32_t fallbackMode = decorated ? FileOutput::Decorate : FileOutput::New;
        const std::int32_t mode = modeNumber(node.getString("Mode", ""), fallbackMode);

        if (name == "stderr" || fileName == "stderr") {
            return Logger::stderrOutput();
        }
        if (name == "stdout" || fileName == "stdout") {
            return Logger::stdoutOutput();
        }
        if (name == "debug" || fileName == "debug") {
            return Logger::debugOutput(node.getInt("line type", 0));
        }
        // An output on the default log file replaces it from now on.
        if (mode != FileOutput::Decorate && fileName == logger.logFileName()) {
            logger.clearLogFileName();
        }
        const std::int32_t lineType = node.getInt("line type", 0);
        const std::int32_t maxSize = node.getInt("max size", kDefaultOutputSize);
        return Logger::registerFileOutput(
            fileName, mode, static_cast<std::uint64_t>(std::max(maxSize, 0)), lineType);
    } catch (const PersistException&) {
        return nullptr;
    }
}

}  // namespace qn::sys
