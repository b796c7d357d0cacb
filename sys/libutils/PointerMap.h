#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sys/libutils/IndexedMultiOption.h"

namespace qn::sys::option {

// Options of mixed dynamic type named by key. In a store each element is a
// sub-key holding "type" and "value", so that load knows what to build.
class PointerMap : public IndexedMultiOption {
  public:
    using IndexedMultiOption::IndexedMultiOption;

    using MultiOption::load;
    using MultiOption::save;
    void load(DataStore& store, const std::string& key) override;
    // Elements without a type text are passed over.
    void save(DataStore& store, const std::string& key) override;

  protected:
    // A new element for a type text, or null for one that isn't known.
    virtual std::unique_ptr<Option> createForType(const std::string& typeName) = 0;
    // The type text of an element, or empty.
    virtual std::string getTypeOf(const Option& option) const = 0;
    virtual void listElements(DataStore& store, std::vector<std::string>& names);
};

}  // namespace qn::sys::option
