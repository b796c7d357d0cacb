#include "sys/libutils/StringHelpers.h"

#include <cstdarg>
#include <cstdio>

namespace qn::sys {

namespace {

template <typename Char>
const Char* blanks();
template <>
const char* blanks<char>() {
    return " \t\r\n";
}
template <>
const wchar_t* blanks<wchar_t>() {
    return L" \t\r\n";
}

template <typename Char>
std::basic_string<Char> trimRight(const std::basic_string<Char>& text) {
    std::size_t last = text.find_last_not_of(blanks<Char>());
    return last == std::basic_string<Char>::npos ? std::basic_string<Char>()
                                                 : text.substr(0, last + 1);
}

template <typename Char>
std::basic_string<Char> trimLeft(const std::basic_string<Char>& text) {
    std::size_t first = text.find_first_not_of(blanks<Char>());
    return first == std::basic_string<Char>::npos ? std::basic_string<Char>() : text.substr(first);
}

}  // namespace

std::string FormatString(const char* format, ...) {
    std::vector<char> buffer(128);
    for (;;) {
        va_list arguments;
        va_start(arguments, format);
        int needed = std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
        va_end(arguments);
        if (needed < 0) {
            return std::string();
        }
        if (static_cast<std::size_t>(needed) < buffer.size()) {
            return std::string(buffer.data(), static_cast<std::size_t>(needed));
        }
        buffer.resize(static_cast<std::size_t>(needed) + 1);
    }
}

std::string TrimRight(const std::string& text) {
    return trimRight(text);
}
std::string TrimLeft(const std::string& text) {
    return trimLeft(text);
}
std::wstring TrimRight(const std::wstring& text) {
    return trimRight(text);
}
std::wstring TrimLeft(const std::wstring& text) {
    return trimLeft(text);
}

std::size_t Split(const std::string& text, const std::string& delimiters,
                  std::vector<std::string>& words) {
    words.clear();
    std::size_t start = text.find_first_not_of(delimiters);
    while (start != std::string::npos) {
        std::size_t end = text.find_first_of(delimiters, start);
        words.push_back(text.substr(start, end == std::string::npos ? end : end - start));
        start = text.find_first_not_of(delimiters, end);
    }
    return words.size();
}

std::wstring StripQuotes(const std::wstring& text) {
    std::wstring result = text;
    if (!result.empty() && result.front() == L'"') {
        result.erase(0, 1);
    }
    if (!result.empty() && result.back() == L'"') {
        result.pop_back();
    }
    return result;
}

}  // namespace qn::sys
