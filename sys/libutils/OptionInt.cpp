#include "sys/libutils/OptionInt.h"

#include <cstdlib>

#include "sys/libutils/Conversions.h"

namespace qn::sys::option {

namespace {
std::int32_t fromCNotation(const char* text) {
    return static_cast<std::int32_t>(std::strtol(text != nullptr ? text : "", nullptr, 0));
}
}  // namespace

Int::Int(std::string name, std::int32_t defaultValue, std::string description,
         std::string parameterName)
    : SingleOption(std::move(name), std::move(description), std::move(parameterName)),
      m_value(defaultValue) {}

std::unique_ptr<Option> Int::clone() const {
    return std::make_unique<Int>(*this);
}

std::string Int::getValueText() const {
    return IntToString(m_value);
}

void Int::set(std::int32_t value) {
    m_value = value;
    setProgramSource();
}

void Int::set(const char* value) {
    set(fromCNotation(value));
}

bool Int::parseWord(const char* word) {
    m_value = fromCNotation(word);
    return true;
}

void Int::readStoreText(const std::string& text) {
    m_value = StringToInt(text);
}

std::string Int::storeText() const {
    return IntToString(m_value);
}

}  // namespace qn::sys::option
