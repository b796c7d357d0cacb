#include "sys/libutils/MapImpl.h"

namespace qn::sys::option {

void MapImpl::load(DataStore& store, const std::string& key) {
    const bool reloaded = reloadMembers(
        store, key,
        [this](DataStore& child, std::vector<std::string>& names) { listElements(child, names); },
        [this](const std::string& name) { return createElement(name); });
    if (reloaded) {
        rebuildIndex();
    }
}

void MapImpl::save(DataStore& store, const std::string& key) {
    DataStore* collectionData = recreateChild(store, key);
    if (collectionData == nullptr) {
        return;
    }
    for (const auto& [name, option] : index()) {
        option->save(*collectionData);
    }
}

}  // namespace qn::sys::option
