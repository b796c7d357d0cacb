#include "sys/libutils/OptionBlob.h"

#include <algorithm>
#include <limits>
#include <sstream>

#include "sys/libutils/OptionAssert.h"

namespace qn::sys::option {

namespace {
constexpr unsigned int kMaxBlobSize = 1u << 20;
}  // namespace

Blob::Blob(std::string name, const std::string& defaultText, std::string description,
           std::string parameterName)
    : SingleOption(std::move(name), std::move(description), std::move(parameterName)) {
    readStoreText(defaultText);
}

std::unique_ptr<Option> Blob::clone() const {
    return std::make_unique<Blob>(getName(), getValueText(), getDescription(), getParameterName());
}

void Blob::readForm(std::istream& stream) {
    // Deliberately unchecked: a short text repeats the last good byte or
    // stores zero, whatever the stream leaves in `byte`.
    m_blob.clear();
    unsigned int size = 0;
    stream >> std::hex >> size;
    // The one bound: a count word of eight digits would otherwise ask for
    // gigabytes of repeated bytes.
    size = std::min(size, kMaxBlobSize);
    unsigned int byte = 0;
    for (unsigned int i = 0; i < size; ++i) {
        if (!stream) {
            // The stream won't recover: the rest all repeat the same value.
            m_blob.resize(size, static_cast<std::uint8_t>(byte));
            break;
        }
        stream >> byte;
        m_blob.push_back(static_cast<std::uint8_t>(byte));
    }
}

void Blob::parseArguments(int& count, char** arguments) {
    const int argc = count;
    QN_OPTION_ASSERT(0 < argc);
    if (argc < 2) {
        count = 0;
        return;
    }
    setSource(SourceCommandLine);
    std::stringstream words;
    for (int i = 1; i < argc; ++i) {
        if (arguments[i] == nullptr) {
            words.setstate(std::ios::failbit);
            continue;
        }
        words << arguments[i] << ' ';
    }
    readForm(words);
    QN_OPTION_ASSERT(size_t(std::numeric_limits<int>::max()) >= m_blob.size() + 2);
    count = static_cast<int>(m_blob.size() + 2);
}

std::string Blob::getValueText() const {
    std::ostringstream text;
    text << std::hex << m_blob.size();
    for (std::uint8_t byte : m_blob) {
        text << ' ' << static_cast<unsigned int>(byte);
    }
    return text.str();
}

void Blob::set(const std::vector<std::uint8_t>& value) {
    m_blob = value;
    setProgramSource();
}

void Blob::set(const std::string& text) {
    readStoreText(text);
    setProgramSource();
}

bool Blob::parseWord(const char* word) {
    readStoreText(word);
    return true;
}

void Blob::readStoreText(const std::string& text) {
    std::istringstream stream(text);
    readForm(stream);
}

std::string Blob::storeText() const {
    return getValueText();
}

}  // namespace qn::sys::option
