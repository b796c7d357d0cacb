#include "sys/libutils/LogLine.h"

#include <charconv>

#include "sys/libutils/LogLevel.h"

namespace qn::sys::logline {
namespace {

void appendPadded(std::string& out, std::int64_t value, int width) {
    char digits[24];
    auto [end, ec] = std::to_chars(digits, digits + sizeof digits, value);
    (void)ec;
    for (int n = int(end - digits); n < width; ++n)
        out.push_back('0');
    out.append(digits, end);
}

bool isDigits(std::string_view s, std::size_t minimum, std::size_t maximum) {
    if (s.size() < minimum || s.size() > maximum)
        return false;
    for (char c : s)
        if (c < '0' || c > '9')
            return false;
    return true;
}

bool isTime(std::string_view t) {
    // HH:MM:SS.mmm with two or more digits of hours.
    if (t.size() < 12)
        return false;
    const std::size_t h = t.size() - 10;
    return isDigits(t.substr(0, h), 2, 20) && t[h] == ':' && isDigits(t.substr(h + 1, 2), 2, 2) &&
           t[h + 3] == ':' && isDigits(t.substr(h + 4, 2), 2, 2) && t[h + 6] == '.' &&
           isDigits(t.substr(h + 7, 3), 3, 3);
}

// Cuts s at the next tab; false when there is none.
bool nextField(std::string_view& s, std::string_view& field) {
    const std::size_t tab = s.find('\t');
    if (tab == std::string_view::npos)
        return false;
    field = s.substr(0, tab);
    s.remove_prefix(tab + 1);
    return true;
}

// Tab, printable ASCII and whole UTF-8 sequences (no overlong two-byte forms);
// line breaks too, since a message may hold them.
bool isPrintableText(std::string_view s) {
    for (std::size_t i = 0; i < s.size();) {
        const auto c = static_cast<unsigned char>(s[i]);
        if (c == '\t' || c == '\n' || c == '\r' || (c >= 0x20 && c < 0x7F)) {
            ++i;
            continue;
        }
        const std::size_t length = c >= 0xC2 && c <= 0xDF   ? 2
                                   : c >= 0xE0 && c <= 0xEF ? 3
                                   : c >= 0xF0 && c <= 0xF4 ? 4
                                                            : 0;
        if (length == 0 || i + length > s.size()) {
            return false;
        }
        for (std::size_t k = 1; k < length; ++k) {
            if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) {
                return false;
            }
        }
        i += length;
    }
    return true;
}

}  // namespace

void appendElapsed(std::string& out, std::int64_t ms) {
    if (ms < 0)
        ms = 0;
    appendPadded(out, ms / 3600000, 2);
    out.push_back(':');
    appendPadded(out, (ms / 60000) % 60, 2);
    out.push_back(':');
    appendPadded(out, (ms / 1000) % 60, 2);
    out.push_back('.');
    appendPadded(out, ms % 1000, 3);
}

bool appendPlain(std::string& out, std::int32_t lineType, std::int64_t elapsed, std::int32_t level,
                 const char* file, std::int32_t line, const std::string& module,
                 const std::string& instance, const char* thread, const std::string& message) {
    if (lineType == 0) {
        out.push_back('[');
        out.append(module);
        if (!instance.empty()) {
            out.push_back(' ');
            out.append(instance);
        }
        out.append("] ");
        out.append(message);
        return true;
    }
    appendElapsed(out, elapsed);
    out.push_back('\t');
    if (thread == nullptr)
        return false;
    out.append(thread);
    out.push_back('\t');
    out.append(module);
    out.push_back('\t');
    out.append(instance);
    out.push_back('\t');
    const char* name = loglevel::levelName(level);
    if (name == nullptr)
        return false;
    out.append(name);
    out.push_back('\t');
    if (file == nullptr)
        return false;
    out.append(file);
    out.push_back(':');
    appendPadded(out, line, 1);
    out.push_back('\t');
    out.append(message);
    return true;
}

bool parse(std::string_view text, Fields& f) {
    f = Fields{};
    if (!text.empty() && text[0] == '[') {
        const std::size_t close = text.find("] ");
        if (close == std::string_view::npos)
            return false;
        std::string_view names = text.substr(1, close - 1);
        const std::size_t blank = names.find(' ');
        f.module = names.substr(0, blank);
        if (blank != std::string_view::npos)
            f.instance = names.substr(blank + 1);
        f.message = text.substr(close + 2);
        return true;
    }
    std::string_view rest = text;
    if (!nextField(rest, f.time) || !isTime(f.time) || !nextField(rest, f.thread) ||
        !nextField(rest, f.module) || !nextField(rest, f.instance) || !nextField(rest, f.level) ||
        !nextField(rest, f.place))
        return false;
    f.message = rest;
    f.full = true;
    return true;
}

bool isLogLine(std::string_view text) {
    Fields fields;
    if (!isPrintableText(text) || !parse(text, fields)) {
        return false;
    }
    if (!fields.full) {
        return true;
    }
    bool known = false;
    for (std::int32_t level = 0; const char* name = loglevel::levelName(level); ++level) {
        known = known || fields.level == name;
    }
    return known && fields.place.find(':') != std::string_view::npos;
}

}  // namespace qn::sys::logline
