#include "sys/libutils/GroupOption.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "sys/libutils/Conversions.h"
#include "sys/libutils/Exception.h"
#include "sys/libutils/OptionAssert.h"
#include "sys/libutils/RegistryDataStore.h"

namespace qn::sys::option {

namespace {

// Constants of the build shown by the usage text.
constexpr const char* kVersionText = "1.0a (1)";
constexpr const char* kNotice = "Copyright (c) Quintor. All rights reserved.";
constexpr int kMaxUsageWidth = 30;
constexpr std::uint32_t kUnknownArgument = 12;

bool isOption(const char* word) {
    return word != nullptr && word[0] == '-' && word[1] != '\0';
}

}  // namespace

GroupOption::GroupOption(std::string name, std::string title, std::string usageTail)
    : MultiOption(name, std::move(title)),
      m_usageTail(std::move(usageTail)),
      m_store(std::make_unique<RegistryDataStore>(name, true)) {}

GroupOption::GroupOption(std::string name, std::string title, std::string usageTail,
                         std::unique_ptr<DataStore> store)
    : MultiOption(std::move(name), std::move(title)),
      m_usageTail(std::move(usageTail)),
      m_store(std::move(store)) {}

GroupOption::~GroupOption() = default;

std::unique_ptr<Option> GroupOption::clone() const {
    throw InternalError(1, 0, L"option::GroupOption should never be cloned");
}

void GroupOption::parseArguments(int& /*count*/, char** /*arguments*/) {}

std::string GroupOption::getValueText() const {
    return getCommandLine();
}

std::string GroupOption::getCommandLine() const {
    std::string line;
    for (const Option* option : m_members) {
        const std::string part = option->getCommandLine();
        if (!part.empty()) {
            line += part + " ";
        }
    }
    return line;
}

void GroupOption::load(DataStore& store, const std::string& /*key*/) {
    for (Option* option : m_members) {
        option->load(store);
    }
}

void GroupOption::save(DataStore& store, const std::string& /*key*/) {
    for (Option* option : m_members) {
        option->save(store);
    }
}

void GroupOption::forget(DataStore& store) {
    for (Option* option : m_members) {
        option->forget(store);
    }
}

void GroupOption::printUsage(std::ostream& stream, int indent, int width) const {
    const std::string margin(static_cast<std::size_t>(2 * indent), ' ');
    stream << std::endl << margin << getName() << std::endl;
    for (const Option* option : m_members) {
        stream << margin;
        option->printUsage(stream, indent, width);
    }
}

int GroupOption::getUsageWidth() const {
    int width = 0;
    for (const Option* option : m_members) {
        width = std::max(width, option->getUsageWidth());
    }
    return width;
}

void GroupOption::add(Option& option) {
    for (auto i = m_members.begin(); i != m_members.end(); ++i) {
        QN_OPTION_ASSERT(option.getName() != (*i)->getName());
    }
    m_members.push_back(&option);
    option.load(*m_store);
}

void GroupOption::parse(int& count, char** words) {
    if (count < 2) {
        return;
    }
    bool failed = false;
    int position = 1;
    while (position < count) {
        if (!isOption(words[position])) {
            ++position;
            continue;
        }
        const char* name = words[position] + 1;
        // One count for the whole search: a member of the name that refuses
        // leaves it at 0 for the next one of that name.
        int remaining = count - position;
        const int available = remaining;
        int consumed = 0;
        for (Option* option : m_members) {
            if (option->getName() != name) {
                continue;
            }
            option->parseArguments(remaining, words + position);
            if (remaining > 0) {
                consumed = remaining;
                break;
            }
        }
        if (consumed == 0) {
            std::printf("Unknown argument: -%s\n", name);
            std::fflush(stdout);
            failed = true;
            consumed = 1;
        }
        // A blob may claim more words than there are; never move past the end.
        consumed = std::min(consumed, available);
        std::memmove(words + position, words + position + consumed,
                     sizeof(char*) * static_cast<std::size_t>(count - position - consumed));
        count -= consumed;
    }
    if (failed) {
        throw MessageException(kUnknownArgument);
    }
}

void GroupOption::parsePreserving(int& count, char** words) {
    std::vector<char*> copy(words, words + count);
    int left = count;
    parse(left, copy.data());
    std::copy(copy.begin(), copy.begin() + left, words);
    count = left;
}

void GroupOption::parsePreserving(int& count, wchar_t** argv) {
    std::vector<std::string> narrow;
    narrow.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        narrow.push_back(argv[i] != nullptr ? ToNarrowString(argv[i]) : std::string());
    }
    std::vector<char*> narrowArgv;
    for (int i = 0; i < count; ++i) {
        narrowArgv.push_back(argv[i] != nullptr ? narrow[static_cast<std::size_t>(i)].data()
                                                : nullptr);
    }
    std::vector<char*> walked(narrowArgv);
    int left = count;
    parse(left, walked.data());
    // The walk keeps the order of the words it leaves, so one pass over the
    // original vector finds each left word's place.
    std::vector<wchar_t*> kept;
    int next = 0;
    for (int i = 0; i < count && next < left; ++i) {
        if (narrowArgv[static_cast<std::size_t>(i)] != walked[static_cast<std::size_t>(next)]) {
            continue;
        }
        QN_OPTION_ASSERT(argv[i] != 0 &&
                         std::string(narrowArgv[i]) == sys::ToNarrowString(argv[i]));
        kept.push_back(argv[i]);
        ++next;
    }
    std::copy(kept.begin(), kept.end(), argv);
    count = static_cast<int>(kept.size());
}

void GroupOption::parse(const std::string& line) {
    std::istringstream split("programName " + line);
    std::vector<std::string> words;
    for (std::string word; split >> word;) {
        words.push_back(word);
    }
    std::vector<char*> argv;
    for (auto& word : words) {
        argv.push_back(word.data());
    }
    int count = static_cast<int>(argv.size());
    parse(count, argv.data());
}

void GroupOption::printUsage(std::ostream& stream) const {
    stream << getDescription() << " v" << kVersionText << std::endl << std::endl;
    stream << "Usage: " << getName() << " " << m_usageTail << std::endl << std::endl;
    stream << "Options:" << std::endl << std::endl;
    printUsage(stream, 0, std::min(getUsageWidth(), kMaxUsageWidth));
    stream << std::endl << kNotice << std::endl;
}

AliasOption::AliasOption(GroupOption& group, std::string name, Option& target)
    : Option(std::move(name), "(alias for -" + target.getName() + ")", ""), m_target(&target) {
    group.add(*this);
}

std::unique_ptr<Option> AliasOption::clone() const {
    throw InternalError(1, 0, L"option::AliasOption should never be cloned");
}

void AliasOption::parseArguments(int& count, char** arguments) {
    m_target->parseArguments(count, arguments);
}

std::string AliasOption::getValueText() const {
    return m_target->getValueText();
}

std::string AliasOption::getCommandLine() const {
    return "-" + getName() + " " + getValueText();
}

void AliasOption::load(DataStore& store, const std::string& key) {
    m_target->load(store, key);
}

void AliasOption::save(DataStore& store, const std::string& key) {
    m_target->save(store, key);
}

void AliasOption::forget(DataStore& store) {
    m_target->forget(store);
}

}  // namespace qn::sys::option
