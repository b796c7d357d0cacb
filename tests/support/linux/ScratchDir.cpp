#include "tests/support/linux/ScratchDir.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

extern char** environ;

namespace qn::testing::linux_host {

ScratchDir::ScratchDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qn-test-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) {
        throw std::runtime_error("ScratchDir: mkdtemp failed");
    }
    m_path = pattern;
}

ScratchDir::~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string readWholeFile(const std::string& path) {
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

}  // namespace qn::testing::linux_host
