#include "sys/libutils/CollectionImpl.h"

namespace qn::sys::option {

void CollectionImpl::load(DataStore& store, const std::string& key) {
    reloadMembers(
        store, key,
        [this](DataStore& child, std::vector<std::string>& names) { listElements(child, names); },
        [this](const std::string& name) { return createElement(name); });
}

void CollectionImpl::save(DataStore& store, const std::string& key) {
    DataStore* collectionData = recreateChild(store, key);
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
