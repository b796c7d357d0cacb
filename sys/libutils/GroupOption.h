#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "sys/libutils/MultiOption.h"

namespace qn::sys::option {

// The top of a program's options: it lists them (without owning them), gives
// them their persistent store, walks an argument vector over them and prints
// the usage text. Its name is the program's name, its description the title.
class GroupOption : public MultiOption {
  public:
    // The store is the per-user registry store named after the program.
    GroupOption(std::string name, std::string title, std::string usageTail);
    // The same over a store of the caller's choosing.
    GroupOption(std::string name, std::string title, std::string usageTail,
                std::unique_ptr<DataStore> store);
    ~GroupOption() override;

    // Never: a group is the one top of a program.
    std::unique_ptr<Option> clone() const override;
    void parseArguments(int& count, char** arguments) override;
    std::string getValueText() const override;
    std::string getCommandLine() const override;
    using Option::load;
    using Option::save;
    // The key is disregarded: the members lie directly in the store's key.
    void load(DataStore& store, const std::string& key) override;
    void save(DataStore& store, const std::string& key) override;
    void forget(DataStore& store) override;
    void printUsage(std::ostream& stream, int indent, int width) const override;
    int getUsageWidth() const override;

    // Appends the option and loads it from the store at once.
    void add(Option& option);
    // Applies every option of the vector and takes their words out of it, so
    // that only operands stay. Throws MessageException 12 at the end if any
    // argument was unknown or refused; all known ones have been applied then.
    void parse(int& count, char** words);
    // The same walk on a copy; the caller's vector keeps the words left.
    void parsePreserving(int& count, char** words);
    void parsePreserving(int& count, wchar_t** argv);
    // The walk over one line split at blanks; the words left are dropped.
    void parse(const std::string& line);
    void printUsage(std::ostream& stream) const;

    DataStore& store() { return *m_store; }

  private:
    std::string m_usageTail;
    std::vector<Option*> m_members;
    std::unique_ptr<DataStore> m_store;
};

// A second name for a member of the group. It owns nothing: every operation
// but its own command line goes to the target.
class AliasOption : public Option {
  public:
    AliasOption(GroupOption& group, std::string name, Option& target);

    std::unique_ptr<Option> clone() const override;
    void parseArguments(int& count, char** arguments) override;
    std::string getValueText() const override;
    std::string getCommandLine() const override;
    using Option::load;
    using Option::save;
    // A value stored under the alias's name reaches the target.
    void load(DataStore& store, const std::string& key) override;
    void save(DataStore& store, const std::string& key) override;
    void forget(DataStore& store) override;

  private:
    Option* m_target;
};

}  // namespace qn::sys::option
