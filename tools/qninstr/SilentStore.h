#pragma once

#include "sys/libutils/DataStore.h"

namespace qn::tools::qninstr {

// The tool keeps no settings: a store that holds nothing and keeps nothing,
// so that its options come from their defaults and the command line alone.
class SilentStore : public sys::option::DataStore {
  public:
    DataStore* getChild(const std::string& name, bool create) override;
    void refresh() override;
    void listValues(std::vector<std::string>& names) override;
    void listChildren(std::vector<std::string>& names) override;
    std::pair<sys::option::OptionSource, std::string> getValue(const std::string& name) override;
    void setValue(const std::string& name, const std::string& text,
                  sys::option::OptionSource source) override;
    void remove(const std::string& name) override;
};

}  // namespace qn::tools::qninstr
