#include "sys/libutils/Conversions.h"

#include <cstdlib>
#include <sstream>

namespace qn::sys {

namespace {

template <typename T, typename Char>
T readValue(const std::basic_string<Char>& text) {
    std::basic_istringstream<Char> stream(text);
    T value{};
    stream >> value;
    return stream.fail() ? T{} : value;
}

template <typename T>
T readValue(const char* text) {
    return text == nullptr ? T{} : readValue<T>(std::string(text));
}

template <typename Char, typename T>
std::basic_string<Char> writeValue(T value) {
    std::basic_ostringstream<Char> stream;
    stream << value;
    return stream.str();
}

bool isHighSurrogate(wchar_t c) {
    return c >= 0xD800 && c <= 0xDBFF;
}
bool isLowSurrogate(wchar_t c) {
    return c >= 0xDC00 && c <= 0xDFFF;
}

}  // namespace

std::string BoolToString(bool value) {
    return value ? "yes" : "no";
}

bool StringToBool(const char* text) {
    if (text == nullptr) {
        return false;
    }
    switch (text[0]) {
        case 'T':
        case 'Y':
        case 't':
        case 'y':
            return true;
        default:
            return StringToInt(text) != 0;
    }
}
bool StringToBool(const std::string& text) {
    return StringToBool(text.c_str());
}

std::int32_t StringToInt(const char* text) {
    return readValue<std::int32_t>(text);
}
std::int32_t StringToInt(const std::string& text) {
    return readValue<std::int32_t>(text);
}
std::string IntToString(std::int32_t value) {
    return writeValue<char>(value);
}
std::int64_t StringToI64(const char* text) {
    return readValue<std::int64_t>(text);
}
std::int64_t StringToI64(const std::string& text) {
    return readValue<std::int64_t>(text);
}
std::string I64ToString(std::int64_t value) {
    return writeValue<char>(value);
}
std::uint32_t StringToU32(const char* text) {
    return readValue<std::uint32_t>(text);
}
std::uint32_t StringToU32(const std::string& text) {
    return readValue<std::uint32_t>(text);
}
std::string U32ToString(std::uint32_t value) {
    return writeValue<char>(value);
}
double StringToDouble(const char* text) {
    return readValue<double>(text);
}
double StringToDouble(const std::string& text) {
    return readValue<double>(text);
}
std::string DoubleToString(double value) {
    return writeValue<char>(value);
}
std::int32_t WideToInt(const std::wstring& text) {
    return readValue<std::int32_t>(text);
}
std::wstring IntToWide(std::int32_t value) {
    return writeValue<wchar_t>(value);
}
double WideToDouble(const std::wstring& text) {
    return readValue<double>(text);
}
std::wstring DoubleToWide(double value) {
    return writeValue<wchar_t>(value);
}

std::wstring ToWideString(const char* text) {
    if (text == nullptr) {
        return std::wstring();
    }
    std::size_t needed = std::mbstowcs(nullptr, text, 0);
    if (needed == static_cast<std::size_t>(-1)) {
        return std::wstring();
    }
    std::wstring result(needed, L'\0');
    std::mbstowcs(result.data(), text, needed);
    return result;
}

std::wstring ToWideString(const char* text, std::size_t length) {
    return text == nullptr ? std::wstring() : ToWideString(std::string(text, length));
}

std::wstring ToWideString(const std::string& text) {
    return ToWideString(text.c_str());
}

std::string ToNarrowString(const wchar_t* text) {
    std::string result;
    if (text == nullptr) {
        return result;
    }
    for (const wchar_t* p = text; *p != L'\0'; ++p) {
        if (*p >= 0 && *p < 128) {
            result += static_cast<char>(*p);
            continue;
        }
        result += '?';
        if (isHighSurrogate(*p) && isLowSurrogate(p[1])) {
            ++p;  // the pair is one character
        }
    }
    return result;
}

std::string ToNarrowString(const std::wstring& text) {
    return ToNarrowString(text.c_str());
}

void WideToStream(std::ostream& stream, const std::wstring& text) {
    for (wchar_t c : text) {
        if (c >= 0 && c <= 127) {
            stream << static_cast<char>(c);
        } else {
            stream << std::hex << static_cast<std::uint32_t>(c);
        }
    }
}

std::vector<wchar_t> ToWideVector(const std::wstring& text) {
    std::vector<wchar_t> result(text.begin(), text.end());
    result.push_back(L'\0');
    return result;
}

}  // namespace qn::sys
