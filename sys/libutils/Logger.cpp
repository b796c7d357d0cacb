#include "sys/libutils/Logger.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <map>
#include <mutex>

#include "sys/libutils/Clock.h"
#include "sys/libutils/FileRemovedOrRenamedChecker.h"
#include "sys/libutils/Files.h"
#include "sys/libutils/LogOutputs.h"
#include "sys/libutils/LogSeam.h"
#include "sys/libutils/LoggerConfiguration.h"
#include "sys/libutils/Mutex.h"
#include "sys/libutils/PersistLoggerConfiguration.h"

namespace qn::sys {

using logoutput::FileOutput;
using logoutput::OutputImpl;

namespace {

// Built at static initialisation, in this order, so that both outlive every
// logger object and singleton output, which are made later and go first.
std::vector<std::unique_ptr<FileOutput>>& registeredFileOutputs() {
    static std::vector<std::unique_ptr<FileOutput>> outputs;
    return outputs;
}

Mutex& globalLock() {
    static Mutex lock;
    return lock;
}

[[maybe_unused]] const bool g_loggerStaticsBuilt = (registeredFileOutputs(), globalLock(), true);

// The class-wide pointer to the current logger.
Logger* g_current = nullptr;

std::unique_ptr<Logger>& heldLogger() {
    static std::unique_ptr<Logger> held;
    return held;
}

// The thread column is kept but always empty here.
const char* threadName() {
    return "";
}

const char* baseName(const char* file) {
    if (file == nullptr)
        return nullptr;
    const char* cut = nullptr;
    for (const char* p = file; *p != '\0'; ++p)
        if (*p == '\\')
            cut = p;
    if (cut == nullptr)
        for (const char* p = file; *p != '\0'; ++p)
            if (*p == '/')
                cut = p;
    return cut != nullptr ? cut + 1 : file;
}

std::string executableBaseName() {
    char path[4096];
    const ssize_t n = ::readlink("/proc/self/exe", path, sizeof path - 1);
    if (n <= 0)
        return "unknown";
    path[n] = '\0';
    return baseName(path);
}

// The log cannot tell that it is missing: stderr does, in one line. `error` is an errno
// value, 0 when the reason is not known.
void tellNoLogFile(const std::string& name, const std::string& folder, const std::string& what,
                   int error) {
    std::cerr << name << ": no log file in " << folder << ": " << what << " ("
              << (error != 0 ? std::strerror(error) : "reason unknown") << ")" << std::endl;
}

std::string startedAt(const char* what) {
    std::ostringstream text;
    text << buildBanner() << what;
    TimeToStream(text, CurrentTime());
    return text.str();
}

// The classes below the logger (threads, the error handler) reach it through
// the log seam; these route their lines to the current logger's modules.
bool seamIsEnabled(const logseam::LogSource& source, int level) {
    std::lock_guard<Mutex> guard(globalLock());
    return g_current != nullptr && g_current->getModule(source.module)->verbosity() >= level;
}

void seamWrite(const logseam::LogSource& source, int level, const char* file, int line,
               const std::string& message) {
    std::lock_guard<Mutex> guard(globalLock());
    if (g_current != nullptr)
        g_current->getModule(source.module)->write(level, file, line, source.instance, message);
}

// The error handler's module, made with the logger so that a signal handler
// finds it without the lock and without building anything.
std::atomic<Logger::Module*> g_signalModule{nullptr};

void seamWriteFromSignal(const logseam::LogSource& source, int level, const char* file, int line,
                         const char* message) {
    Logger::Module* module = g_signalModule.load();
    if (module != nullptr && module->name() == source.module)
        module->writeFromSignal(level, file, line, source.instance, message);
}

}  // namespace

class Logger::Module::FanOut : public logoutput::MultiOutput {};

struct Logger::Impl {
    Logger* owner;
    std::string name;
    std::unique_ptr<LoggerConfiguration> configuration;
    std::int32_t defaultVerbosity;
    bool useStderr;
    std::unique_ptr<Helper> helper;
    std::string logFileName;
    std::string directory;
    std::int32_t fileVerbosity;
    std::uint64_t fileSize;
    bool timerRunning = false;
    std::int64_t timerStart = 0;
    std::int64_t timerAccumulated = 0;
    // Stderr has been told that there is no log file: once is enough.
    bool toldNoLogFile = false;
    // Outputs before modules: modules point at them and go first.
    std::unique_ptr<FileOutput> defaultFile;
    std::unique_ptr<logoutput::HelperOStream<char, std::char_traits<char>>> helperStream;
    std::unique_ptr<OutputImpl> helperOutput;
    std::map<std::string, Output*> outputs;
    std::map<std::string, std::unique_ptr<Module>> modules;

    Output* defaultFileOutput() {
        if (!defaultFile) {
            defaultFile =
                std::make_unique<FileOutput>(logFileName, FileOutput::Append, fileSize, 1);
            if (const int error = defaultFile->openError(); error != 0 && !toldNoLogFile) {
                tellNoLogFile(name, directory, "cannot open " + defaultFile->currentPath(), error);
                toldNoLogFile = true;
            }
        }
        return defaultFile.get();
    }

    Output* helperLineOutput() {
        if (!helperOutput) {
            helperStream = std::make_unique<logoutput::HelperOStream<char, std::char_traits<char>>>(
                helper.get());
            helperOutput = std::make_unique<OutputImpl>(helperStream.get(), 1);
        }
        return helperOutput.get();
    }

    void resolveModule(const std::string& module, std::int32_t& level, OutputLevels& outs) {
        level = defaultVerbosity;
        outs.clear();
        configuration->resolveModule(*owner, module, level, outs);
        if (useStderr)
            outs.emplace_back(Logger::stderrOutput(), level);
        if (!logFileName.empty()) {
            if (level < fileVerbosity)
                level = fileVerbosity;
            outs.emplace_back(defaultFileOutput(), fileVerbosity);
        }
        if (helper)
            outs.emplace_back(helperLineOutput(), level);
    }
};

bool Logger::LogOnConditionChanger::changed(bool value) {
    if (value == m_state)
        return false;
    m_state = value;
    return true;
}

Logger::Logger(const std::string& name, std::int32_t verbosity, bool useStderr, bool withLogFile,
               std::unique_ptr<Helper> helper, std::unique_ptr<LoggerConfiguration> configuration)
    : m_impl(new Impl{}) {
    std::lock_guard<Mutex> guard(globalLock());
    Impl& impl = *m_impl;
    impl.owner = this;
    impl.name = name;
    impl.configuration =
        configuration ? std::move(configuration) : std::make_unique<PersistLoggerConfiguration>();
    impl.defaultVerbosity = verbosity;
    impl.useStderr = useStderr;
    impl.helper = std::move(helper);

    LoggerConfiguration::Globals globals;
    globals.fileVerbosity = verbosity;
    globals.fileSize = 102400;
    impl.configuration->readGlobals(name, globals);
    impl.fileVerbosity = globals.fileVerbosity;
    impl.fileSize = globals.fileSize;
    impl.directory = globals.directory;
    if (impl.directory.empty() && withLogFile) {
        // The default folder is the user's own and may not exist yet; a configured one is
        // the administrator's to make.
        impl.directory = dataDirectory();
        if (!makePrivateDirectory(impl.directory)) {
            tellNoLogFile(name, impl.directory, "cannot make the folder", errno);
            impl.toldNoLogFile = true;
        }
    }
    if (!impl.directory.empty()) {
        const char last = impl.directory.back();
        if (last != '\\' && last != '/')
            impl.directory += '\\';
        impl.logFileName = impl.directory + name + ".log";
    }

    impl.timerStart = CurrentMicroseconds();
    impl.timerRunning = true;
    g_current = this;
    g_signalModule = getModule(logseam::kSignalModule);
    logseam::setSink({seamIsEnabled, seamWrite, seamWriteFromSignal});
    if (withLogFile) {
        Logged banner(*this, name, std::string());
        QN_LOG(banner, ALWAYS) << startedAt("Started at ");
    }
}

Logger::~Logger() {
    std::lock_guard<Mutex> guard(globalLock());
    if (g_current == this)
        g_current = nullptr;
    if (g_signalModule.load() != nullptr && g_signalModule.load()->logger() == this)
        g_signalModule = nullptr;
    delete m_impl;
}

Logger* Logger::create(const std::string& name, std::int32_t verbosity, bool useStderr,
                       bool withLogFile, std::unique_ptr<Helper>& helper) {
    std::lock_guard<Mutex> guard(globalLock());
    if (g_current == nullptr) {
        std::unique_ptr<Logger>& held = heldLogger();
        if (held)
            g_current = held.get();
        else
            held = std::make_unique<Logger>(name, verbosity, useStderr, withLogFile,
                                            std::move(helper));
    }
    return g_current;
}

Logger* Logger::create(const std::string& name, std::int32_t verbosity, bool useStderr,
                       bool withLogFile) {
    std::unique_ptr<Helper> none;
    return create(name, verbosity, useStderr, withLogFile, none);
}

Logger* Logger::instance() {
    std::lock_guard<Mutex> guard(globalLock());
    if (g_current != nullptr)
        return g_current;
    return create(executableBaseName(), INFO, false, true);
}

Logger::Module* Logger::getModule(const std::string& name) {
    std::lock_guard<Mutex> guard(globalLock());
    auto found = m_impl->modules.find(name);
    if (found != m_impl->modules.end())
        return found->second.get();
    auto module = std::make_unique<Module>(this, name);
    std::int32_t level;
    OutputLevels outs;
    m_impl->resolveModule(name, level, outs);
    module->reconfigure(level, std::move(outs));
    return m_impl->modules.emplace(name, std::move(module)).first->second.get();
}

void Logger::setVerbosity(std::int32_t level, bool useStderr) {
    std::lock_guard<Mutex> guard(globalLock());
    m_impl->defaultVerbosity = level;
    m_impl->useStderr = useStderr;
    if (m_impl->fileVerbosity < level)
        m_impl->fileVerbosity = level;
    for (auto& [name, module] : m_impl->modules) {
        std::int32_t resolved;
        OutputLevels outs;
        m_impl->resolveModule(name, resolved, outs);
        module->reconfigure(resolved, std::move(outs));
    }
}

std::int64_t Logger::elapsedMilliseconds() const {
    std::int64_t micros = m_impl->timerAccumulated;
    if (m_impl->timerRunning)
        micros += CurrentMicroseconds() - m_impl->timerStart;
    return micros * 1000 / 1000000;
}

std::string Logger::name() const {
    return m_impl->name;
}
std::string Logger::directory() const {
    return m_impl->directory;
}

std::string Logger::logFileName() const {
    std::lock_guard<Mutex> guard(globalLock());
    return m_impl->logFileName;
}

void Logger::clearLogFileName() {
    std::lock_guard<Mutex> guard(globalLock());
    m_impl->logFileName.clear();
}

bool Logger::hasOutput(const std::string& name) const {
    std::lock_guard<Mutex> guard(globalLock());
    return m_impl->outputs.count(name) != 0;
}

void Logger::addOutput(const std::string& name, Output* output) {
    std::lock_guard<Mutex> guard(globalLock());
    m_impl->outputs.emplace(name, output);
}

Logger::Output* Logger::getOutput(const std::string& name) {
    std::lock_guard<Mutex> guard(globalLock());
    auto found = m_impl->outputs.find(name);
    if (found != m_impl->outputs.end())
        return found->second;
    Output* output = m_impl->configuration->makeOutput(*this, name);
    // A failure is remembered as null and not tried again.
    m_impl->outputs.emplace(name, output);
    return output;
}

Logger::Output* Logger::stderrOutput() {
    std::lock_guard<Mutex> guard(globalLock());
    static OutputImpl output(&std::cerr, 0, STDERR_FILENO);
    return &output;
}

Logger::Output* Logger::stdoutOutput() {
    std::lock_guard<Mutex> guard(globalLock());
    static OutputImpl output(&std::cout, 0, STDOUT_FILENO);
    return &output;
}

Logger::Output* Logger::debugOutput(std::int32_t lineType) {
    std::lock_guard<Mutex> guard(globalLock());
    static logoutput::DebugOStream<char, std::char_traits<char>> stream;
    // The first caller's line type stays.
    static OutputImpl output(&stream, lineType);
    return &output;
}

Logger::Output* Logger::registerFileOutput(const std::string& fileName, std::int32_t mode,
                                           std::uint64_t maxSize, std::int32_t lineType) {
    std::lock_guard<Mutex> guard(globalLock());
    auto& list = registeredFileOutputs();
    list.push_back(std::make_unique<FileOutput>(fileName, mode, maxSize, lineType));
    return list.back().get();
}

void Logger::lock() {
    globalLock().lock();
}
void Logger::unlock() {
    globalLock().unlock();
}

// --- Module ---

Logger::Module::Module(Logger* logger, const std::string& name)
    : m_logger(logger), m_name(name), m_verbosity(INFO) {}

Logger::Module::~Module() = default;

void Logger::Module::reconfigure(std::int32_t level, OutputLevels outputs) {
    std::lock_guard<Mutex> guard(globalLock());
    m_verbosity.store(level, std::memory_order_relaxed);
    m_outputs = std::move(outputs);
    for (auto& fanOut : m_byLevel)
        fanOut.reset();
}

void Logger::Module::write(std::int32_t level, const char* file, std::int32_t line,
                           const std::string& instance, const std::string& message) {
    // A level outside the table has no name, so its line could not be composed.
    if (level < 0 || level >= loglevel::COUNT)
        return;
    std::lock_guard<Mutex> guard(globalLock());
    std::unique_ptr<FanOut>& fanOut = m_byLevel[static_cast<std::size_t>(level)];
    if (!fanOut) {
        fanOut = std::make_unique<FanOut>();
        for (const auto& [output, accepted] : m_outputs)
            if (accepted >= level)
                fanOut->add(output);
    }
    const std::int64_t elapsed = m_logger->elapsedMilliseconds();
    fanOut->write(elapsed, level, baseName(file), line, m_name, instance, threadName(), message);
}

void Logger::Module::writeFromSignal(std::int32_t level, const char* file, std::int32_t line,
                                     const std::string& instance, const char* message) {
    if (level < 0 || level >= loglevel::COUNT || verbosity() < level)
        return;
    const std::int64_t elapsed = m_logger->elapsedMilliseconds();
    for (const auto& [output, accepted] : m_outputs)
        if (accepted >= level)
            output->writeFromSignal(elapsed, level, baseName(file), line, m_name, instance,
                                    message);
}

// --- Logged ---

void Logger::Logged::attach(Logger& logger, const std::string& module,
                            const std::string& instance) {
    m_module = logger.getModule(module.empty() ? getModule() : module);
    if (!module.empty())
        setModule(module);
    if (!instance.empty())
        setInstance(instance);
}

Logger::Logged::Logged() {
    m_module = Logger::instance()->getModule(getModule());
    if (getModule().empty())
        QN_LOG(*this, WARN) << "Anonymous Logged Object Created";
}

Logger::Logged::Logged(Logger& logger, const std::string& module, const std::string& instance) {
    attach(logger, module, instance);
}

Logger::Logged::Logged(const std::string& module, const std::string& instance,
                       const std::string& logName, std::uint64_t maxSize) {
    Logger& logger = *Logger::instance();
    attach(logger, module, instance);
    if (!logName.empty())
        giveOwnLogFile(logger, logName, maxSize);
}

void Logger::Logged::giveOwnLogFile(Logger& logger, const std::string& logName,
                                    std::uint64_t maxSize) {
    std::lock_guard<Mutex> guard(globalLock());
    const std::string path = logger.directory() + logName + ".log";
    const std::string& moduleName = m_module->name();
    if (logger.hasOutput(moduleName)) {
        QN_LOG(*this, DEBUG) << "Using existing logging output(s) for " << moduleName;
        return;
    }
    QN_LOG(*this, DEBUG) << "Creating logging output for " << moduleName << " to " << path;

    OutputLevels outs;
    Output* last = registerFileOutput(path, FileOutput::New, maxSize, 1);
    outs.emplace_back(last, INFO);
    // A file output of the logger in another mode writes the same file too,
    // each through its own stream.
    const std::string loggerName = logger.name();
    for (const auto& candidate : registeredFileOutputs()) {
        if (candidate->fileName().find(loggerName) != std::string::npos &&
            candidate->mode() != FileOutput::New) {
            const std::uint64_t limit = std::max(candidate->maxSize(), maxSize);
            last = registerFileOutput(path, candidate->mode(), limit, 1);
            outs.emplace_back(last, INFO);
            break;
        }
    }
    m_module->reconfigure(INFO, std::move(outs));
    logger.addOutput(moduleName, last);
    QN_LOG(*this, ALWAYS) << startedAt("Started at ");
}

void Logger::Logged::log(std::int32_t level, const char* file, std::int32_t line,
                         const std::string& message) const {
    m_module->write(level, file, line, getInstance(), message);
}

}  // namespace qn::sys
