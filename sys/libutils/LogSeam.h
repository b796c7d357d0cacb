#pragma once

#include <sstream>
#include <string>

namespace qn::sys::logseam {

// The few classes below the logger (threads, the error handler) write their
// lines through this seam, so that they need not depend on the logger. The
// logger installs a sink when it starts; until then nothing is enabled and
// nothing is written.

// Levels as the logger numbers them.
constexpr int kFatal = 1;
constexpr int kError = 2;

// Who writes a line: a module name and an instance name.
struct LogSource {
    std::string module;
    std::string instance;
};

struct Sink {
    bool (*isEnabled)(const LogSource& source, int level);
    void (*write)(const LogSource& source, int level, const char* file, int line,
                  const std::string& message);
    // From a signal handler: allocates nothing, takes no lock, and writes with
    // write(2) only; it may be null.
    void (*writeFromSignal)(const LogSource& source, int level, const char* file, int line,
                            const char* message) = nullptr;
};

// The module that writes from a signal handler (the error handler's); a logger
// makes it, with its outputs and their buffers, when it starts.
inline constexpr const char* kSignalModule = "ErrorHandler";

// Installs a sink and returns the former one; a sink with null members writes nothing.
Sink setSink(Sink sink);

bool isEnabled(const LogSource& source, int level);
void write(const LogSource& source, int level, const char* file, int line,
           const std::string& message);
// Async-signal-safe; the sink checks the level without locking.
void writeFromSignal(const LogSource& source, int level, const char* file, int line,
                     const char* message);

}  // namespace qn::sys::logseam

// Streams its arguments only when the level is enabled, like a log statement.
#define QN_SEAM_LOG(source, level, streamed)                                                    \
    do {                                                                                        \
        if (::qn::sys::logseam::isEnabled((source), (level))) {                                 \
            std::ostringstream qnSeamText;                                                      \
            qnSeamText << streamed;                                                             \
            ::qn::sys::logseam::write((source), (level), __FILE__, __LINE__, qnSeamText.str()); \
        }                                                                                       \
    } while (false)
