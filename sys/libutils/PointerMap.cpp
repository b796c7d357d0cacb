#include "sys/libutils/PointerMap.h"

namespace qn::sys::option {

void PointerMap::listElements(DataStore& store, std::vector<std::string>& names) {
    store.listChildren(names);
}

void PointerMap::load(DataStore& store, const std::string& key) {
    DataStore* child = store.getChild(key, false);
    if (child == nullptr) {
        return;
    }
    std::vector<std::string> names;
    listElements(*child, names);
    Members fresh;
    Index freshIndex;
    for (const auto& name : names) {
        DataStore* element = child->getChild(name, false);
        if (element == nullptr) {
            continue;
        }
        const auto [source, typeName] = element->getValue("type");
        if (source == SourceNone) {
            continue;
        }
        std::unique_ptr<Option> option = createForType(typeName);
        if (!option) {
            continue;
        }
        option->load(*element, "value");
        option->setName(name);
        freshIndex[name] = option.get();
        fresh.push_back(std::move(option));
    }
    replace(fresh, freshIndex);
}

void PointerMap::save(DataStore& store, const std::string& key) {
    DataStore* collectionData = recreateChild(store, key);
    if (collectionData == nullptr) {
        return;
    }
    for (const auto& [name, option] : index()) {
        const std::string typeName = getTypeOf(*option);
        if (typeName.empty()) {
            continue;
        }
        DataStore* element = collectionData->getChild(name, true);
        element->setValue("type", typeName, SourceProgram);
        option->save(*element, "value");
    }
}

}  // namespace qn::sys::option
