#include "sys/libutils/LogOutputs.h"

#include <cstdio>
#include <ctime>
#include <iostream>
#include <sstream>

#include "sys/libutils/Clock.h"
#include "sys/libutils/FileRemovedOrRenamedChecker.h"
#include "sys/libutils/LineArmour.h"
#include "sys/libutils/LineKey.h"
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

}  // namespace

OutputImpl::OutputImpl(std::ostream* stream, std::int32_t lineType)
    : m_stream(stream), m_lineType(lineType) {
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
    m_inner = std::make_unique<OutputImpl>(m_stream.get(), m_lineType);
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
    m_stream = std::make_unique<std::ofstream>(path, std::ios::out | std::ios::app);
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
    m_inner = std::make_unique<OutputImpl>(m_stream.get(), m_lineType);
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

template <class C, class T>
int DebugOutBuf<C, T>::sync() {
    std::cerr.write(this->m_buffer.data(), static_cast<std::streamsize>(this->m_buffer.size()));
    std::cerr.flush();
    this->m_buffer.clear();
    return 0;
}

template class DebugOutBuf<char, std::char_traits<char>>;

}  // namespace qn::sys::logoutput
