#include "sys/libutils/CollectionImpl.h"

#include "sys/libutils/OptionAssert.h"

namespace qn::sys::option {

void CollectionImpl::load(DataStore& store, const std::string& key) {
    DataStore* child = store.getChild(key, false);
    if (child == nullptr) {
        return;
    }
    std::vector<std::string> names;
    listElements(*child, names);
    Members fresh;
    for (const auto& name : names) {
        std::unique_ptr<Option> element = createElement(name);
        element->load(*child);
        fresh.push_back(std::move(element));
    }
    members().swap(fresh);
}

void CollectionImpl::save(DataStore& store, const std::string& key) {
    store.remove(key);
    DataStore* collectionData = store.getChild(key, true);
    QN_OPTION_ASSERT(collectionData != 0);
    if (collectionData == nullptr) {
        return;
    }
    for (std::size_t i = 0; i < members().size(); ++i) {
        members()[i]->save(*collectionData, std::to_string(i));
    }
}

Option* CollectionImpl::addNew() {
    members().push_back(createElement(""));
    return members().back().get();
}

Option* CollectionImpl::add(const Option& prototype) {
    members().push_back(prototype.clone());
    return members().back().get();
}

void CollectionImpl::removeAt(std::size_t position) {
    if (position < members().size()) {
        members().erase(members().begin() + static_cast<std::ptrdiff_t>(position));
    }
}

void CollectionImpl::remove(const std::string& name) {
    for (auto i = members().begin(); i != members().end(); ++i) {
        if ((*i)->getName() == name) {
            members().erase(i);
            return;
        }
    }
}

}  // namespace qn::sys::option
