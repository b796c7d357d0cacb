#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "sys/libutils/posix/FileDescriptor.h"

namespace qn::tools::qnlog {

// Reads a growing log file line by line and goes over to each new file made
// under its name (a rotation). It watches the directory with inotify and
// opens a new file as soon as it is created, so that a file rotated away
// moments later is still read to its end through the open descriptor. A file
// that was gone before it could be opened is counted as missed.
class LogFollower {
  public:
    // A line without its newline; whole is false for a line longer than
    // kMaxLine, of which only the length is kept.
    using LineHandler = std::function<void(std::string_view line, bool whole)>;
    using FileHandler = std::function<void()>;
    static constexpr std::size_t kMaxLine = 1 << 20;

    explicit LogFollower(std::string path);

    // Opens the file and starts watching; false, with errno, when either fails.
    bool open();
    // Waits up to timeoutMs for the directory to change (0: not at all).
    void wait(int timeoutMs) const;
    // Hands on every complete line now readable, across any rotations seen;
    // calls onNewFile before the first line of each new file. True if
    // anything happened.
    bool poll(const LineHandler& onLine, const FileHandler& onNewFile);
    // Files made under the name that were gone before they could be opened.
    std::size_t missedFiles() const { return m_missed; }

  private:
    bool drain(const LineHandler& onLine);
    // Opens the file now under the name; false when there is none or it is
    // the one already read.
    bool openCurrent(sys::FileDescriptor& fd, std::pair<dev_t, ino_t>& id) const;

    std::string m_path;
    std::string m_name;
    sys::FileDescriptor m_file;
    sys::FileDescriptor m_inotify;
    // The open file cannot be freed, so its inode names it without doubt.
    std::pair<dev_t, ino_t> m_current{};
    std::string m_partial;
    bool m_overlong = false;
    std::size_t m_missed = 0;
};

}  // namespace qn::tools::qnlog
