#pragma once

#include <array>
#include <cstdint>
#include <fstream>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

#include "sys/libutils/Aes128.h"
#include "sys/libutils/Logger.h"
#include "sys/libutils/posix/FileDescriptor.h"

// The concrete outputs of the logger. Only Logger::Output is meant for the rest
// of the program; these are visible for the logger's own files and its tests.
namespace qn::sys {
class FileRemovedOrRenamedChecker;
}

namespace qn::sys::logoutput {

// Composes a line in its line type, armours it and writes it to one stream.
class OutputImpl : public Logger::Output {
  public:
    // fd is the descriptor behind the stream for writes from a signal handler,
    // or -1 for none.
    OutputImpl(std::ostream* stream, std::int32_t lineType, int fd = -1);
    ~OutputImpl() override;
    void write(std::int64_t elapsed, std::int32_t level, const char* file, std::int32_t line,
               const std::string& module, const std::string& instance, const char* thread,
               const std::string& message) override;
    // Composes, armours and writes into the buffers below; a longer line is cut.
    void writeFromSignal(std::int64_t elapsed, std::int32_t level, const char* file,
                         std::int32_t line, const std::string& module, const std::string& instance,
                         const char* message) override;

  private:
    std::ostream* m_stream;
    std::int32_t m_lineType;
    int m_fd;
    std::array<char, 512> m_signalPlain{};
    std::array<char, 4 * 512 / 3 + 8> m_signalArmoured{};
    std::unique_ptr<encryption::Aes128> m_cipher;
    encryption::Block<16> m_chainingVector;
    std::string m_plain, m_armoured;  // kept to spare an allocation per line
};

// A log file in one of three modes, rotated at a size limit and made again
// when its directory entry goes away under it.
class FileOutput : public Logger::Output {
  public:
    enum Mode { New = 0, Decorate = 1, Append = 2 };

    FileOutput(const std::string& fileName, std::int32_t mode, std::uint64_t maxSize,
               std::int32_t lineType);
    ~FileOutput() override;
    void write(std::int64_t elapsed, std::int32_t level, const char* file, std::int32_t line,
               const std::string& module, const std::string& instance, const char* thread,
               const std::string& message) override;
    void writeFromSignal(std::int64_t elapsed, std::int32_t level, const char* file,
                         std::int32_t line, const std::string& module, const std::string& instance,
                         const char* message) override;

    const std::string& fileName() const { return m_fileName; }
    std::int32_t mode() const { return m_mode; }
    std::uint64_t maxSize() const { return m_maxSize; }
    // The file actually written (decorated in Decorate mode).
    const std::string& currentPath() const { return m_currentPath; }
    // Why the last opening of currentPath() failed (an errno value); 0 when it is open.
    int openError() const { return m_openError; }

    // "app.log" -> {"app", ".log"}, split at the last "." anywhere in the name.
    static std::pair<std::string, std::string> splitName(const std::string& name);

  private:
    void open(std::int32_t mode);

    std::unique_ptr<FileRemovedOrRenamedChecker> m_checker;  // null if the file cannot be watched
    FileDescriptor m_fd;  // the same file, for writes from a signal handler
    std::unique_ptr<std::ofstream> m_stream;
    std::unique_ptr<OutputImpl> m_inner;
    std::string m_fileName;
    std::int32_t m_mode;
    std::uint64_t m_maxSize;
    std::int32_t m_lineType;
    std::string m_currentPath;
    int m_openError = 0;
};

// Fan-out to several outputs, in order; owns none of them.
class MultiOutput : public Logger::Output {
  public:
    void add(Logger::Output* output) { m_outputs.push_back(output); }
    bool empty() const { return m_outputs.empty(); }
    void write(std::int64_t elapsed, std::int32_t level, const char* file, std::int32_t line,
               const std::string& module, const std::string& instance, const char* thread,
               const std::string& message) override;
    void writeFromSignal(std::int64_t elapsed, std::int32_t level, const char* file,
                         std::int32_t line, const std::string& module, const std::string& instance,
                         const char* message) override;

  private:
    std::vector<Logger::Output*> m_outputs;
};

// Stream buffers that collect one line and hand it on at the flush.
template <class C, class T>
class LineOutBuf : public std::basic_streambuf<C, T> {
  public:
    LineOutBuf() { m_buffer.reserve(128); }

  protected:
    std::streamsize xsputn(const C* s, std::streamsize n) override {
        m_buffer.append(s, static_cast<std::size_t>(n));
        return n;
    }
    typename T::int_type overflow(typename T::int_type c) override {
        if (!T::eq_int_type(c, T::eof()))
            m_buffer.push_back(T::to_char_type(c));
        return T::not_eof(c);
    }
    std::basic_string<C, T> m_buffer;
};

template <class C, class T>
class HelperOutBuf : public LineOutBuf<C, T> {
  public:
    explicit HelperOutBuf(Logger::Helper* helper) : m_helper(helper) {}

  protected:
    int sync() override {
        if (m_helper != nullptr)
            m_helper->write(this->m_buffer);
        this->m_buffer.clear();
        return 0;
    }

  private:
    Logger::Helper* m_helper;
};

template <class C, class T>
class DebugOutBuf : public LineOutBuf<C, T> {
  protected:
    int sync() override;
};

// Holds the buffer so that it is built before the stream base uses it.
template <template <class, class> class Buf, class C, class T>
struct StreamBufferInit {
    template <class... A>
    explicit StreamBufferInit(A&&... a) : m_buf(std::forward<A>(a)...) {}
    Buf<C, T> m_buf;
};

template <class C, class T>
class HelperOStream : private StreamBufferInit<HelperOutBuf, C, T>,
                      public std::basic_ostream<C, T> {
  public:
    explicit HelperOStream(Logger::Helper* helper)
        : StreamBufferInit<HelperOutBuf, C, T>(helper), std::basic_ostream<C, T>(&this->m_buf) {}
};

template <class C, class T>
class DebugOStream : private StreamBufferInit<DebugOutBuf, C, T>, public std::basic_ostream<C, T> {
  public:
    DebugOStream() : std::basic_ostream<C, T>(&this->m_buf) {}
};

}  // namespace qn::sys::logoutput
