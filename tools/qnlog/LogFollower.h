#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <string_view>

namespace qn::tools::qnlog {

// Reads a growing log file line by line and goes over to the new file when the
// old one is rotated away (renamed, removed, or cut short). It never waits:
// the caller polls.
class LogFollower {
  public:
    using LineHandler = std::function<void(std::string_view line)>;
    using FileHandler = std::function<void()>;

    explicit LogFollower(std::string path);
    ~LogFollower();
    LogFollower(const LogFollower&) = delete;
    LogFollower& operator=(const LogFollower&) = delete;

    bool open();
    // Hands on every complete line now readable; calls onNewFile before the
    // first line of a file taken over after rotation. True if anything happened.
    bool poll(const LineHandler& onLine, const FileHandler& onNewFile);

  private:
    bool drain(const LineHandler& onLine);
    bool rotated() const;

    std::string m_path;
    int m_fd = -1;
    dev_t m_dev = 0;
    ino_t m_ino = 0;
    off_t m_position = 0;
    std::string m_partial;
};

}  // namespace qn::tools::qnlog
