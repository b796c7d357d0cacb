#pragma once

// Shared by the logger's tests: a scratch directory, a configuration that puts
// the log there, and reading a log back through the project's reader.

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "sys/libutils/DirectoryLoggerConfiguration.h"
#include "sys/libutils/LogReader.h"

namespace qn::testing {

class ScratchDir {
  public:
    ScratchDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "qnlogXXXXXX").string();
        m_path = ::mkdtemp(pattern.data());
    }
    ~ScratchDir() { std::filesystem::remove_all(m_path); }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }
    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

using DirectoryConfiguration = sys::DirectoryLoggerConfiguration;

struct ReadBack {
    std::vector<std::string> lines;     // plain text of every readable line
    std::vector<std::size_t> restarts;  // indexes into lines where a chain began
    std::size_t unreadable = 0;
};

inline ReadBack readArmoured(std::istream& in) {
    ReadBack result;
    sys::LogReader reader;
    std::string line, text;
    while (std::getline(in, line)) {
        if (reader.read(line, text) == sys::LogReader::Result::Plain) {
            if (reader.restarted())
                result.restarts.push_back(result.lines.size());
            result.lines.push_back(text);
        } else {
            ++result.unreadable;
        }
    }
    return result;
}

inline ReadBack readLogFile(const std::string& path) {
    std::ifstream in(path);
    return readArmoured(in);
}

inline std::vector<std::string> rawLines(const std::string& path) {
    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

}  // namespace qn::testing
