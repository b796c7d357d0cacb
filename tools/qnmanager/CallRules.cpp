#include "tools/qnmanager/CallRules.h"

namespace qn::tools::qnmanager {

CallRules::Rule CallRules::take(const std::string& selector) {
    const auto found = m_rules.find(selector);
    if (found == m_rules.end()) {
        return Rule{};
    }
    Rule rule = std::move(found->second);
    m_rules.erase(found);
    return rule;
}

}  // namespace qn::tools::qnmanager
