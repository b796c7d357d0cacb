#pragma once

#include "sys/libutils/Option.h"

namespace qn::sys::option {

// A boolean with a word behind it. People see "true" and "false"; the store
// keeps "yes" and "no", the form that the persistent tree reads.
class Bool : public SingleOption {
  public:
    Bool(std::string name, bool defaultValue, std::string description);
    std::unique_ptr<Option> clone() const override;
    std::string getValueText() const override;

    bool get() const { return m_value; }
    void set(bool value);

  protected:
    Bool(std::string name, bool defaultValue, std::string description, std::string parameterName);
    bool parseWord(const char* word) override;
    void readStoreText(const std::string& text) override;
    std::string storeText() const override;
    void assign(bool value) { m_value = value; }

  private:
    bool m_value;
};

// A boolean set by the option's word alone: it never takes the next word.
class Flag : public Bool {
  public:
    Flag(std::string name, std::string description);
    std::unique_ptr<Option> clone() const override;
    void parseArguments(int& count, char** arguments) override;
    // "flag" when set, else empty.
    std::string getValueText() const override;
    // "-" and the name when set, else empty.
    std::string getCommandLine() const override;
};

}  // namespace qn::sys::option
