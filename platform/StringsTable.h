#pragma once
// A bundle's strings table in its text form: lines of "KEY" = "text"; with C comments,
// and \" \\ \n escapes inside the quotes. Backends read the shipped tables with it.

#include <map>
#include <stdexcept>
#include <string>

namespace qn::platform {

class StringsTableError : public std::runtime_error {
  public:
    StringsTableError(int line, const std::string& what)
        : std::runtime_error("line " + std::to_string(line) + ": " + what), m_line(line) {}
    int line() const { return m_line; }

  private:
    int m_line;
};

// Throws StringsTableError for anything that is not a well-formed table.
std::map<std::string, std::string> parseStringsTable(const std::string& text);

}  // namespace qn::platform
