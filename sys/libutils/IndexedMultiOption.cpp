#include "sys/libutils/IndexedMultiOption.h"

#include "sys/libutils/OptionAssert.h"

namespace qn::sys::option {

IndexedMultiOption::IndexedMultiOption(const IndexedMultiOption& other) : MultiOption(other) {
    rebuildIndex();
}

IndexedMultiOption& IndexedMultiOption::operator=(const IndexedMultiOption& other) {
    if (this != &other) {
        MultiOption::operator=(other);
        rebuildIndex();
    }
    return *this;
}

void IndexedMultiOption::rebuildIndex() {
    m_index.clear();
    for (auto& option : members()) {
        m_index[option->getName()] = option.get();
    }
}

void IndexedMultiOption::replace(Members& fresh, Index& freshIndex) {
    members().swap(fresh);
    m_index.swap(freshIndex);
}

Option* IndexedMultiOption::add(const Option& prototype) {
    return adopt(prototype.clone());
}

Option* IndexedMultiOption::adopt(std::unique_ptr<Option> option) {
    Option* raw = option.get();
    members().push_back(std::move(option));
    m_index[raw->getName()] = raw;
    return raw;
}

void IndexedMultiOption::removeAt(std::size_t position) {
    if (position >= members().size()) {
        return;
    }
    auto i = members().begin() + static_cast<std::ptrdiff_t>(position);
    auto entry = m_index.find((*i)->getName());
    if (entry != m_index.end() && entry->second == i->get()) {
        m_index.erase(entry);
    }
    members().erase(i);
}

void IndexedMultiOption::remove(const std::string& name) {
    for (std::size_t i = 0; i < members().size(); ++i) {
        if (members()[i]->getName() == name) {
            removeAt(i);
            return;
        }
    }
}

bool IndexedMultiOption::find(const std::string& key) const {
    auto entry = m_index.find(key);
    return entry != m_index.end() && entry->second != nullptr;
}

Option* IndexedMultiOption::get(const std::string& key) const {
    QN_OPTION_ASSERT(find(key));
    auto entry = m_index.find(key);
    return entry == m_index.end() ? nullptr : entry->second;
}

}  // namespace qn::sys::option
