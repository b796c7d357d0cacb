#include "sys/libutils/OptionString.h"

#include "sys/libutils/Conversions.h"

namespace qn::sys::option {

String::String(std::string name, std::string defaultValue, std::string description,
               std::string parameterName)
    : SingleOption(std::move(name), std::move(description), std::move(parameterName)),
      m_value(std::move(defaultValue)) {}

std::unique_ptr<Option> String::clone() const {
    return std::make_unique<String>(*this);
}

std::string String::getValueText() const {
    return m_value;
}

void String::set(const char* value) {
    set(std::string(value != nullptr ? value : ""));
}

void String::set(const std::string& value) {
    m_value = value;
    setProgramSource();
}

void String::set(const wchar_t* value) {
    set(value != nullptr ? ToNarrowString(value) : std::string());
}

void String::set(const std::wstring& value) {
    set(ToNarrowString(value));
}

bool String::parseWord(const char* word) {
    m_value = word;
    return true;
}

void String::readStoreText(const std::string& text) {
    m_value = text;
}

std::string String::storeText() const {
    return m_value;
}

std::unique_ptr<Option> Directory::clone() const {
    return std::make_unique<Directory>(*this);
}

}  // namespace qn::sys::option
