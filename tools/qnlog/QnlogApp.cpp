#include "tools/qnlog/QnlogApp.h"

#include <unistd.h>

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
           "Exit status: 0 every line was read, 1 some lines could not be read,\n"
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
        case sys::LogReader::Result::Undecryptable:
            m_unreadable = true;
            m_err << "qnlog: " << source << ":" << number
                  << ": cannot be decrypted (its chain began before the input)\n";
            break;
    }
}

int QnlogApp::readStream(std::istream& in, const std::string& source) {
    startSource();
    std::string line;
    std::size_t number = 0;
    while (std::getline(in, line))
        readLine(line, source, ++number);
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
    const auto onLine = [&](std::string_view line) { readLine(line, path, ++number); };
    const auto onNewFile = [&]() {
        startSource();
        number = 0;
        if (m_reportRestarts)
            m_err << "qnlog: " << path << ": the file was rotated; reading the new one\n";
    };
    while (!m_stop) {
        if (!follower.poll(onLine, onNewFile)) {
            m_out.flush();
            ::usleep(200 * 1000);
        }
    }
    m_out.flush();
    return m_unreadable ? kSomeUnreadable : kAllRead;
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
    if (status == kAllRead && m_unreadable)
        status = kSomeUnreadable;
    return status;
}

}  // namespace qn::tools::qnlog
