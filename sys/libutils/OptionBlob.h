#pragma once

#include <cstdint>
#include <vector>

#include "sys/libutils/Option.h"

namespace qn::sys::option {

// A byte vector. Its text form is the byte count, then each byte, all in
// hexadecimal without prefix and separated by one blank: bytes 1, 255 are
// "2 1 ff". On the command line the form spans as many words as it needs.
class Blob : public SingleOption {
  public:
    Blob(std::string name, const std::string& defaultText, std::string description,
         std::string parameterName);
    // Built from the value text, so a copy starts again at SourceDefault.
    std::unique_ptr<Option> clone() const override;
    void parseArguments(int& count, char** arguments) override;
    std::string getValueText() const override;

    const std::vector<std::uint8_t>& get() const { return m_blob; }
    void set(const std::vector<std::uint8_t>& value);
    void set(const std::string& text);

  protected:
    bool parseWord(const char* word) override;
    void readStoreText(const std::string& text) override;
    std::string storeText() const override;

  private:
    void readForm(std::istream& stream);

    std::vector<std::uint8_t> m_blob;
};

}  // namespace qn::sys::option
