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

// Does the first block look like the start of a line? `strict` allows only
// printable ASCII, which makes a chance match of a wrong vector negligible.
bool looksLikeLineStart(const std::string& text, bool strict) {
    const std::size_t n = text.size() < 16 ? text.size() : 16;
    for (std::size_t i = 0; i < n; ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        const bool control = c < 0x20 && c != '\t' && c != '\n' && c != '\r';
        if (control || c == 0x7F || (strict && c >= 0x80))
            return false;
    }
    if (text[0] == '[')
        return true;
    // Full form: the time field, whose hours have at least two digits.
    std::size_t i = 0;
    while (i < n && text[i] >= '0' && text[i] <= '9')
        ++i;
    if (i < 2)
        return false;
    const char* rest = ":##:##.###\t";
    for (std::size_t k = 0; rest[k] != '\0' && i < n; ++k, ++i) {
        const char want = rest[k];
        if (want == '#' ? (text[i] < '0' || text[i] > '9') : text[i] != want)
            return false;
    }
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
    std::string chained, fresh;
    bool chainedOk = m_haveChain && decryptWith(m_chain, chained);
    bool freshOk = decryptWith(zero, fresh);
    // Prefer the chain; fall back to a zero vector, strictly first.
    int pick = 0;
    for (bool strict : {true, false}) {
        if (chainedOk && looksLikeLineStart(chained, strict)) {
            pick = 1;
            break;
        }
        if (freshOk && looksLikeLineStart(fresh, strict)) {
            pick = 2;
            break;
        }
    }
    // Whatever came of it, the next line chains from this one's last block.
    std::memcpy(m_chain.data(), m_cipherText.data() + m_cipherText.size() - 16, 16);
    m_haveChain = true;
    if (pick == 0)
        return Result::Undecryptable;
    text = pick == 1 ? std::move(chained) : std::move(fresh);
    m_restarted = pick == 2;
    // Drop the blank padding of the last block; a line never gains more than 15.
    std::size_t pad = 0;
    while (pad < 15 && pad < text.size() && text[text.size() - 1 - pad] == ' ')
        ++pad;
    text.resize(text.size() - pad);
    return Result::Plain;
}

}  // namespace qn::sys
