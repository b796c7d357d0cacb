#include "sys/libutils/MapImpl.h"

#include "sys/libutils/OptionAssert.h"

namespace qn::sys::option {

void MapImpl::load(DataStore& store, const std::string& key) {
    DataStore* child = store.getChild(key, false);
    if (child == nullptr) {
        return;
    }
    std::vector<std::string> names;
    listElements(*child, names);
    Members fresh;
    Index freshIndex;
    for (const auto& name : names) {
        std::unique_ptr<Option> element = createElement(name);
        element->load(*child);
        freshIndex[element->getName()] = element.get();
        fresh.push_back(std::move(element));
    }
    replace(fresh, freshIndex);
}

void MapImpl::save(DataStore& store, const std::string& key) {
    store.remove(key);
    DataStore* collectionData = store.getChild(key, true);
    QN_OPTION_ASSERT(collectionData != 0);
    if (collectionData == nullptr) {
        return;
    }
    for (const auto& [name, option] : index()) {
        option->save(*collectionData);
    }
}

}  // namespace qn::sys::option
