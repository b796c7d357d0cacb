#pragma once

#include <sstream>
#include <string>
#include <vector>

namespace qn::sys {

// Builds a text late from a pattern with "%1".."%9" place holders. Arguments are
// streamed one at a time; next() closes each. An argument that streamed nothing
// is dropped, so the ones behind it move down by one.
template <typename Char>
class BasicFormatter {
  public:
    using String = std::basic_string<Char>;

    void setPattern(const String& pattern) {
        m_pattern = pattern;
        std::size_t percents = 0;
        for (Char c : pattern) {
            if (c == Char('%')) {
                ++percents;
            }
        }
        m_arguments.reserve(percents);
    }

    template <typename T>
    BasicFormatter& operator<<(const T& value) {
        m_stream << value;
        return *this;
    }

    BasicFormatter& next() {
        String text = m_stream.str();
        if (!text.empty()) {
            m_arguments.push_back(std::move(text));
            m_stream.str(String());
        }
        m_stream.clear();
        return *this;
    }

    String result() {
        String out;
        out.reserve(m_pattern.size());
        for (std::size_t i = 0; i < m_pattern.size(); ++i) {
            Char c = m_pattern[i];
            if (c != Char('%') || i + 1 >= m_pattern.size()) {
                out += c;
                continue;
            }
            Char n = m_pattern[++i];
            if (n == Char('%')) {
                out += Char('%');
            } else if (n >= Char('0') && n <= Char('9')) {
                // Only one digit is read: "%12" is argument 1 and a "2"; "%0" is nothing.
                std::size_t index = static_cast<std::size_t>(n - Char('0'));
                if (index >= 1 && index <= m_arguments.size()) {
                    out += m_arguments[index - 1];
                }
            } else {
                out += Char('%');
                out += n;
            }
        }
        m_arguments.clear();
        return out;
    }

  private:
    std::basic_ostringstream<Char> m_stream;
    String m_pattern;
    std::vector<String> m_arguments;
};

using Formatter = BasicFormatter<char>;
using WFormatter = BasicFormatter<wchar_t>;

}  // namespace qn::sys
