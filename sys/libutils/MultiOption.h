#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sys/libutils/Option.h"

namespace qn::sys::option {

// An option made of options, which it owns in order of adding. In a store it
// is a sub-key of its own name holding its members.
class MultiOption : public Option {
  public:
    MultiOption(std::string name, std::string description);
    // Clones every member aside and swaps them in only when all succeeded.
    MultiOption(const MultiOption& other);
    MultiOption& operator=(const MultiOption& other);
    ~MultiOption() override;

    // A container takes no word of its own: `count` stays as it is.
    void parseArguments(int& count, char** arguments) override;
    // The non-empty command lines of the members, each followed by a blank.
    std::string getCommandLine() const override;
    std::string getValueText() const override;
    using Option::load;
    using Option::save;
    void load(DataStore& store, const std::string& key) override;
    void save(DataStore& store, const std::string& key) override;
    void forget(DataStore& store) override;
    void printUsage(std::ostream& stream, int indent, int width) const override;
    int getUsageWidth() const override;

    std::size_t size() const { return m_options.size(); }
    Option& at(std::size_t position) const { return *m_options.at(position); }

  protected:
    using Members = std::vector<std::unique_ptr<Option>>;
    Members& members() { return m_options; }
    const Members& members() const { return m_options; }
    static Members cloneAll(const Members& from);
    using ElementLister = std::function<void(DataStore&, std::vector<std::string>&)>;
    using ElementMaker = std::function<std::unique_ptr<Option>(const std::string&)>;
    // Replaces all members by one element per name that `list` finds under
    // the key, each made by `make` and loaded. False, and nothing changed, if
    // the key is absent. A failure destroys the elements made so far and
    // passes on, so the members stay as they were.
    bool reloadMembers(DataStore& store, const std::string& key, const ElementLister& list,
                       const ElementMaker& make);
    // Empties the key by removing it, then makes it again: a container's save
    // rewrites its whole content.
    static DataStore* recreateChild(DataStore& store, const std::string& key);

  private:
    Members m_options;
};

// A fixed set of differently named options, stored as one sub-key.
class Composite : public MultiOption {
  public:
    using MultiOption::MultiOption;
    std::unique_ptr<Option> clone() const override;

    // Appends a clone of the prototype and returns it.
    Option* add(const Option& prototypeInstance);
    // The member of that name, or null.
    Option* getOption(const std::string& name) const;
};

}  // namespace qn::sys::option
