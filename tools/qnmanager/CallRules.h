#pragma once
// What the stand-in does to the next call of a selector: refuse it with a message, or
// answer it late. Each rule serves one call.

#include <map>
#include <optional>
#include <string>

namespace qn::tools::qnmanager {

class CallRules {
  public:
    struct Rule {
        std::optional<std::string> refusal;
        double delaySeconds = 0;
    };

    void refuseNext(const std::string& selector, std::string message) {
        m_rules[selector].refusal = std::move(message);
    }
    void delayNext(const std::string& selector, double seconds) {
        m_rules[selector].delaySeconds = seconds;
    }
    // The rule for this call, used up by taking it.
    Rule take(const std::string& selector);

  private:
    std::map<std::string, Rule> m_rules;
};

}  // namespace qn::tools::qnmanager
