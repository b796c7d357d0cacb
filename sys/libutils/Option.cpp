#include "sys/libutils/Option.h"

#include <iomanip>

namespace qn::sys::option {

Option::Option(std::string name, std::string description, std::string parameterName)
    : m_name(std::move(name)),
      m_description(std::move(description)),
      m_parameterName(std::move(parameterName)) {}

void Option::load(DataStore& store) {
    load(store, m_name);
}

void Option::save(DataStore& store) {
    save(store, m_name);
}

std::string Option::usageLeftColumn() const {
    return "-" + m_name + " " + m_parameterName + " ";
}

void Option::printUsage(std::ostream& stream, int /*indent*/, int width) const {
    printUsageLine(stream, usageLeftColumn(), m_description, width);
}

int Option::getUsageWidth() const {
    return static_cast<int>(usageLeftColumn().size());
}

void SingleOption::parseArguments(int& count, char** arguments) {
    if (count >= 2 && parseWord(arguments[1] != nullptr ? arguments[1] : "")) {
        setSource(SourceCommandLine);
        count = 2;
    } else {
        count = 0;
    }
}

std::string SingleOption::getCommandLine() const {
    return "-" + getName() + " " + getValueText();
}

void SingleOption::load(DataStore& store, const std::string& key) {
    auto [source, text] = store.getValue(key);
    if (source != SourceNone) {
        setSource(source);
        readStoreText(text);
    }
}

void SingleOption::save(DataStore& store, const std::string& key) {
    store.setValue(key, storeText(), getSource());
}

void SingleOption::forget(DataStore& store) {
    store.remove(getName());
}

void printUsageLine(std::ostream& stream, const std::string& left, const std::string& description,
                    int width) {
    stream << left;
    // Right-aligned in a field that ends the padding exactly at column width + 1.
    const int field =
        static_cast<int>(description.size()) + width + 1 - static_cast<int>(left.size());
    stream << std::setw(field) << description << std::endl;
}

}  // namespace qn::sys::option
