#include "sys/libutils/LogSeam.h"

#include <atomic>

namespace qn::sys::logseam {

namespace {
// Two independent atomics: a reader may see a new isEnabled with the old
// write for one line while a sink is swapped, which is harmless.
std::atomic<bool (*)(const LogSource&, int)> g_isEnabled{nullptr};
std::atomic<void (*)(const LogSource&, int, const char*, int, const std::string&)> g_write{nullptr};
std::atomic<void (*)(const LogSource&, int, const char*, int, const char*)> g_writeFromSignal{
    nullptr};
}  // namespace

Sink setSink(Sink sink) {
    Sink former{g_isEnabled.exchange(sink.isEnabled), g_write.exchange(sink.write),
                g_writeFromSignal.exchange(sink.writeFromSignal)};
    return former;
}

bool isEnabled(const LogSource& source, int level) {
    auto enabled = g_isEnabled.load();
    return enabled != nullptr && enabled(source, level);
}

void write(const LogSource& source, int level, const char* file, int line,
           const std::string& message) {
    auto sink = g_write.load();
    if (sink != nullptr) {
        sink(source, level, file, line, message);
    }
}

void writeFromSignal(const LogSource& source, int level, const char* file, int line,
                     const char* message) {
    auto sink = g_writeFromSignal.load();
    if (sink != nullptr) {
        sink(source, level, file, line, message);
    }
}

}  // namespace qn::sys::logseam
