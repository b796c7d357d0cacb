#pragma once

#include <cstdint>

#include "sys/libutils/Option.h"

namespace qn::sys::option {

// Two numbers written "x,y"; blanks around them and the comma are free. A
// point that no source ever set has an empty text.
class Point : public SingleOption {
  public:
    struct Value {
        std::int32_t x = 0;
        std::int32_t y = 0;
    };

    Point(std::string name, Value defaultPoint, std::string description);
    std::unique_ptr<Option> clone() const override;
    std::string getValueText() const override;

    bool isSet() const { return m_isSet; }
    Value get() const { return m_value; }
    void set(Value value);

  protected:
    // Refuses anything but exactly two numbers: a bad point on the command
    // line thus reads as an unknown argument.
    bool parseWord(const char* word) override;
    void readStoreText(const std::string& text) override;
    std::string storeText() const override;

  private:
    bool m_isSet = false;
    Value m_value;
};

}  // namespace qn::sys::option
