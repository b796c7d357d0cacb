#pragma once

#include <memory>
#include <ostream>
#include <string>

#include "sys/libutils/DataStore.h"
#include "sys/libutils/OptionSource.h"

namespace qn::sys::option {

// A named, typed setting that takes its value from a default, a store and the
// command line, in that order of precedence: each step simply overwrites.
class Option {
  public:
    Option(std::string name, std::string description, std::string parameterName);
    virtual ~Option() = default;

    virtual std::unique_ptr<Option> clone() const = 0;
    // `count` in: words from arguments[0], the option's own word; out: how many
    // were consumed, 0 if the option refuses.
    virtual void parseArguments(int& count, char** arguments) = 0;
    virtual std::string getValueText() const = 0;
    virtual std::string getCommandLine() const = 0;
    virtual void load(DataStore& store);
    virtual void load(DataStore& store, const std::string& key) = 0;
    virtual void save(DataStore& store);
    virtual void save(DataStore& store, const std::string& key) = 0;
    virtual void forget(DataStore& store) = 0;
    virtual void printUsage(std::ostream& stream, int indent, int width) const;
    virtual int getUsageWidth() const;

    const std::string& getName() const { return m_name; }
    void setName(const std::string& name) { m_name = name; }
    const std::string& getDescription() const { return m_description; }
    const std::string& getParameterName() const { return m_parameterName; }
    OptionSource getSource() const { return m_source; }

  protected:
    Option(const Option&) = default;
    Option& operator=(const Option&) = default;
    void setSource(OptionSource source) { m_source = source; }
    // "-", the name, a blank, the parameter name, a blank.
    std::string usageLeftColumn() const;

  private:
    std::string m_name;
    std::string m_description;
    std::string m_parameterName;
    OptionSource m_source = SourceDefault;
};

// The root of the value types. What they share is done here once: a value
// is one word on the command line and one text in the store, under the
// option's name; the types differ only in how they read and write it.
class SingleOption : public Option {
  public:
    using Option::Option;

    // Takes the word behind the option's own: count 2, or 0 if refused.
    void parseArguments(int& count, char** arguments) override;
    // "-", the name, a blank and the value text.
    std::string getCommandLine() const override;
    using Option::load;
    using Option::save;
    // A store answer other than SourceNone gives both value and source.
    void load(DataStore& store, const std::string& key) override;
    void save(DataStore& store, const std::string& key) override;
    void forget(DataStore& store) override;

  protected:
    // False refuses the word; a null word reads as empty.
    virtual bool parseWord(const char* word) = 0;
    virtual void readStoreText(const std::string& text) = 0;
    virtual std::string storeText() const = 0;
    void setProgramSource() { setSource(SourceProgram); }
};

// One line of a usage text: `left`, then `description` starting at column
// width + 1, or directly behind `left` when that is longer.
void printUsageLine(std::ostream& stream, const std::string& left, const std::string& description,
                    int width);

}  // namespace qn::sys::option
