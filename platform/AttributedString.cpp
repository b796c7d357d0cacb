#include "platform/AttributedString.h"

#include <algorithm>

namespace qn::platform {

Value colorValue(const NSColor& color) {
    Value v = Value::dictionary();
    v.set("red", Value::number(color.red));
    v.set("green", Value::number(color.green));
    v.set("blue", Value::number(color.blue));
    v.set("alpha", Value::number(color.alpha));
    return v;
}

NSColor colorFromValue(const Value& value) {
    if (!value.isDictionary()) {
        return NSColor::blackColor();
    }
    NSColor color;
    color.red = value.get("red").doubleValue();
    color.green = value.get("green").doubleValue();
    color.blue = value.get("blue").doubleValue();
    color.alpha = value.get("alpha").doubleValue();
    return color;
}

Value fontValue(const NSFont& font) {
    Value v = Value::dictionary();
    v.set("pointSize", Value::number(font.pointSize));
    v.set("bold", Value::boolean(font.bold));
    return v;
}

NSFont fontFromValue(const Value& value, double defaultPointSize) {
    if (!value.isDictionary()) {
        return NSFont{defaultPointSize, false};
    }
    return NSFont{value.get("pointSize").doubleValue(), value.get("bold").boolValue()};
}

Value paragraphStyleValue(int alignment, int lineBreakMode) {
    Value v = Value::dictionary();
    v.set("alignment", Value::number(std::int64_t{alignment}));
    v.set("lineBreakMode", Value::number(std::int64_t{lineBreakMode}));
    return v;
}

std::string NSURL::host() const {
    const auto scheme = m_text.find("://");
    if (scheme == std::string::npos) {
        return {};
    }
    const auto start = scheme + 3;
    const auto end = m_text.find_first_of("/:?#", start);
    return m_text.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

NSAttributedString::NSAttributedString(std::string text) : m_string(std::move(text)) {
    if (!m_string.empty()) {
        m_runs.push_back({0, m_string.size(), Value::dictionary()});
    }
}

Value NSAttributedString::attributesAtIndex(std::size_t index) const {
    for (const auto& run : m_runs) {
        if (index >= run.location && index < run.location + run.length) {
            return run.attributes;
        }
    }
    return Value();
}

void NSAttributedString::appendAttributedString(const NSAttributedString& other) {
    const auto offset = m_string.size();
    m_string += other.m_string;
    for (auto run : other.m_runs) {
        run.location += offset;
        m_runs.push_back(std::move(run));
    }
    mergeNeighbours();
}

std::size_t NSAttributedString::splitAt(std::size_t index) {
    for (std::size_t i = 0; i < m_runs.size(); ++i) {
        auto& run = m_runs[i];
        if (run.location == index) {
            return i;
        }
        if (index > run.location && index < run.location + run.length) {
            Run tail{index, run.location + run.length - index, run.attributes};
            run.length = index - run.location;
            m_runs.insert(m_runs.begin() + static_cast<long>(i) + 1, std::move(tail));
            return i + 1;
        }
    }
    return m_runs.size();
}

void NSAttributedString::addAttribute(const std::string& name, const Value& value,
                                      std::size_t location, std::size_t length) {
    const auto end = std::min(location + length, m_string.size());
    if (location >= end) {
        return;
    }
    splitAt(end);
    for (auto i = splitAt(location); i < m_runs.size() && m_runs[i].location < end; ++i) {
        m_runs[i].attributes.set(name, value);
    }
    mergeNeighbours();
}

void NSAttributedString::mergeNeighbours() {
    std::vector<Run> merged;
    for (auto& run : m_runs) {
        if (!merged.empty() && merged.back().attributes == run.attributes) {
            merged.back().length += run.length;
        } else {
            merged.push_back(std::move(run));
        }
    }
    m_runs = std::move(merged);
}

Value NSAttributedString::toValue() const {
    Value runs = Value::array();
    for (const auto& run : m_runs) {
        Value r = Value::dictionary();
        r.set("location", Value::number(static_cast<std::int64_t>(run.location)));
        r.set("length", Value::number(static_cast<std::int64_t>(run.length)));
        r.set("attributes", run.attributes);
        runs.append(std::move(r));
    }
    Value v = Value::dictionary();
    v.set("string", Value::string(m_string));
    v.set("runs", std::move(runs));
    return v;
}

NSAttributedString NSAttributedString::fromValue(const Value& value) {
    NSAttributedString text;
    text.m_string = value.get("string").stringValue();
    for (const auto& r : value.get("runs").arrayValue()) {
        text.m_runs.push_back({static_cast<std::size_t>(r.get("location").longLongValue()),
                               static_cast<std::size_t>(r.get("length").longLongValue()),
                               r.get("attributes")});
    }
    return text;
}

bool NSAttributedString::operator==(const NSAttributedString& other) const {
    if (m_string != other.m_string || m_runs.size() != other.m_runs.size()) {
        return false;
    }
    for (std::size_t i = 0; i < m_runs.size(); ++i) {
        const auto& a = m_runs[i];
        const auto& b = other.m_runs[i];
        if (a.location != b.location || a.length != b.length || a.attributes != b.attributes) {
            return false;
        }
    }
    return true;
}

}  // namespace qn::platform
