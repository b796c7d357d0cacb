#pragma once

#include <string>
#include <utility>
#include <vector>

#include "sys/libutils/OptionSource.h"

namespace qn::sys::option {

// Where options persist: a key holding named text values and named sub-keys.
class DataStore {
  public:
    // The sub-key store of that name, owned by this store; null if it doesn't
    // exist and `create` is false.
    virtual DataStore* getChild(const std::string& name, bool create) = 0;
    virtual ~DataStore() = default;
    // Reads the backing copy again and drops the children.
    virtual void refresh() = 0;
    virtual void listValues(std::vector<std::string>& names) = 0;
    virtual void listChildren(std::vector<std::string>& names) = 0;
    // SourceNone and an empty text for a name that isn't there.
    virtual std::pair<OptionSource, std::string> getValue(const std::string& name) = 0;
    // Stores only what the program set; any other source is ignored.
    virtual void setValue(const std::string& name, const std::string& text,
                          OptionSource source) = 0;
    virtual void remove(const std::string& name) = 0;
};

}  // namespace qn::sys::option
