#include "sys/libutils/ErrorHandler.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <mutex>

#include "sys/libutils/Conversions.h"
#include "sys/libutils/Exception.h"

namespace qn::sys {

namespace {

std::atomic<bool> g_fatal{false};
void (*g_formerAbortHandler)(int) = SIG_DFL;
// Set once at installation, before the handler is, so the handler reads it
// without the function static's guard.
const logseam::LogSource* g_handlerSource = nullptr;

const logseam::LogSource* handlerSource() {
    static const logseam::LogSource source{logseam::kSignalModule, ""};
    return &source;
}

void logFatal(const logseam::LogSource* source, const char* text) {
    QN_SEAM_LOG(*source, logseam::kFatal, text);
}

// Handlers that end in abort do so even if the report throws.
[[noreturn]] void fatalThenAbort(const char* text) {
    if (enterFatalHandling()) {
        try {
            const logseam::LogSource* source = handlerSource();
            logFatal(source, text);
            dumpOSCore(source);
        } catch (...) {
        }
    }
    std::abort();
}

void terminateHandler() {
    fatalThenAbort("Terminating");
}

// The handler for an exception that broke a function's throw() list; C++17
// removed both, so nothing can install or call it. Kept for the record.
[[maybe_unused]] void unexpectedHandler() {
    fatalThenAbort("Unexpected exception thrown");
}

// Runs in signal context, maybe while the aborting thread holds the logger's
// lock or is inside malloc: both lines go through the signal-safe write, into
// buffers the logger made when it started.
void abortHandler(int) {
    if (!enterFatalHandling()) {
        return;
    }
    const int savedErrno = errno;  // the interrupted code may still read it
    const logseam::LogSource& source = *g_handlerSource;
    logseam::writeFromSignal(source, logseam::kFatal, __FILE__, __LINE__, "Aborting");
    logseam::writeFromSignal(source, logseam::kError, __FILE__, __LINE__,
                             "dumpOSCore called - not yet implemented");
    errno = savedErrno;
}

}  // namespace

void installErrorHandler() {
    static std::once_flag once;
    std::call_once(once, [] {
        g_handlerSource = handlerSource();
        std::set_terminate(&terminateHandler);
        g_formerAbortHandler = std::signal(SIGABRT, &abortHandler);
    });
}

void reportTopLevelException(const char* place, const logseam::LogSource* logged) {
    if (enterFatalHandling()) {
        try {
            const logseam::LogSource* source = logged != nullptr ? logged : handlerSource();
            if (logseam::isEnabled(*source, logseam::kFatal)) {
                QN_SEAM_LOG(
                    *source, logseam::kFatal,
                    "Top level exception at " << place << ": " << describeCurrentException());
            }
        } catch (...) {
        }
    }
    std::abort();
}

std::string describeCurrentException() {
    try {
        throw;
    } catch (const Exception& e) {
        return ToNarrowString(e.getMessage());
    } catch (const std::exception& e) {
        return e.what();
    } catch (const char* text) {
        return text;
    } catch (const SystemException& e) {
        return e.what();
    } catch (...) {
        return "Unknown exception type";
    }
}

void dumpOSCore(const logseam::LogSource* logged) {
    const logseam::LogSource* source = logged != nullptr ? logged : handlerSource();
    QN_SEAM_LOG(*source, logseam::kError, "dumpOSCore called - not yet implemented");
}

bool enterFatalHandling() {
    return !g_fatal.exchange(true);
}

}  // namespace qn::sys
