#include "sys/libutils/posix/qnassert.h"

#include <boost/shared_ptr.hpp>
#include <cstdlib>
#include <iostream>
#include <vector>

#include "sys/libutils/ErrorHandler.h"
#include "sys/libutils/LogSeam.h"
#include "sys/libutils/Logger.h"
#include "sys/libutils/OptionInt.h"
#include "sys/libutils/RegistryDataStore.h"

namespace qn::sys {

namespace {

// Where the mask lives: the Manager's branch, which the agent reads as well.
constexpr const char* kStoreName = "QuintorManager";
constexpr const char* kOptionName = "AssertBehaviour";
constexpr std::int32_t kDefaultBehaviour = 3;

enum AssertBit : std::int32_t {
    LogBit = 1,
    CrashDumpBit = 2,
    MessageBit = 4,
    AbortBit = 8,
};

// "Assert failure: <expression> at line <line> in file <file>". Wide text goes
// in one character at a time and leaves the stream in hexadecimal, so a line
// behind an expression with a character above 127 comes out in hexadecimal.
struct FailureText {
    const std::wstring& expression;
    const std::wstring& file;
    std::uint32_t line;
};

std::ostream& operator<<(std::ostream& stream, const FailureText& failure) {
    stream << "Assert failure: ";
    WideToStream(stream, failure.expression);
    stream << " at line " << failure.line << " in file ";
    WideToStream(stream, failure.file);
    return stream;
}

class IAssertFailureHandler {
  public:
    virtual ~IAssertFailureHandler() = default;
    virtual void handleFailure(const std::wstring& expression, const std::wstring& file,
                               std::uint32_t line) = 0;
};

// The handlers that log name their module after their class; the empty
// instance makes the identity take the object's address.
class AssertLogger : public IAssertFailureHandler, public virtual Logger::Logged {
  public:
    AssertLogger() : Identity("AssertLogger", "") {}
    void handleFailure(const std::wstring& expression, const std::wstring& file,
                       std::uint32_t line) override {
        QN_LOG(*this, Logger::ERROR) << FailureText{expression, file, line};
    }
};

class AssertMessager : public IAssertFailureHandler, public virtual Logger::Logged {
  public:
    AssertMessager() : Identity("AssertMessager", "") {}
    void handleFailure(const std::wstring& expression, const std::wstring& file,
                       std::uint32_t line) override {
        QN_LOG(*this, Logger::VERBOSE) << "Warning user of assert failure.";
        // No newline and no flush: the text stays as the stream takes it.
        std::cerr << FailureText{expression, file, line};
    }
};

class AssertCrashDumper : public IAssertFailureHandler, public virtual Logger::Logged {
  public:
    AssertCrashDumper() : Identity("AssertCrashDumper", "") {}
    void handleFailure(const std::wstring& /*expression*/, const std::wstring& /*file*/,
                       std::uint32_t /*line*/) override {
        const logseam::LogSource source{getModule(), getInstance()};
        dumpOSCore(&source);
    }
};

class AssertAborter : public IAssertFailureHandler {
  public:
    void handleFailure(const std::wstring& /*expression*/, const std::wstring& /*file*/,
                       std::uint32_t /*line*/) override {
        std::abort();
    }
};

class CompositeAssertHandler : public IAssertFailureHandler {
  public:
    void add(boost::shared_ptr<IAssertFailureHandler> handler) {
        m_handlers.push_back(std::move(handler));
    }
    void handleFailure(const std::wstring& expression, const std::wstring& file,
                       std::uint32_t line) override {
        for (auto& handler : m_handlers) {
            handler->handleFailure(expression, file, line);
        }
    }

  private:
    std::vector<boost::shared_ptr<IAssertFailureHandler>> m_handlers;
};

std::int32_t readBehaviour() {
    option::RegistryDataStore store(kStoreName, true);
    option::Int behaviour(kOptionName, kDefaultBehaviour, "What a failed assertion does", "mask");
    behaviour.load(store);
    return behaviour.get();
}

}  // namespace

void assertFailed(const std::wstring& expression, const std::wstring& file, std::uint32_t line) {
    // Read at every failure, so that a changed setting takes effect at once.
    const std::int32_t mask = readBehaviour();
    CompositeAssertHandler handlers;
    if ((mask & LogBit) != 0) {
        handlers.add(boost::shared_ptr<IAssertFailureHandler>(new AssertLogger));
    }
    if ((mask & MessageBit) != 0) {
        handlers.add(boost::shared_ptr<IAssertFailureHandler>(new AssertMessager));
    }
    if ((mask & CrashDumpBit) != 0) {
        handlers.add(boost::shared_ptr<IAssertFailureHandler>(new AssertCrashDumper));
    }
    if ((mask & AbortBit) != 0) {
        handlers.add(boost::shared_ptr<IAssertFailureHandler>(new AssertAborter));
    }
    handlers.handleFailure(expression, file, line);
}

}  // namespace qn::sys
