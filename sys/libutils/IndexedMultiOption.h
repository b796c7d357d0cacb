#pragma once

#include <map>
#include <memory>
#include <string>

#include "sys/libutils/MultiOption.h"

namespace qn::sys::option {

// What MapImpl and PointerMap share: members named by key. The members are
// owned by the vector; `index` only points at them, ordered by name.
class IndexedMultiOption : public MultiOption {
  public:
    using MultiOption::MultiOption;
    IndexedMultiOption(const IndexedMultiOption& other);
    IndexedMultiOption& operator=(const IndexedMultiOption& other);

    Option* add(const Option& prototype);
    Option* adopt(std::unique_ptr<Option> option);
    void removeAt(std::size_t position);
    void remove(const std::string& name);
    bool find(const std::string& key) const;
    Option* get(const std::string& key) const;

  protected:
    using Index = std::map<std::string, Option*>;
    const Index& index() const { return m_index; }
    // Takes over a new member list and its index together.
    void replace(Members& fresh, Index& freshIndex);
    void rebuildIndex();

  private:
    Index m_index;
};

}  // namespace qn::sys::option
