#pragma once

#include <boost/lexical_cast.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace qn::sys {

// printf-style formatting into a string of any length.
std::string FormatString(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Remove blanks, tabs, carriage returns and newlines from one end.
std::string TrimRight(const std::string& text);
std::string TrimLeft(const std::string& text);
std::wstring TrimRight(const std::wstring& text);
std::wstring TrimLeft(const std::wstring& text);

// Clears words, then cuts text at any of the delimiters; runs of delimiters
// give no empty words. Returns the count of words.
std::size_t Split(const std::string& text, const std::string& delimiters,
                  std::vector<std::string>& words);

// Removes one quotation mark at each end, where there is one.
std::wstring StripQuotes(const std::wstring& text);

// Reads delimited values; throws std::invalid_argument
// "Couldn't parse data into vector: <data>"" if one does not convert.
template <typename T>
std::vector<T> ParseIntoVector(const std::string& data, const std::string& delimiters) {
    std::vector<std::string> words;
    Split(data, delimiters, words);
    std::vector<T> values;
    values.reserve(words.size());
    try {
        for (const std::string& word : words) {
            values.push_back(boost::lexical_cast<T>(word));
        }
    } catch (const boost::bad_lexical_cast&) {
        throw std::invalid_argument("Couldn't parse data into vector: " + data + "\"");
    }
    return values;
}

}  // namespace qn::sys
