// Walks an argument vector made of the input's NUL-separated words over a
// group holding every option type, a composite and an alias, then the same
// input as one line. The walk moves words around in place and a blob decides
// itself how many it takes, so the sanitizers watch every index.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "sys/libutils/Exception.h"
#include "sys/libutils/GroupOption.h"
#include "sys/libutils/MultiOption.h"
#include "sys/libutils/OptionBlob.h"
#include "sys/libutils/OptionBool.h"
#include "sys/libutils/OptionFloat.h"
#include "sys/libutils/OptionInt.h"
#include "sys/libutils/OptionPoint.h"
#include "sys/libutils/OptionString.h"
#include "tools/qninstr/SilentStore.h"

using namespace qn::sys::option;

namespace {

void walk(GroupOption& group, std::vector<std::string>& words) {
    std::vector<char*> argv;
    for (auto& word : words) {
        argv.push_back(word.data());
    }
    int count = static_cast<int>(argv.size());
    try {
        group.parse(count, argv.data());
    } catch (const qn::sys::MessageException&) {
        // Unknown arguments: the expected failure.
    }
    if (count < 0 || count > static_cast<int>(words.size())) {
        __builtin_trap();
    }
}

bool isSeparator(char c) {
    return c == '\0' || c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// The blob's count word asks for that many bytes (up to the library's own
// 1 MiB bound); filling them is all an input gains, so counts are capped at
// 4 KiB here, read exactly as the blob reads them.
std::string capCountWords(const std::string& input) {
    std::string out;
    std::string previous;
    for (std::size_t i = 0; i < input.size();) {
        if (isSeparator(input[i])) {
            out += input[i++];
            continue;
        }
        std::size_t end = i;
        while (end < input.size() && !isSeparator(input[end])) {
            ++end;
        }
        std::string token = input.substr(i, end - i);
        if (previous == "-d") {
            std::istringstream count(token);
            unsigned int size = 0;
            if (count >> std::hex >> size && size > 0x1000) {
                token = "1000";
            }
        }
        out += token;
        previous = input.substr(i, end - i);
        i = end;
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static bool quiet = std::freopen("/dev/null", "w", stdout) != nullptr;
    (void)quiet;
    GroupOption group("prog", "Fuzz", "", std::make_unique<qn::tools::qninstr::SilentStore>());
    String text("s", "", "text", "TEXT");
    Directory folder("dir", "", "folder", "DIR");
    Int number("n", 0, "number", "N");
    Float ratio("f", 0, "ratio", "F");
    Bool on("b", false, "switch");
    Flag verbose("v", "flag");
    Blob bytes("d", "", "bytes", "BYTES");
    Point where("p", Point::Value{}, "point");
    Composite view("c", "composite");
    view.add(Int("w", 0, "width", "W"));
    for (Option* option : std::initializer_list<Option*>{&text, &folder, &number, &ratio, &on,
                                                         &verbose, &bytes, &where, &view}) {
        group.add(*option);
    }
    AliasOption alias(group, "-s", text);

    const std::string input = capCountWords(std::string(reinterpret_cast<const char*>(data), size));
    std::vector<std::string> words{"prog"};
    std::string word;
    for (char c : input) {
        if (c == '\0') {
            words.push_back(word);
            word.clear();
        } else {
            word += c;
        }
    }
    words.push_back(word);
    walk(group, words);
    std::ostringstream usage;
    group.printUsage(usage);
    (void)group.getCommandLine();
    try {
        group.parse(input);
    } catch (const qn::sys::MessageException&) {
    }
    return 0;
}
