#include "sys/libutils/ErrorHandler.h"

#include <atomic>
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

const logseam::LogSource* handlerSource() {
    static const logseam::LogSource source{"ErrorHandler", ""};
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

// The unexpected handler of dynamic exception specifications; the language no
// longer calls one, so it is not installed.
[[maybe_unused]] void unexpectedHandler() {
    fatalThenAbort("Unexpected exception thrown");
}

void abortHandler(int) {
    if (!enterFatalHandling()) {
        return;
    }
    try {
        const logseam::LogSource* source = handlerSource();
        logFatal(source, "Aborting");
        dumpOSCore(source);
    } catch (...) {
    }
}

}  // namespace

void installErrorHandler() {
    static std::once_flag once;
    std::call_once(once, [] {
        handlerSource();
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
