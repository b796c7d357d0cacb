#include "tools/qninstr/SilentStore.h"

namespace qn::tools::qninstr {

using sys::option::DataStore;
using sys::option::OptionSource;

DataStore* SilentStore::getChild(const std::string& /*name*/, bool /*create*/) {
    return nullptr;
}
void SilentStore::refresh() {}
void SilentStore::listValues(std::vector<std::string>& /*names*/) {}
void SilentStore::listChildren(std::vector<std::string>& /*names*/) {}
std::pair<OptionSource, std::string> SilentStore::getValue(const std::string& /*name*/) {
    return {sys::option::SourceNone, std::string()};
}
void SilentStore::setValue(const std::string& /*name*/, const std::string& /*text*/,
                           OptionSource /*source*/) {}
void SilentStore::remove(const std::string& /*name*/) {}

}  // namespace qn::tools::qninstr
