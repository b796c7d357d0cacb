#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <regex>
#include <sstream>
#include <thread>

#include "sys/libutils/LogOutputs.h"
#include "tests/sys/libutils/LogTestSupport.h"
#include "tests/tools/qnlog/QnlogRun.h"
#include "tools/qnlog/LogFollower.h"
#include "tools/qnlog/QnlogApp.h"

namespace qn::tools::qnlog {
namespace {

using sys::logoutput::FileOutput;
using testing::ScratchDir;

// The armoured lines of a log with count lines "message N", N from 1.
std::vector<std::string> armouredLog(const ScratchDir& dir, const std::string& name, int count) {
    const std::string path = dir / name;
    {
        FileOutput out(path, FileOutput::Append, 0, 1);
        for (int n = 1; n <= count; ++n)
            out.write(n, 4, "d.cpp", n, "M", "i", "", "message " + std::to_string(n) + " of a log");
    }
    return testing::rawLines(path);
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& line : lines)
        text += line + "\n";
    return text;
}

// The numbers N of the "message N" lines printed, in order.
std::vector<int> messages(const std::string& out) {
    std::vector<int> numbers;
    const std::regex pattern("\tmessage ([0-9]+) of a log\n");
    for (std::sregex_iterator it(out.begin(), out.end(), pattern), end; it != end; ++it)
        numbers.push_back(std::stoi((*it)[1]));
    return numbers;
}

TEST(QnlogDamage, AFlippedCharacterDamagesOnlyItsLine) {
    ScratchDir dir;
    auto lines = armouredLog(dir, "a.log", 5);
    // A character in the middle of line 3 (a Base64 letter turned into another).
    std::string& hit = lines[2];
    hit[hit.size() / 2] = hit[hit.size() / 2] == 'A' ? 'B' : 'A';
    const Outcome run = qnlog({}, joined(lines));
    EXPECT_EQ(run.status, kSomeUnreadable);
    EXPECT_EQ(run.err,
              "qnlog: (stdin):3: damaged: it does not decrypt to a log line\n"
              "qnlog: 1 damaged line\n");
    EXPECT_EQ(messages(run.out), (std::vector<int>{1, 2, 4, 5}));
    EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 4) << "no garbage printed";
}

TEST(QnlogDamage, AForeignArmouredLineLosesNoGoodLine) {
    ScratchDir dir;
    auto lines = armouredLog(dir, "a.log", 4);
    const auto foreign = armouredLog(dir, "b.log", 3);
    lines.insert(lines.begin() + 2, foreign[1]);  // from the middle of another chain
    const Outcome run = qnlog({}, joined(lines));
    EXPECT_EQ(run.status, kSomeUnreadable);
    EXPECT_EQ(run.err,
              "qnlog: (stdin):3: damaged: it does not decrypt to a log line\n"
              "qnlog: 1 damaged line\n");
    EXPECT_EQ(messages(run.out), (std::vector<int>{1, 2, 3, 4}));
}

TEST(QnlogDamage, AnOverlongLineIsSkippedWithinTheBound) {
    ScratchDir dir;
    auto lines = armouredLog(dir, "a.log", 3);
    lines.insert(lines.begin() + 1, std::string(LogFollower::kMaxLine + 10, 'A'));
    const Outcome run = qnlog({}, joined(lines));
    EXPECT_EQ(run.status, kSomeUnreadable);
    EXPECT_EQ(run.err,
              "qnlog: (stdin):2: damaged: longer than 1048576 bytes, skipped\n"
              "qnlog: 1 damaged line\n");
    // The skipped line broke the chain of nothing: it was never armoured text.
    EXPECT_EQ(messages(run.out), (std::vector<int>{1, 2, 3}));
}

TEST(QnlogDamage, ADirectoryIsRefusedNotReadAsEmpty) {
    ScratchDir dir;
    for (const auto& args :
         {std::vector<std::string>{dir.path()}, std::vector<std::string>{"-f", dir.path()}}) {
        const Outcome run = qnlog(args);
        EXPECT_EQ(run.status, kUsage);
        EXPECT_EQ(run.err, "qnlog: " + dir.path() + " is a directory; name the log files in it\n");
    }
}

// An output stream that one thread writes while another reads it.
class SharedText : public std::stringbuf {
  public:
    std::string text() {
        std::lock_guard<std::recursive_mutex> lock(m_mutex);
        return str();
    }

  protected:
    std::streamsize xsputn(const char* s, std::streamsize n) override {
        std::lock_guard<std::recursive_mutex> lock(m_mutex);
        return std::stringbuf::xsputn(s, n);
    }
    int_type overflow(int_type c) override {
        std::lock_guard<std::recursive_mutex> lock(m_mutex);
        return std::stringbuf::overflow(c);
    }

  private:
    // Recursive: the base class's xsputn calls overflow.
    std::recursive_mutex m_mutex;
};

// A burst across many rotations while qnlog -f runs: every line in order, or
// the files it could not open reported and the exit status saying so.
TEST(QnlogFollow, ABurstAcrossRotationsIsPrintedInOrderOrItsGapReported) {
    ScratchDir dir;
    const std::string path = dir / "agent.log";
    constexpr int kLines = 20000;
    // About 90 bytes of armour per line: a rotation every 1,300 lines or so.
    FileOutput log(path, FileOutput::Append, 120000, 1);
    log.write(0, 4, "d.cpp", 0, "M", "i", "", "before the burst");

    std::istringstream none;
    SharedText outText;
    std::ostream out(&outText);
    std::ostringstream err;
    QnlogApp app(none, out, err);
    std::atomic<int> status{-1};
    std::thread follower([&] { status = app.run({"-f", path}); });
    // The follower is watching once the file it opened is read: wait for its
    // first line rather than for a time.
    while (outText.text().find("before the burst") == std::string::npos && status == -1)
        std::this_thread::yield();
    if (status != -1) {
        follower.join();
        FAIL() << "qnlog -f ended early: " << err.str();
    }

    int rotations = 0;
    struct stat first {};
    ASSERT_EQ(::stat(path.c_str(), &first), 0);
    ino_t inode = first.st_ino;
    for (int n = 1; n <= kLines; ++n) {
        log.write(n, 4, "d.cpp", n, "M", "i", "", "message " + std::to_string(n) + " of a log");
        struct stat now {};
        if (::stat(path.c_str(), &now) == 0 && now.st_ino != inode) {
            inode = now.st_ino;
            ++rotations;
        }
    }
    app.stop();
    follower.join();
    EXPECT_GE(rotations, 10);

    const std::vector<int> seen = messages(outText.text());
    ASSERT_FALSE(seen.empty());
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_EQ(std::adjacent_find(seen.begin(), seen.end()), seen.end()) << "a line printed twice";
    const bool whole = seen.size() == static_cast<std::size_t>(kLines) && seen.front() == 1;
    const bool reported =
        err.str().find("missed: gone before they could be opened") != std::string::npos;
    if (whole) {
        EXPECT_EQ(status, kAllRead) << err.str();
        EXPECT_FALSE(reported) << err.str();
    } else {
        EXPECT_TRUE(reported) << "lines are missing and nothing said so: " << seen.size();
        EXPECT_EQ(status, kSomeUnreadable);
    }
    std::cout << "qnlog -f printed " << seen.size() << " of " << kLines << " lines across "
              << rotations << " rotations\n";
}

}  // namespace
}  // namespace qn::tools::qnlog
