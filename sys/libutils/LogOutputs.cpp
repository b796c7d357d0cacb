#include "sys/libutils/LogOutputs.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <sstream>

#include "sys/libutils/Base64.h"
#include "sys/libutils/Clock.h"
#include "sys/libutils/FileRemovedOrRenamedChecker.h"
#include "sys/libutils/LineArmour.h"
#include "sys/libutils/LineKey.h"
#include "sys/libutils/LogLevel.h"
#include "sys/libutils/LogLine.h"

namespace qn::sys::logoutput {

namespace {

bool readable(const std::string& name) {
    std::ifstream probe(name);
    return probe.is_open();
}

std::string localTimeStamp() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    char text[100];
    const std::size_t n = std::strftime(text, sizeof text, "%Y%m%d-%H%M%S", &parts);
    return std::string(text, n);
}

// Appends into a fixed buffer and drops what does not fit: all that a signal
// handler may do with text.
class FixedText {
  public:
    FixedText(char* data, std::size_t capacity) : m_data(data), m_capacity(capacity) {}
    FixedText& operator<<(const char* text) {
        while (text != nullptr && *text != '\0' && m_size < m_capacity)
            m_data[m_size++] = *text++;
        return *this;
    }
    FixedText& operator<<(const std::string& text) { return *this << text.c_str(); }
    FixedText& operator<<(char c) {
        if (m_size < m_capacity)
            m_data[m_size++] = c;
        return *this;
    }
    void number(std::int64_t value, int width) {
        char digits[24];
        int n = 0;
        std::uint64_t rest = value < 0 ? 0 : static_cast<std::uint64_t>(value);
        do {
            digits[n++] = static_cast<char>('0' + rest % 10);
            rest /= 10;
        } while (rest != 0 && n < 24);
        for (int pad = n; pad < width; ++pad)
            *this << '0';
        while (n > 0)
            *this << digits[--n];
    }
    std::size_t size() const { return m_size; }

  private:
    char* m_data;
    std::size_t m_capacity;
    std::size_t m_size = 0;
};

void writeAll(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        data += n;
        size -= static_cast<std::size_t>(n);
    }
}

}  // namespace

OutputImpl::OutputImpl(std::ostream* stream, std::int32_t lineType, int fd)
    : m_stream(stream), m_lineType(lineType), m_fd(fd) {
    // The key lives only while the cipher is set up; the local wipes itself.
    encryption::Key<16> key;
    encryption::fetchLineKey(key);
    m_cipher = std::make_unique<encryption::Aes128>(key, encryption::Aes128::Encrypt);
}

OutputImpl::~OutputImpl() = default;

void OutputImpl::write(std::int64_t elapsed, std::int32_t level, const char* file,
                       std::int32_t line, const std::string& module, const std::string& instance,
                       const char* thread, const std::string& message) {
    m_plain.clear();
    logline::appendPlain(m_plain, m_lineType, elapsed, level, file, line, module, instance, thread,
                         message);
    encryption::armourLine(*m_cipher, m_chainingVector, m_plain, m_armoured);
    m_stream->write(m_armoured.data(), static_cast<std::streamsize>(m_armoured.size()));
    m_stream->put('\n');
    m_stream->flush();
}

void OutputImpl::writeFromSignal(std::int64_t elapsed, std::int32_t level, const char* file,
                                 std::int32_t line, const std::string& module,
                                 const std::string& instance, const char* message) {
    const char* levelName = loglevel::levelName(level);
    if (m_fd < 0 || levelName == nullptr)
        return;
    // The same forms as logline::appendPlain, with room left for the padding.
    FixedText text(m_signalPlain.data(), m_signalPlain.size() - 16);
    if (m_lineType == 0) {
        text << '[' << module;
        if (!instance.empty())
            text << ' ' << instance;
        text << "] " << message;
    } else {
        text.number(elapsed / 3600000, 2);
        text << ':';
        text.number((elapsed / 60000) % 60, 2);
        text << ':';
        text.number((elapsed / 1000) % 60, 2);
        text << '.';
        text.number(elapsed % 1000, 3);
        text << "\t\t" << module << '\t' << instance << '\t' << levelName << '\t' << file << ':';
        text.number(line, 1);
        text << '\t' << message;
    }
    std::size_t size = text.size();
    while (size % 16 != 0)
        m_signalPlain[size++] = ' ';
    auto* bytes = reinterpret_cast<std::uint8_t*>(m_signalPlain.data());
    if (!m_cipher->cbc(m_chainingVector, bytes, bytes, size))
        return;
    std::size_t armoured = encryption::base64EncodeInto(bytes, size, m_signalArmoured.data(),
                                                        m_signalArmoured.size() - 1);
    if (armoured == 0)
        return;
    m_signalArmoured[armoured++] = '\n';
    writeAll(m_fd, m_signalArmoured.data(), armoured);
}

std::pair<std::string, std::string> FileOutput::splitName(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos)
        return {name, std::string()};
    return {name.substr(0, dot), name.substr(dot)};
}

FileOutput::FileOutput(const std::string& fileName, std::int32_t mode, std::uint64_t maxSize,
                       std::int32_t lineType)
    : m_fileName(fileName), m_mode(mode), m_maxSize(maxSize), m_lineType(lineType) {
    open(mode);
    m_inner = std::make_unique<OutputImpl>(m_stream.get(), m_lineType, m_fd.get());
}

FileOutput::~FileOutput() = default;

void FileOutput::open(std::int32_t mode) {
    std::string path = m_fileName;
    if (mode == Decorate) {
        const auto [stem, extension] = splitName(m_fileName);
        path = stem + localTimeStamp() + extension;
    } else if (mode == New && readable(m_fileName)) {
        const auto [stem, extension] = splitName(m_fileName);
        const std::string old = stem + ".old" + extension;
        // Neither result matters: a failure leaves the next open appending.
        if (readable(old))
            std::remove(old.c_str());
        std::rename(m_fileName.c_str(), old.c_str());
    }
    errno = 0;
    m_stream = std::make_unique<std::ofstream>(path, std::ios::out | std::ios::app);
    m_openError = m_stream->is_open() ? 0 : errno;
    m_fd.reset(::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    try {
        m_checker = FileRemovedOrRenamedChecker::create(path);
    } catch (...) {
        // Logging never fails its caller; an unwatched file is still written.
        m_checker.reset();
    }
    m_stream->seekp(0, std::ios::end);
    m_currentPath = path;
}

void FileOutput::write(std::int64_t elapsed, std::int32_t level, const char* file,
                       std::int32_t line, const std::string& module, const std::string& instance,
                       const char* thread, const std::string& message) {
    bool withinLimit = true;
    if (m_maxSize != 0) {
        // A stream in a fail state says -1, above any limit: it tries again.
        const auto position =
            static_cast<std::uint64_t>(static_cast<std::int64_t>(m_stream->tellp()));
        withinLimit = position <= m_maxSize;
    }
    // Without a checker only a stream that failed to open counts as gone.
    const bool gone = m_checker ? m_checker->hasChanged() : !m_stream->good();
    if (withinLimit && !gone) {
        m_inner->write(elapsed, level, file, line, module, instance, thread, message);
        return;
    }

    // Rotate: an Append log moves aside like a New one, and a fresh chain
    // begins so that the new file decrypts from its first line.
    m_inner.reset();
    m_stream.reset();
    open(m_mode == Append ? New : m_mode);
    m_inner = std::make_unique<OutputImpl>(m_stream.get(), m_lineType, m_fd.get());
    std::ostringstream banner;
    banner << buildBanner() << "Log file restarted at ";
    TimeToStream(banner, CurrentTime());
    m_inner->write(elapsed, Logger::ALWAYS, file, line, module, instance, thread, banner.str());
    m_inner->write(elapsed, level, file, line, module, instance, thread, message);
}

void MultiOutput::write(std::int64_t elapsed, std::int32_t level, const char* file,
                        std::int32_t line, const std::string& module, const std::string& instance,
                        const char* thread, const std::string& message) {
    for (Logger::Output* output : m_outputs)
        output->write(elapsed, level, file, line, module, instance, thread, message);
}

void FileOutput::writeFromSignal(std::int64_t elapsed, std::int32_t level, const char* file,
                                 std::int32_t line, const std::string& module,
                                 const std::string& instance, const char* message) {
    // No rotation here: the line goes to the file as it is.
    m_inner->writeFromSignal(elapsed, level, file, line, module, instance, message);
}

void MultiOutput::writeFromSignal(std::int64_t elapsed, std::int32_t level, const char* file,
                                  std::int32_t line, const std::string& module,
                                  const std::string& instance, const char* message) {
    for (Logger::Output* output : m_outputs)
        output->writeFromSignal(elapsed, level, file, line, module, instance, message);
}

template <class C, class T>
int DebugOutBuf<C, T>::sync() {
    std::cerr.write(this->m_buffer.data(), static_cast<std::streamsize>(this->m_buffer.size()));
    std::cerr.flush();
    this->m_buffer.clear();
    return 0;
}

template class DebugOutBuf<char, std::char_traits<char>>;

}  // namespace qn::sys::logoutput
