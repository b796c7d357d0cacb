#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "sys/libutils/Identity.h"
#include "sys/libutils/LogLevel.h"

namespace qn::sys {

class LoggerConfiguration;

// The one logging facility of the process. Every class that logs derives from
// Logger::Logged; a statement is written with QN_LOG (below), which tests the
// level before anything else is evaluated.
class Logger {
  public:
    static constexpr std::int32_t ALWAYS = loglevel::ALWAYS;
    static constexpr std::int32_t FATAL = loglevel::FATAL;
    static constexpr std::int32_t ERROR = loglevel::ERROR;
    static constexpr std::int32_t WARN = loglevel::WARN;
    static constexpr std::int32_t INFO = loglevel::INFO;
    static constexpr std::int32_t DEBUG = loglevel::DEBUG;
    static constexpr std::int32_t VERBOSE = loglevel::VERBOSE;

    // Where finished lines go. `file` is a base name; `elapsed` milliseconds.
    class Output {
      public:
        virtual ~Output() = default;
        virtual void write(std::int64_t elapsed, std::int32_t level, const char* file,
                           std::int32_t line, const std::string& module,
                           const std::string& instance, const char* thread,
                           const std::string& message) = 0;
        // The same line from a signal handler: no allocation, no lock, only
        // write(2). Outputs that cannot do that write nothing.
        virtual void writeFromSignal(std::int64_t /*elapsed*/, std::int32_t /*level*/,
                                     const char* /*file*/, std::int32_t /*line*/,
                                     const std::string& /*module*/, const std::string& /*instance*/,
                                     const char* /*message*/) {}
    };

    // A caller-supplied sink that receives each armoured line as one call.
    class Helper {
      public:
        virtual void write(const std::string& text) = 0;
        virtual ~Helper() = default;
    };

    using OutputLevels = std::vector<std::pair<Output*, std::int32_t>>;

    class Module;
    class Logged;

    // Lets a caller log a recurring condition only when it flips.
    class LogOnConditionChanger {
      public:
        explicit LogOnConditionChanger(bool initial = false) : m_state(initial) {}
        virtual ~LogOnConditionChanger() = default;
        virtual bool changed(bool value);

      private:
        bool m_state;
    };

    // Builds a logger and makes it the current one. `configuration` answers
    // what the persistent settings say; null means those of the hive.
    Logger(const std::string& name, std::int32_t verbosity, bool useStderr, bool withLogFile,
           std::unique_ptr<Helper> helper,
           std::unique_ptr<LoggerConfiguration> configuration = nullptr);
    ~Logger();
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    // The current logger, built first if there is none; only then is the
    // helper taken over (the caller's pointer becomes null), otherwise it stays
    // with the caller.
    static Logger* create(const std::string& name, std::int32_t verbosity, bool useStderr,
                          bool withLogFile, std::unique_ptr<Helper>& helper);
    static Logger* create(const std::string& name, std::int32_t verbosity, bool useStderr,
                          bool withLogFile);
    // As create with the executable's base name, INFO, no stderr, a log file.
    static Logger* instance();

    Module* getModule(const std::string& name);
    void setVerbosity(std::int32_t level, bool useStderr);
    std::int64_t elapsedMilliseconds() const;
    std::string name() const;
    std::string directory() const;
    std::string logFileName() const;
    bool hasOutput(const std::string& name) const;
    void addOutput(const std::string& name, Output* output);

    // What the configuration may build outputs from.
    Output* getOutput(const std::string& name);
    static Output* stderrOutput();
    static Output* stdoutOutput();
    static Output* debugOutput(std::int32_t lineType);
    // A file output owned by the registered list until exit.
    static Output* registerFileOutput(const std::string& fileName, std::int32_t mode,
                                      std::uint64_t maxSize, std::int32_t lineType);
    void clearLogFileName();

    // The global lock over building, configuration and all delivery.
    static void lock();
    static void unlock();

    struct Impl;

  private:
    friend class Logged;
    Impl* m_impl;
};

class Logger::Module {
  public:
    Module(Logger* logger, const std::string& name);
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    // Read without a lock: one aligned integer, relaxed.
    std::int32_t verbosity() const { return m_verbosity.load(std::memory_order_relaxed); }
    const std::string& name() const { return m_name; }
    Logger* logger() const { return m_logger; }

    void write(std::int32_t level, const char* file, std::int32_t line, const std::string& instance,
               const std::string& message);
    // From a signal handler: no lock, no allocation; reads the outputs as they
    // stand, which only the interrupted thread could be changing.
    void writeFromSignal(std::int32_t level, const char* file, std::int32_t line,
                         const std::string& instance, const char* message);
    // Stores level and outputs and drops the per-level fan-outs.
    void reconfigure(std::int32_t level, OutputLevels outputs);

  private:
    class FanOut;

    Logger* m_logger;
    std::string m_name;
    std::atomic<std::int32_t> m_verbosity;
    OutputLevels m_outputs;
    std::array<std::unique_ptr<FanOut>, loglevel::COUNT> m_byLevel;
};

class Logger::Logged : public virtual Identity {
  public:
    Logged();
    Logged(Logger& logger, const std::string& module, const std::string& instance);
    Logged(const std::string& module, const std::string& instance, const std::string& logName,
           std::uint64_t maxSize);
    virtual ~Logged() = default;

    bool isEnabled(std::int32_t level) const { return m_module->verbosity() >= level; }
    std::int32_t verbosity() const { return m_module->verbosity(); }
    void log(std::int32_t level, const char* file, std::int32_t line,
             const std::string& message) const;

  private:
    void attach(Logger& logger, const std::string& module, const std::string& instance);
    void giveOwnLogFile(Logger& logger, const std::string& logName, std::uint64_t maxSize);

    Module* m_module = nullptr;
};

// One per statement: collects the text and delivers it when it goes.
class LogStatement {
  public:
    LogStatement(const Logger::Logged& object, std::int32_t level, const char* file,
                 std::int32_t line)
        : m_object(&object), m_level(level), m_file(file), m_line(line) {}
    ~LogStatement() { m_object->log(m_level, m_file, m_line, m_stream.str()); }
    LogStatement(const LogStatement&) = delete;
    LogStatement& operator=(const LogStatement&) = delete;

    std::ostream& stream() { return m_stream; }

  private:
    std::ostringstream m_stream;
    const Logger::Logged* m_object;
    std::int32_t m_level;
    const char* m_file;
    std::int32_t m_line;
};

// Text of the build: version, build number, builder and build time, ending in
// a blank, as the banner lines begin.
const std::string& buildBanner();

}  // namespace qn::sys

// The one form of a log statement: the level test first, then the text, which
// is not evaluated at all when the level is off. A loop rather than an if, so
// that the statement nests under an unbraced if without a dangling else.
#define QN_LOG(object, level)                                                   \
    for (bool qnLogOn_ = (object).isEnabled(level); qnLogOn_; qnLogOn_ = false) \
    ::qn::sys::LogStatement((object), (level), __FILE__, __LINE__).stream()
