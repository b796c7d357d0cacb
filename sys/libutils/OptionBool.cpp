#include "sys/libutils/OptionBool.h"

#include "sys/libutils/Conversions.h"

namespace qn::sys::option {

Bool::Bool(std::string name, bool defaultValue, std::string description)
    : Bool(std::move(name), defaultValue, std::move(description), "") {}

Bool::Bool(std::string name, bool defaultValue, std::string description, std::string parameterName)
    : SingleOption(std::move(name), std::move(description), std::move(parameterName)),
      m_value(defaultValue) {}

std::unique_ptr<Option> Bool::clone() const {
    return std::make_unique<Bool>(*this);
}

std::string Bool::getValueText() const {
    return m_value ? "true" : "false";
}

void Bool::set(bool value) {
    m_value = value;
    setProgramSource();
}

bool Bool::parseWord(const char* word) {
    m_value = StringToBool(word);
    return true;
}

void Bool::readStoreText(const std::string& text) {
    m_value = StringToBool(text);
}

std::string Bool::storeText() const {
    return BoolToString(m_value);
}

Flag::Flag(std::string name, std::string description)
    : Bool(std::move(name), false, std::move(description), "") {}

std::unique_ptr<Option> Flag::clone() const {
    return std::make_unique<Flag>(*this);
}

void Flag::parseArguments(int& count, char** /*arguments*/) {
    assign(true);
    setSource(SourceCommandLine);
    count = 1;
}

std::string Flag::getValueText() const {
    return get() ? "flag" : "";
}

std::string Flag::getCommandLine() const {
    return get() ? "-" + getName() : "";
}

}  // namespace qn::sys::option
