#pragma once

#include "sys/libutils/Option.h"

namespace qn::sys::option {

// A double, read and written by a stream in its default form.
class Float : public SingleOption {
  public:
    Float(std::string name, double defaultValue, std::string description,
          std::string parameterName);
    std::unique_ptr<Option> clone() const override;
    std::string getValueText() const override;

    double get() const { return m_value; }
    void set(double value);

  protected:
    bool parseWord(const char* word) override;
    void readStoreText(const std::string& text) override;
    std::string storeText() const override;

  private:
    double m_value;
};

}  // namespace qn::sys::option
