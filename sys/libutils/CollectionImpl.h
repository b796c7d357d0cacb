#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sys/libutils/MultiOption.h"

namespace qn::sys::option {

// A list of like options, kept in a store by position: member i lies under
// the decimal key i, whatever its own name.
class CollectionImpl : public MultiOption {
  public:
    using MultiOption::MultiOption;

    using MultiOption::load;
    using MultiOption::save;
    // Replaces all members by what the store holds; an absent key keeps them.
    void load(DataStore& store, const std::string& key) override;
    // Rewrites the whole key.
    void save(DataStore& store, const std::string& key) override;

    Option* addNew();
    Option* add(const Option& prototype);
    void removeAt(std::size_t position);
    // The first member of that name; nothing if there is none.
    void remove(const std::string& name);

  protected:
    // The names under which the store holds this container's elements.
    virtual void listElements(DataStore& store, std::vector<std::string>& names) = 0;
    virtual std::unique_ptr<Option> createElement(const std::string& name) = 0;
};

}  // namespace qn::sys::option
