#include "tools/qninstr/QninstrApp.h"

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <iomanip>
#include <memory>
#include <string>

#include "sys/libutils/Exception.h"
#include "sys/libutils/GroupOption.h"
#include "sys/libutils/InstrumentationDirectory.h"
#include "sys/libutils/InstrumentationReader.h"
#include "sys/libutils/OptionBool.h"
#include "sys/libutils/OptionInt.h"
#include "sys/libutils/OptionString.h"
#include "tools/qninstr/SilentStore.h"

namespace qn::tools::qninstr {

using namespace sys::option;
using sys::instrumentation::InstrumentationReader;
using sys::instrumentation::kindName;

QninstrApp::QninstrApp(std::ostream& out, std::ostream& err) : m_out(out), m_err(err) {}

int QninstrApp::run(int argc, char** argv) {
    GroupOption options("qninstr", "Instrumentation reader",
                        "[-directory NAME] [-watch [-interval SECONDS] [-count N]]",
                        std::make_unique<SilentStore>());
    String directory("directory", sys::instrumentation::Directory::kDefaultName,
                     "the shared directory to read", "NAME");
    Flag watch("watch", "print a fresh snapshot at every interval until stopped");
    Int interval("interval", 1, "seconds between snapshots with -watch", "SECONDS");
    Int count("count", 0, "stop -watch after this many snapshots (0: never)", "N");
    Flag help("help", "print this text");
    options.add(directory);
    options.add(watch);
    options.add(interval);
    options.add(count);
    options.add(help);
    // The walk takes everything behind one "-" as the name, so "--watch" is
    // the option "-watch": these aliases give the usual spellings.
    AliasOption longWatch(options, "-watch", watch);
    AliasOption longHelp(options, "-help", help);

    // The option walk reads numbers leniently ("abc" is 0, so -count abc
    // would watch for ever): the numeric options are checked here first.
    for (int i = 1; i + 1 < argc; ++i) {
        const std::string name = argv[i];
        const std::string word = argv[i + 1];
        if ((name == "-count" || name == "--count" || name == "-interval" ||
             name == "--interval") &&
            (word.empty() || word.size() > 9 ||
             word.find_first_not_of("0123456789") != std::string::npos)) {
            m_err << "qninstr: " << name << " takes a whole number from 0 to 999999999, not \""
                  << word << "\"" << std::endl;
            return kUsage;
        }
    }
    int left = argc;
    try {
        options.parse(left, argv);
    } catch (const sys::MessageException&) {
        options.printUsage(m_err);
        return kUsage;
    }
    if (left > 1) {
        m_err << "qninstr takes no operands: " << argv[1] << std::endl;
        options.printUsage(m_err);
        return kUsage;
    }
    if (help.get()) {
        options.printUsage(m_out);
        return kShown;
    }
    if (!watch.get()) {
        return printSnapshot(directory.get()) ? kShown : kNoDirectory;
    }
    for (int shown = 1; !m_stop; ++shown) {
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        ::localtime_r(&now, &local);
        m_out << "--- snapshot " << shown << " at " << std::put_time(&local, "%H:%M:%S") << " ---"
              << std::endl;
        printSnapshot(directory.get());
        if ((count.get() > 0 && shown >= count.get()) || !pause(std::max(interval.get(), 0))) {
            break;
        }
    }
    return kShown;
}

bool QninstrApp::pause(int seconds) {
    // In small steps, so that a stop is seen soon.
    for (int step = 0; step < seconds * 10; ++step) {
        if (m_stop) {
            return false;
        }
        ::usleep(100000);
    }
    return !m_stop;
}

bool QninstrApp::printSnapshot(const std::string& directory) {
    InstrumentationReader reader(directory);
    std::vector<std::string> names;
    try {
        names = reader.processes();
    } catch (const sys::Exception&) {
        m_out << "No instrumentation directory " << directory << ": no instrumented process runs."
              << std::endl;
        return false;
    }
    m_out << "Directory " << directory << ": " << names.size()
          << (names.size() == 1 ? " process" : " processes") << std::endl;
    for (const std::string& name : names) {
        InstrumentationReader::Region region;
        try {
            region = reader.read(name);
        } catch (const sys::Exception&) {
            // Its region went with it: the process ended since it was listed.
            m_out << "process " << name << ": no longer running, skipped" << std::endl;
            continue;
        }
        m_out << "process " << name << ": " << region.variables.size() << " variables, "
              << region.freeSlots << " of " << region.slots << " slots free" << std::endl;
        std::size_t width = 0;
        for (const auto& variable : region.variables) {
            width = std::max(width, variable.name.size());
        }
        for (const auto& variable : region.variables) {
            m_out << "  " << std::left << std::setw(3) << kindName(variable.kind)
                  << std::setw(int(width)) << variable.name << std::right << " = " << variable.value
                  << std::endl;
        }
    }
    return true;
}

}  // namespace qn::tools::qninstr
