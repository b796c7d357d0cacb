#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sys/libutils/Aes128.h"

namespace qn::sys {

// Turns armoured log lines back into their plain text, one line at a time.
// It follows the output's chain, and finds where a new chain begins (a new run
// appending to the file, a rotation): there the chained vector gives no log
// line, while a zero vector gives one. After a bad line the next one is tried
// with the bad line's last block (a flipped character leaves the chain
// intact) and then with the last good line's (a foreign line was put in).
class LogReader {
  public:
    enum class Result {
        Plain,          // text holds the plain line
        Empty,          // an empty input line (a writer's failed encoding)
        NotArmoured,    // not Base64 of whole cipher blocks
        Undecryptable,  // armoured, but its chain began before the input did
        Damaged         // armoured, but no vector gives a log line
    };

    LogReader();
    ~LogReader();

    // `line` without its newline (a trailing "\r" is ignored).
    Result read(std::string_view line, std::string& text);
    // Whether the last Plain line began a new chain.
    bool restarted() const { return m_restarted; }
    // Forget the chain, as at the start of a new file.
    void reset();

  private:
    bool decryptWith(const encryption::Block<16>& iv, std::string& text);

    std::unique_ptr<encryption::Aes128> m_cipher;
    encryption::Block<16> m_chain;
    encryption::Block<16> m_lastGood;
    bool m_haveChain = false;
    bool m_haveGood = false;
    bool m_previousBad = false;
    bool m_restarted = false;
    std::vector<std::uint8_t> m_cipherText;
};

}  // namespace qn::sys
