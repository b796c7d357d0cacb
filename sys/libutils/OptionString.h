#pragma once

#include <string>

#include "sys/libutils/Option.h"

namespace qn::sys::option {

// A text, taken as it is from the word and from the store.
class String : public SingleOption {
  public:
    String(std::string name, std::string defaultValue, std::string description,
           std::string parameterName);
    std::unique_ptr<Option> clone() const override;
    std::string getValueText() const override;

    const std::string& get() const { return m_value; }
    void set(const char* value);
    void set(const std::string& value);
    void set(const wchar_t* value);
    void set(const std::wstring& value);

  protected:
    bool parseWord(const char* word) override;
    void readStoreText(const std::string& text) override;
    std::string storeText() const override;

  private:
    std::string m_value;
};

// A directory path; it behaves as a String in every respect.
class Directory : public String {
  public:
    using String::String;
    std::unique_ptr<Option> clone() const override;
};

}  // namespace qn::sys::option
