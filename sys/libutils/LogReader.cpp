#include "sys/libutils/LogReader.h"

#include <cstring>

#include "sys/libutils/Base64.h"
#include "sys/libutils/LineKey.h"
#include "sys/libutils/LogLine.h"

namespace qn::sys {
namespace {

bool isBase64Text(std::string_view s) {
    if (s.empty() || s.size() % 4 != 0)
        return false;
    for (char c : s)
        if (!((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
              c == '+' || c == '/' || c == '='))
            return false;
    return true;
}

}  // namespace

LogReader::LogReader() {
    encryption::Key<16> key;
    encryption::fetchLineKey(key);
    m_cipher = std::make_unique<encryption::Aes128>(key, encryption::Aes128::Decrypt);
}

LogReader::~LogReader() = default;

void LogReader::reset() {
    m_haveChain = false;
    m_haveGood = false;
    m_previousBad = false;
    m_chain.clear();
}

bool LogReader::decryptWith(const encryption::Block<16>& iv, std::string& text) {
    encryption::Block<16> chain = iv;
    text.resize(m_cipherText.size());
    return m_cipher->cbc(chain, m_cipherText.data(), reinterpret_cast<std::uint8_t*>(text.data()),
                         m_cipherText.size());
}

LogReader::Result LogReader::read(std::string_view line, std::string& text) {
    text.clear();
    m_restarted = false;
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    if (line.empty())
        return Result::Empty;
    if (!isBase64Text(line) || !encryption::base64Decode(line, m_cipherText) ||
        m_cipherText.empty() || m_cipherText.size() % 16 != 0)
        return Result::NotArmoured;

    const encryption::Block<16> zero;
    const encryption::Block<16>* vectors[3] = {};
    std::size_t count = 0;
    if (m_haveChain) {
        vectors[count++] = &m_chain;
    }
    if (m_previousBad && m_haveGood) {
        vectors[count++] = &m_lastGood;
    }
    vectors[count++] = &zero;
    const encryption::Block<16>* picked = nullptr;
    for (std::size_t i = 0; i < count && picked == nullptr; ++i) {
        if (decryptWith(*vectors[i], text) && logline::isLogLine(text)) {
            picked = vectors[i];
        }
    }
    m_restarted = picked == &zero;
    const bool hadChain = m_haveChain;
    // Whatever came of it, the next line chains from this one's last block.
    std::memcpy(m_chain.data(), m_cipherText.data() + m_cipherText.size() - 16, 16);
    m_haveChain = true;
    m_previousBad = picked == nullptr;
    if (picked == nullptr) {
        text.clear();
        return hadChain ? Result::Damaged : Result::Undecryptable;
    }
    m_lastGood = m_chain;
    m_haveGood = true;
    // Drop the blank padding of the last block; a line never gains more than 15.
    std::size_t pad = 0;
    while (pad < 15 && pad < text.size() && text[text.size() - 1 - pad] == ' ')
        ++pad;
    text.resize(text.size() - pad);
    return Result::Plain;
}

}  // namespace qn::sys
