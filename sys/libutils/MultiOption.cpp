#include "sys/libutils/MultiOption.h"

#include "sys/libutils/OptionAssert.h"
#include "sys/libutils/PersistException.h"

namespace qn::sys::option {

MultiOption::MultiOption(std::string name, std::string description)
    : Option(std::move(name), std::move(description), "") {}

MultiOption::MultiOption(const MultiOption& other)
    : Option(other), m_options(cloneAll(other.m_options)) {}

MultiOption& MultiOption::operator=(const MultiOption& other) {
    if (this != &other) {
        Members copy = cloneAll(other.m_options);
        Option::operator=(other);
        m_options.swap(copy);
    }
    return *this;
}

MultiOption::~MultiOption() = default;

MultiOption::Members MultiOption::cloneAll(const Members& from) {
    // A failing clone unwinds `made`, destroying the members cloned so far.
    Members made;
    made.reserve(from.size());
    for (const auto& option : from) {
        made.push_back(option->clone());
    }
    return made;
}

bool MultiOption::reloadMembers(DataStore& store, const std::string& key, const ElementLister& list,
                                const ElementMaker& make) {
    DataStore* child = store.getChild(key, false);
    if (child == nullptr) {
        return false;
    }
    std::vector<std::string> names;
    list(*child, names);
    Members made;
    for (const auto& name : names) {
        std::unique_ptr<Option> element = make(name);
        element->load(*child);
        made.push_back(std::move(element));
    }
    m_options.swap(made);
    return true;
}

DataStore* MultiOption::recreateChild(DataStore& store, const std::string& key) {
    store.remove(key);
    DataStore* collectionData = store.getChild(key, true);
    QN_OPTION_ASSERT(collectionData != 0);
    return collectionData;
}

void MultiOption::parseArguments(int& /*count*/, char** /*arguments*/) {}

std::string MultiOption::getCommandLine() const {
    std::string line;
    for (const auto& option : m_options) {
        const std::string part = option->getCommandLine();
        if (!part.empty()) {
            line += part + " ";
        }
    }
    return line;
}

std::string MultiOption::getValueText() const {
    return getCommandLine();
}

void MultiOption::load(DataStore& store, const std::string& key) {
    DataStore* child = store.getChild(key, false);
    if (child == nullptr) {
        return;
    }
    for (auto& option : m_options) {
        option->load(*child);
    }
}

void MultiOption::save(DataStore& store, const std::string& key) {
    DataStore* child = store.getChild(key, true);
    for (auto& option : m_options) {
        option->save(*child);
    }
}

void MultiOption::forget(DataStore& store) {
    if (DataStore* child = store.getChild(getName(), false)) {
        for (auto& option : m_options) {
            option->forget(*child);
        }
    }
    try {
        store.remove(getName());
    } catch (const PersistException&) {
        // The key may never have existed; nothing to forget then.
    }
}

void MultiOption::printUsage(std::ostream& stream, int indent, int width) const {
    const std::string margin(static_cast<std::size_t>(2 * indent), ' ');
    stream << std::endl << margin << getName() << std::endl;
    for (const auto& option : m_options) {
        stream << margin;
        option->printUsage(stream, indent + 1, width);
    }
}

int MultiOption::getUsageWidth() const {
    int width = 0;
    for (const auto& option : m_options) {
        width = std::max(width, option->getUsageWidth());
    }
    return width;
}

std::unique_ptr<Option> Composite::clone() const {
    return std::make_unique<Composite>(*this);
}

Option* Composite::add(const Option& prototypeInstance) {
    QN_OPTION_ASSERT(getOption(prototypeInstance.getName()) == 0);
    members().push_back(prototypeInstance.clone());
    return members().back().get();
}

Option* Composite::getOption(const std::string& name) const {
    for (const auto& option : members()) {
        if (option->getName() == name) {
            return option.get();
        }
    }
    return nullptr;
}

}  // namespace qn::sys::option
