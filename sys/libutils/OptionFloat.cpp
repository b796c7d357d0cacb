#include "sys/libutils/OptionFloat.h"

#include "sys/libutils/Conversions.h"

namespace qn::sys::option {

Float::Float(std::string name, double defaultValue, std::string description,
             std::string parameterName)
    : SingleOption(std::move(name), std::move(description), std::move(parameterName)),
      m_value(defaultValue) {}

std::unique_ptr<Option> Float::clone() const {
    return std::make_unique<Float>(*this);
}

std::string Float::getValueText() const {
    return DoubleToString(m_value);
}

void Float::set(double value) {
    m_value = value;
    setProgramSource();
}

bool Float::parseWord(const char* word) {
    m_value = StringToDouble(word);
    return true;
}

void Float::readStoreText(const std::string& text) {
    m_value = StringToDouble(text);
}

std::string Float::storeText() const {
    return getValueText();
}

}  // namespace qn::sys::option
