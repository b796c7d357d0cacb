#pragma once

#include <cstdint>

#include "sys/libutils/Option.h"

namespace qn::sys::option {

// A signed 32-bit number. The command line and the setters read C notation
// (decimal, 0x, leading 0 for octal); the store reads decimal only.
class Int : public SingleOption {
  public:
    Int(std::string name, std::int32_t defaultValue, std::string description,
        std::string parameterName);
    std::unique_ptr<Option> clone() const override;
    std::string getValueText() const override;

    std::int32_t get() const { return m_value; }
    void set(std::int32_t value);
    void set(const char* value);

  protected:
    bool parseWord(const char* word) override;
    void readStoreText(const std::string& text) override;
    std::string storeText() const override;

  private:
    std::int32_t m_value;
};

}  // namespace qn::sys::option
