#include "tools/qnlog/LogFollower.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qn::tools::qnlog {

LogFollower::LogFollower(std::string path) : m_path(std::move(path)) {}

LogFollower::~LogFollower() {
    if (m_fd >= 0)
        ::close(m_fd);
}

bool LogFollower::open() {
    const int fd = ::open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat st;
    if (::fstat(fd, &st) != 0) {
        ::close(fd);
        return false;
    }
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = fd;
    m_dev = st.st_dev;
    m_ino = st.st_ino;
    m_position = 0;
    m_partial.clear();
    return true;
}

bool LogFollower::drain(const LineHandler& onLine) {
    bool any = false;
    char buffer[65536];
    for (;;) {
        const ssize_t n = ::read(m_fd, buffer, sizeof buffer);
        if (n <= 0)
            break;
        any = true;
        m_position += n;
        std::string_view chunk(buffer, static_cast<std::size_t>(n));
        for (std::size_t newline; (newline = chunk.find('\n')) != std::string_view::npos;) {
            m_partial.append(chunk.substr(0, newline));
            onLine(m_partial);
            m_partial.clear();
            chunk.remove_prefix(newline + 1);
        }
        m_partial.append(chunk);
    }
    return any;
}

bool LogFollower::rotated() const {
    struct stat st;
    // A missing name is a rotation still under way: keep the old file.
    if (::stat(m_path.c_str(), &st) != 0)
        return false;
    return st.st_dev != m_dev || st.st_ino != m_ino || st.st_size < m_position;
}

bool LogFollower::poll(const LineHandler& onLine, const FileHandler& onNewFile) {
    if (m_fd < 0 && !open())
        return false;
    bool any = drain(onLine);
    if (rotated()) {
        // What the old file still held was read above; a line cut off by the
        // rotation is lost with it.
        drain(onLine);
        if (open()) {
            onNewFile();
            drain(onLine);
            any = true;
        }
    }
    return any;
}

}  // namespace qn::tools::qnlog
