#pragma once

#include <atomic>
#include <istream>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "sys/libutils/LogReader.h"
#include "tools/qnlog/LineFilter.h"

namespace qn::tools::qnlog {

// Exit codes of qnlog.
enum ExitCode { kAllRead = 0, kSomeUnreadable = 1, kUsage = 2 };

// The reader's command: decrypts armoured logs from files or standard input
// and prints the plain lines that pass the filters.
class QnlogApp {
  public:
    QnlogApp(std::istream& in, std::ostream& out, std::ostream& err);

    int run(const std::vector<std::string>& args);
    // Ends a -f run at its next poll (from a signal handler too).
    void stop() { m_stop = true; }

    // One input line, numbered within its source; for the tests and the fuzzer.
    void readLine(std::string_view line, const std::string& source, std::size_t number);
    // A line past the reader's bound, of which nothing was kept.
    void overlongLine(const std::string& source, std::size_t number);
    void startSource() { m_reader.reset(); }
    bool sawUnreadable() const { return m_unreadable; }
    std::size_t damagedLines() const { return m_damaged; }
    LineFilter& filter() { return m_filter; }

    static void usage(std::ostream& out);

  private:
    int readStream(std::istream& in, const std::string& source);
    int follow(const std::string& path);
    void reportDamage();

    std::istream& m_in;
    std::ostream& m_out;
    std::ostream& m_err;
    sys::LogReader m_reader;
    LineFilter m_filter;
    std::string m_text;
    bool m_reportRestarts = false;
    bool m_unreadable = false;
    std::size_t m_damaged = 0;
    std::atomic<bool> m_stop{false};
};

}  // namespace qn::tools::qnlog
