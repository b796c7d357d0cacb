#include "platform/StringsTable.h"

namespace qn::platform {

namespace {

class Cursor {
  public:
    explicit Cursor(const std::string& text) : m_text(text) {}

    bool atEnd() {
        skipBlanksAndComments();
        return m_at >= m_text.size();
    }
    void expect(char c, const char* what) {
        skipBlanksAndComments();
        if (m_at >= m_text.size() || m_text[m_at] != c) {
            throw StringsTableError(m_line, std::string("expected ") + what);
        }
        ++m_at;
    }
    std::string quoted() {
        expect('"', "a quoted string");
        std::string value;
        for (;;) {
            if (m_at >= m_text.size() || m_text[m_at] == '\n') {
                throw StringsTableError(m_line, "unterminated string");
            }
            const char c = m_text[m_at++];
            if (c == '"') {
                return value;
            }
            if (c != '\\') {
                value += c;
                continue;
            }
            if (m_at >= m_text.size()) {
                throw StringsTableError(m_line, "unterminated string");
            }
            const char escaped = m_text[m_at++];
            switch (escaped) {
                case 'n':
                    value += '\n';
                    break;
                case 't':
                    value += '\t';
                    break;
                case '"':
                case '\\':
                    value += escaped;
                    break;
                default:
                    throw StringsTableError(m_line, std::string("unknown escape \\") + escaped);
            }
        }
    }
    int line() const { return m_line; }

  private:
    void skipBlanksAndComments() {
        while (m_at < m_text.size()) {
            const char c = m_text[m_at];
            if (c == '\n') {
                ++m_line;
                ++m_at;
            } else if (c == ' ' || c == '\t' || c == '\r') {
                ++m_at;
            } else if (m_text.compare(m_at, 2, "//") == 0) {
                while (m_at < m_text.size() && m_text[m_at] != '\n') {
                    ++m_at;
                }
            } else if (m_text.compare(m_at, 2, "/*") == 0) {
                const auto end = m_text.find("*/", m_at + 2);
                if (end == std::string::npos) {
                    throw StringsTableError(m_line, "unterminated comment");
                }
                for (auto i = m_at; i < end; ++i) {
                    m_line += m_text[i] == '\n' ? 1 : 0;
                }
                m_at = end + 2;
            } else {
                return;
            }
        }
    }

    const std::string& m_text;
    std::size_t m_at = 0;
    int m_line = 1;
};

}  // namespace

std::map<std::string, std::string> parseStringsTable(const std::string& text) {
    std::map<std::string, std::string> table;
    Cursor cursor(text);
    while (!cursor.atEnd()) {
        const int line = cursor.line();
        auto key = cursor.quoted();
        cursor.expect('=', "'=' after the key");
        auto value = cursor.quoted();
        cursor.expect(';', "';' after the text");
        if (!table.emplace(std::move(key), std::move(value)).second) {
            throw StringsTableError(line, "key given twice");
        }
    }
    return table;
}

}  // namespace qn::platform
