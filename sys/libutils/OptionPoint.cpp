#include "sys/libutils/OptionPoint.h"

#include <cstdio>

namespace qn::sys::option {

namespace {
bool readPoint(const char* text, Point::Value& value) {
    int x = 0;
    int y = 0;
    char rest = 0;
    if (std::sscanf(text, " %d , %d %c", &x, &y, &rest) != 2) {
        return false;
    }
    value.x = x;
    value.y = y;
    return true;
}
}  // namespace

Point::Point(std::string name, Value defaultPoint, std::string description)
    : SingleOption(std::move(name), std::move(description), "X,Y"), m_value(defaultPoint) {}

std::unique_ptr<Option> Point::clone() const {
    return std::make_unique<Point>(*this);
}

std::string Point::getValueText() const {
    return m_isSet ? std::to_string(m_value.x) + "," + std::to_string(m_value.y) : "";
}

void Point::set(Value value) {
    m_value = value;
    m_isSet = true;
    setProgramSource();
}

bool Point::parseWord(const char* word) {
    if (!readPoint(word, m_value)) {
        return false;
    }
    m_isSet = true;
    return true;
}

void Point::readStoreText(const std::string& text) {
    m_isSet = readPoint(text.c_str(), m_value);
}

std::string Point::storeText() const {
    return getValueText();
}

}  // namespace qn::sys::option
