#include "tools/qnlog/QnlogApp.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "sys/libutils/LogLevel.h"
#include "tools/qnlog/LogFollower.h"

namespace qn::tools::qnlog {

QnlogApp::QnlogApp(std::istream& in, std::ostream& out, std::ostream& err)
    : m_in(in), m_out(out), m_err(err) {}

void QnlogApp::usage(std::ostream& out) {
    out << "usage: qnlog [options] [FILE...]\n"
           "Decrypts armoured log files (or standard input, also for \"-\") and prints\n"
           "their lines as they were written. A new chain (a new run appending to the\n"
           "file, a rotation) is found and read on.\n"
           "\n"
           "  -f, --follow          keep reading FILE as it grows, also across rotation\n"
           "  -l, --level LEVEL     only lines at LEVEL or more severe (ALWAYS, FATAL,\n"
           "                        ERROR, WARN, INFO, DEBUG, VERBOSE; any case)\n"
           "  -m, --module NAME     only lines of module NAME\n"
           "  -i, --instance NAME   only lines of instance NAME\n"
           "  -r, --restarts        report on standard error where a new chain begins\n"
           "  -h, --help            show this text\n"
           "\n"
           "Lines that are not part of an armoured log are reported on standard error\n"
           "with their line number, and reading goes on.\n"
           "A line that is armoured but does not decrypt to a log line is reported as\n"
           "damaged; the lines around it are still read. With -f, rotated files that\n"
           "were gone before they could be opened are reported as missed.\n"
           "Exit status: 0 every line was read, 1 some lines could not be read or\n"
           "files were missed,\n"
           "2 wrong usage or a file that cannot be opened.\n";
}

void QnlogApp::readLine(std::string_view line, const std::string& source, std::size_t number) {
    switch (m_reader.read(line, m_text)) {
        case sys::LogReader::Result::Plain:
            if (m_reportRestarts && m_reader.restarted())
                m_err << "qnlog: " << source << ":" << number << ": a new chain begins\n";
            if (m_filter.accepts(m_text))
                m_out << m_text << '\n';
            break;
        case sys::LogReader::Result::Empty:
            break;
        case sys::LogReader::Result::NotArmoured:
            m_unreadable = true;
            m_err << "qnlog: " << source << ":" << number << ": not an armoured log line\n";
            break;
        case sys::LogReader::Result::Damaged:
            m_unreadable = true;
            ++m_damaged;
            m_err << "qnlog: " << source << ":" << number
                  << ": damaged: it does not decrypt to a log line\n";
            break;
        case sys::LogReader::Result::Undecryptable:
            m_unreadable = true;
            m_err << "qnlog: " << source << ":" << number
                  << ": cannot be decrypted (its chain began before the input)\n";
            break;
    }
}

void QnlogApp::overlongLine(const std::string& source, std::size_t number) {
    m_unreadable = true;
    ++m_damaged;
    m_err << "qnlog: " << source << ":" << number << ": damaged: longer than "
          << LogFollower::kMaxLine << " bytes, skipped\n";
}

void QnlogApp::reportDamage() {
    if (m_damaged > 0) {
        m_err << "qnlog: " << m_damaged
              << (m_damaged == 1 ? " damaged line\n" : " damaged lines\n");
    }
}

int QnlogApp::readStream(std::istream& in, const std::string& source) {
    startSource();
    // Read through the buffer so that a line past the bound costs no memory.
    std::streambuf& buffer = *in.rdbuf();
    std::string line;
    std::size_t number = 0;
    bool overlong = false;
    bool any = false;
    for (int c; (c = buffer.sbumpc()) != std::char_traits<char>::eof();) {
        any = true;
        if (c != '\n') {
            if (overlong) {
                continue;
            }
            if (line.size() == LogFollower::kMaxLine) {
                overlong = true;
                line.clear();
                line.shrink_to_fit();
                continue;
            }
            line.push_back(static_cast<char>(c));
            continue;
        }
        if (overlong) {
            overlongLine(source, ++number);
        } else {
            readLine(line, source, ++number);
        }
        line.clear();
        overlong = false;
        any = false;
    }
    if (any) {  // the last line needs no newline
        if (overlong) {
            overlongLine(source, ++number);
        } else {
            readLine(line, source, ++number);
        }
    }
    m_out.flush();
    return kAllRead;
}

int QnlogApp::follow(const std::string& path) {
    LogFollower follower(path);
    if (!follower.open()) {
        m_err << "qnlog: cannot open " << path << "\n";
        return kUsage;
    }
    startSource();
    std::size_t number = 0;
    const auto onLine = [&](std::string_view line, bool whole) {
        if (whole) {
            readLine(line, path, ++number);
        } else {
            overlongLine(path, ++number);
        }
    };
    const auto onNewFile = [&]() {
        startSource();
        number = 0;
        if (m_reportRestarts)
            m_err << "qnlog: " << path << ": the file was rotated; reading the new one\n";
    };
    std::size_t missed = 0;
    for (bool last = false; !last;) {
        // One more round after a stop, for what was written before it.
        last = m_stop;
        follower.poll(onLine, onNewFile);
        if (follower.missedFiles() != missed) {
            m_err << "qnlog: " << path << ": " << follower.missedFiles() - missed
                  << " rotated file(s) missed: gone before they could be opened\n";
            missed = follower.missedFiles();
        }
        m_out.flush();
        if (!last) {
            follower.wait(200);
        }
    }
    reportDamage();
    return m_unreadable || missed > 0 ? kSomeUnreadable : kAllRead;
}

int QnlogApp::run(const std::vector<std::string>& args) {
    bool followMode = false;
    std::vector<std::string> files;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool hasValue = i + 1 < args.size();
        if (a == "-h" || a == "--help") {
            usage(m_out);
            return kAllRead;
        } else if (a == "-f" || a == "--follow") {
            followMode = true;
        } else if (a == "-r" || a == "--restarts") {
            m_reportRestarts = true;
        } else if ((a == "-l" || a == "--level") && hasValue) {
            const std::int32_t level = sys::loglevel::parseLevel(args[++i], -1);
            if (level < 0) {
                m_err << "qnlog: unknown level " << args[i] << "\n";
                return kUsage;
            }
            m_filter.setLevel(level);
        } else if ((a == "-m" || a == "--module") && hasValue) {
            m_filter.setModule(args[++i]);
        } else if ((a == "-i" || a == "--instance") && hasValue) {
            m_filter.setInstance(args[++i]);
        } else if (a == "-" || a.empty() || a[0] != '-') {
            files.push_back(a);
        } else {
            m_err << "qnlog: unknown or incomplete option " << a << "\n";
            usage(m_err);
            return kUsage;
        }
    }
    for (const std::string& name : files) {
        std::error_code error;
        if (name != "-" && std::filesystem::is_directory(name, error)) {
            m_err << "qnlog: " << name << " is a directory; name the log files in it\n";
            return kUsage;
        }
    }
    if (followMode) {
        if (files.size() != 1 || files[0] == "-") {
            m_err << "qnlog: -f follows exactly one file\n";
            return kUsage;
        }
        return follow(files[0]);
    }
    if (files.empty())
        files.push_back("-");
    int status = kAllRead;
    for (const std::string& name : files) {
        if (name == "-") {
            readStream(m_in, "(stdin)");
            continue;
        }
        std::ifstream file(name, std::ios::binary);
        if (!file) {
            m_err << "qnlog: cannot open " << name << "\n";
            status = kUsage;
            continue;
        }
        readStream(file, name);
    }
    reportDamage();
    if (status == kAllRead && m_unreadable)
        status = kSomeUnreadable;
    return status;
}

}  // namespace qn::tools::qnlog
