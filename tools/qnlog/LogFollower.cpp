#include "tools/qnlog/LogFollower.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace qn::tools::qnlog {

LogFollower::LogFollower(std::string path) : m_path(std::move(path)) {
    m_name = std::filesystem::path(m_path).filename().string();
}

bool LogFollower::openCurrent(sys::FileDescriptor& fd, std::pair<dev_t, ino_t>& id) const {
    fd.reset(::open(m_path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat st {};
    if (!fd.valid() || ::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode)) {
        return false;
    }
    id = {st.st_dev, st.st_ino};
    return true;
}

bool LogFollower::open() {
    // The watch comes first, so that no file made after the open goes unseen.
    std::string directory = std::filesystem::path(m_path).parent_path().string();
    if (directory.empty()) {
        directory = ".";
    }
    m_inotify.reset(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (!m_inotify.valid() ||
        ::inotify_add_watch(m_inotify.get(), directory.c_str(),
                            IN_CREATE | IN_MOVED_TO | IN_MODIFY | IN_CLOSE_WRITE) < 0) {
        return false;
    }
    return openCurrent(m_file, m_current);
}

void LogFollower::wait(int timeoutMs) const {
    pollfd watched{m_inotify.get(), POLLIN, 0};
    ::poll(&watched, 1, timeoutMs);
}

bool LogFollower::drain(const LineHandler& onLine) {
    bool any = false;
    char buffer[65536];
    for (;;) {
        const ssize_t n = ::read(m_file.get(), buffer, sizeof buffer);
        if (n <= 0) {
            break;
        }
        any = true;
        std::string_view chunk(buffer, static_cast<std::size_t>(n));
        for (;;) {
            const std::size_t newline = chunk.find('\n');
            const std::string_view piece = chunk.substr(0, newline);
            // A line past the bound is only measured, never kept.
            if (!m_overlong && m_partial.size() + piece.size() > kMaxLine) {
                m_overlong = true;
                m_partial.clear();
                m_partial.shrink_to_fit();
            }
            if (!m_overlong) {
                m_partial.append(piece);
            }
            if (newline == std::string_view::npos) {
                break;
            }
            onLine(m_partial, !m_overlong);
            m_partial.clear();
            m_overlong = false;
            chunk.remove_prefix(newline + 1);
        }
    }
    return any;
}

bool LogFollower::poll(const LineHandler& onLine, const FileHandler& onNewFile) {
    bool any = drain(onLine);
    alignas(inotify_event) char events[16384];
    for (;;) {
        const ssize_t n = ::read(m_inotify.get(), events, sizeof events);
        if (n <= 0) {
            break;
        }
        for (ssize_t at = 0; at < n;) {
            const auto* event = reinterpret_cast<const inotify_event*>(events + at);
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            // After an overflow, creations may have gone unannounced: look at
            // the name now, and count the unknown as one missed file.
            const bool overflow = (event->mask & IN_Q_OVERFLOW) != 0;
            if (overflow) {
                ++m_missed;
                any = true;
            } else if ((event->mask & (IN_CREATE | IN_MOVED_TO)) == 0 || event->len == 0 ||
                       m_name != event->name) {
                continue;
            }
            // A new file under the name: the old one was complete before it
            // was made, so it is read to its end first.
            any = drain(onLine) || any;
            sys::FileDescriptor next;
            std::pair<dev_t, ino_t> id;
            if (!openCurrent(next, id) || id == m_current) {
                // The file this event announced is gone: either nothing is
                // under the name, or a later file already was opened.
                m_missed += overflow ? 0 : 1;
                any = true;
                continue;
            }
            m_file = std::move(next);
            m_current = id;
            m_partial.clear();
            m_overlong = false;
            onNewFile();
            any = drain(onLine) || true;
        }
    }
    return drain(onLine) || any;
}

}  // namespace qn::tools::qnlog
