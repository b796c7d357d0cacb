#include "tools/qnhive/HiveTool.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

#include "sys/libutils/Exception.h"
#include "sys/libutils/HivePath.h"
#include "sys/libutils/MarkupDocument.h"
#include "sys/libutils/PersistException.h"
#include "sys/libutils/PersistTree.h"
#include "tools/qnhive/HiveLock.h"

namespace qn::tools {

namespace {

using sys::MarkupDocument;

void printUsage(std::ostream& out) {
    out << "qnhive - read and change the settings hive\n"
           "\n"
           "Usage:\n"
           "  qnhive [--file PATH] print\n"
           "  qnhive [--file PATH] check\n"
           "  qnhive [--file PATH] get SECTION KEY... NAME\n"
           "  qnhive [--file PATH] set SECTION KEY... NAME VALUE\n"
           "  qnhive --help\n"
           "\n"
           "print   shows both sections of the hive as an indented tree.\n"
           "check   tells whether the file is a hive.\n"
           "get     prints one value.\n"
           "set     stores one value, creating the keys on the way; other values stay.\n"
           "\n"
           "SECTION is \"machine\" (HKEY_LOCAL_MACHINE) or \"user\" (HKEY_CURRENT_USER).\n"
           "KEY... are the names of the keys below Software/Quintor, one argument each;\n"
           "a name is taken whole, a \"/\" in it included. For example, the level of\n"
           "the agent's log file:\n"
           "  qnhive set machine Logger verbosity WARN\n"
           "\n"
           "PATH defaults to "
        << sys::HivePath::builtIn()
        << ".\n"
           "A file that is not a hive is never rewritten.\n"
           "\n"
           "set replaces the file by a new one written beside it, so a failed write\n"
           "leaves it whole; sets of several qnhive processes wait for each other\n"
           "through the lock file PATH.lock.\n"
           "\n"
           "Exit status: 0 done, 1 not found, 2 bad usage, 3 not a hive or not\n"
           "readable, 4 a value or name the hive cannot store safely, 5 the change\n"
           "could not be written (the file is as it was).\n";
}

// What a look at the file's raw bytes found.
struct Inspection {
    bool exists = false;
    bool isHive = false;
    std::string reason;
    MarkupDocument document;
};

Inspection inspect(const std::string& path) {
    Inspection result;
    std::error_code error;
    result.exists = std::filesystem::exists(path, error);
    if (!result.exists) {
        result.reason = "no such file";
        return result;
    }
    if (!std::filesystem::is_regular_file(path, error)) {
        result.reason = "not a regular file";
        return result;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        result.reason = "cannot be read";
        return result;
    }
    const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (bytes.empty()) {
        result.reason = "the file is empty";
        return result;
    }
    const std::size_t zero = bytes.find('\0');
    if (zero != std::string::npos) {
        // The hive's reader stops there, and a rewrite would drop the rest.
        result.reason = "it holds a zero byte at offset " + std::to_string(zero);
        return result;
    }
    if (!result.document.setDocument(bytes)) {
        result.reason = "not well-formed XML (" + result.document.getLastError() + ")";
        return result;
    }
    if (!result.document.findElement("QN_HIVE")) {
        result.reason = "its top element is not QN_HIVE";
        return result;
    }
    result.isHive = true;
    return result;
}

// Keys nested deeper than this are not printed: the indentation alone would
// grow with the square of the depth.
constexpr int kMaxPrintDepth = 1000;

// Walks the keys without recursion, so a hostile nesting cannot exhaust the
// stack. False when the keys nest deeper than kMaxPrintDepth.
bool printKeys(MarkupDocument& document, std::ostream& out) {
    int depth = 0;
    for (;;) {
        if (!document.findElement()) {
            if (depth == 0) {
                return true;
            }
            document.leaveElement();
            --depth;
            continue;
        }
        const std::string indent(static_cast<std::size_t>(depth) * 2, ' ');
        const std::uint32_t index = document.getCurrentIndex();
        const std::string tag = document.getTagName();
        const std::string name = document.getAttribute(index, "name");
        if (tag == "node") {
            if (depth == kMaxPrintDepth) {
                return false;
            }
            out << indent << name << "\n";
            document.enterElement();
            ++depth;
        } else if (tag == "value") {
            out << indent << name << " = \"" << document.getElementData(index) << "\"\n";
        }
    }
}

bool sectionFlags(const std::string& section, sys::PersistFlags& flags) {
    if (section == "machine" || section == "HKEY_LOCAL_MACHINE") {
        flags = sys::PersistLocalMachine;
        return true;
    }
    if (section == "user" || section == "HKEY_CURRENT_USER") {
        flags = sys::PersistCurrentUser;
        return true;
    }
    return false;
}

std::unique_ptr<sys::PersistTree> openKey(const std::vector<std::string>& keys) {
    auto tree = std::make_unique<sys::PersistTree>(keys.front());
    for (std::size_t i = 1; i < keys.size(); ++i) {
        tree = std::make_unique<sys::PersistTree>(*tree, keys[i]);
    }
    return tree;
}

// A replaced value goes into the file unescaped and replaces as many bytes as
// the old text had after unescaping; a new one is escaped with a budget that
// can leave zero bytes. Texts free of these characters avoid both.
bool storableText(const std::string& text) {
    return text.find_first_of(std::string("<>&'\"\0", 6)) == std::string::npos;
}

class Tool {
  public:
    Tool(std::ostream& out, std::ostream& err) : m_out(out), m_err(err) {}

    int run(std::vector<std::string> arguments) {
        std::string path = sys::HivePath::get();
        if (!arguments.empty() && (arguments[0] == "--help" || arguments[0] == "-h")) {
            printUsage(m_out);
            return HiveToolOk;
        }
        if (arguments.size() >= 2 && arguments[0] == "--file") {
            path = arguments[1];
            arguments.erase(arguments.begin(), arguments.begin() + 2);
        }
        if (arguments.empty()) {
            return usage("no command given");
        }
        const std::string command = arguments[0];
        arguments.erase(arguments.begin());
        m_path = path;
        sys::HivePath::set(path);
        try {
            if (command == "print" && arguments.empty()) {
                return print();
            }
            if (command == "check" && arguments.empty()) {
                return check();
            }
            if (command == "get" && arguments.size() >= 3) {
                return get(arguments);
            }
            if (command == "set" && arguments.size() >= 4) {
                return set(arguments);
            }
        } catch (const sys::PersistWriteFailed& failure) {
            m_err << "qnhive: not written: " << failure.what() << "\n";
            return HiveToolNotWritten;
        } catch (const char* text) {
            m_err << m_path << ": " << text << "\n";
            return HiveToolNotAHive;
        } catch (const std::exception& failure) {
            m_err << m_path << ": " << failure.what() << "\n";
            return HiveToolNotAHive;
        }
        return usage("unknown command or wrong number of arguments: " + command);
    }

  private:
    int usage(const std::string& problem) {
        m_err << "qnhive: " << problem << "\nTry 'qnhive --help'.\n";
        return HiveToolUsage;
    }

    int notAHive(const Inspection& inspection) {
        m_err << m_path << ": not a hive: " << inspection.reason << "\n";
        return HiveToolNotAHive;
    }

    int check() {
        const Inspection inspection = inspect(m_path);
        if (!inspection.isHive) {
            return notAHive(inspection);
        }
        m_out << m_path << ": a hive\n";
        return HiveToolOk;
    }

    int print() {
        Inspection inspection = inspect(m_path);
        if (!inspection.isHive) {
            return notAHive(inspection);
        }
        inspection.document.enterElement();
        std::ostringstream text;
        if (!printKeys(inspection.document, text)) {
            m_err << m_path << ": keys nested deeper than " << kMaxPrintDepth
                  << " levels; not printed\n";
            return HiveToolNotAHive;
        }
        m_out << text.str();
        return HiveToolOk;
    }

    int get(std::vector<std::string> arguments) {
        sys::PersistFlags flags = 0;
        if (!sectionFlags(arguments[0], flags)) {
            return usage("unknown section: " + arguments[0]);
        }
        const Inspection inspection = inspect(m_path);
        if (!inspection.isHive) {
            return notAHive(inspection);
        }
        const std::string name = arguments.back();
        const std::vector<std::string> keys(arguments.begin() + 1, arguments.end() - 1);
        const sys::PersistValues values = openKey(keys)->read(flags);
        if (!values.isValue(name)) {
            m_err << name << (values.isSubKey(name) ? ": a key, not a value\n" : ": not found\n");
            return HiveToolNotFound;
        }
        m_out << values.getString(name) << "\n";
        return HiveToolOk;
    }

    int set(std::vector<std::string> arguments) {
        sys::PersistFlags flags = 0;
        if (!sectionFlags(arguments[0], flags)) {
            return usage("unknown section: " + arguments[0]);
        }
        const std::string value = arguments.back();
        const std::string name = arguments[arguments.size() - 2];
        const std::vector<std::string> keys(arguments.begin() + 1, arguments.end() - 2);
        for (const std::string& text : arguments) {
            if (!storableText(text)) {
                m_err << "qnhive: \"" << text
                      << "\" holds one of < > & ' \" which the hive cannot store safely\n";
                return HiveToolRefused;
            }
        }
        // The whole read-modify-write, so that a waiting writer edits the text
        // the one before it wrote.
        const HiveLock lock(m_path);
        // A missing file is created from the template, as the agent would; a
        // file that is there must be a hive, or it is left as it is.
        const Inspection inspection = inspect(m_path);
        if (inspection.exists && !inspection.isHive) {
            return notAHive(inspection);
        }
        const std::unique_ptr<sys::PersistTree> tree = openKey(keys);
        const sys::PersistValues before = tree->read(flags);
        if (before.isValue(name) && !storableText(before.getString(name))) {
            m_err << "qnhive: the present value of " << name
                  << " holds escaped characters; a replacement would leave part of it behind. "
                     "Edit the file by hand.\n";
            return HiveToolRefused;
        }
        sys::PersistValues values;
        values.setString(name, value);
        tree->write(values, flags);
        const sys::PersistValues after = tree->read(flags);
        if (after.getString(name, std::string()) != value) {
            m_err << m_path << ": the value reads back as \"" << after.getString(name, "")
                  << "\"\n";
            return HiveToolNotAHive;
        }
        return HiveToolOk;
    }

    std::ostream& m_out;
    std::ostream& m_err;
    std::string m_path;
};

}  // namespace

int runHiveTool(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
    return Tool(out, err).run(arguments);
}

}  // namespace qn::tools
