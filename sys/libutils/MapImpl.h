#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sys/libutils/IndexedMultiOption.h"

namespace qn::sys::option {

// Like options named by key; in a store each lies under its own name.
class MapImpl : public IndexedMultiOption {
  public:
    using IndexedMultiOption::IndexedMultiOption;

    using MultiOption::load;
    using MultiOption::save;
    // Replaces all members by what the store holds; an absent key keeps them.
    void load(DataStore& store, const std::string& key) override;
    // Rewrites the whole key, in the order of the names.
    void save(DataStore& store, const std::string& key) override;

  protected:
    virtual void listElements(DataStore& store, std::vector<std::string>& names) = 0;
    virtual std::unique_ptr<Option> createElement(const std::string& name) = 0;
};

}  // namespace qn::sys::option
