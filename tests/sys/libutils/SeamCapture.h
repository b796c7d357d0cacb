#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "sys/libutils/LogSeam.h"

namespace qn::sys::testing {

// Collects every line written through the log seam while in scope.
class SeamCapture {
  public:
    struct Line {
        std::string module;
        std::string instance;
        int level;
        std::string message;
    };

    SeamCapture() : m_former(logseam::setSink({&enabled, &write})) { current() = this; }
    ~SeamCapture() {
        logseam::setSink(m_former);
        current() = nullptr;
    }

    std::vector<Line> lines() {
        std::lock_guard<std::mutex> guard(m_mutex);
        return m_lines;
    }

    bool contains(const std::string& message) {
        for (const Line& line : lines()) {
            if (line.message == message) {
                return true;
            }
        }
        return false;
    }

  private:
    static SeamCapture*& current() {
        static SeamCapture* capture = nullptr;
        return capture;
    }
    static bool enabled(const logseam::LogSource&, int) { return true; }
    static void write(const logseam::LogSource& source, int level, const char*, int,
                      const std::string& message) {
        if (SeamCapture* capture = current()) {
            std::lock_guard<std::mutex> guard(capture->m_mutex);
            capture->m_lines.push_back({source.module, source.instance, level, message});
        }
    }

    logseam::Sink m_former;
    std::mutex m_mutex;
    std::vector<Line> m_lines;
};

}  // namespace qn::sys::testing
