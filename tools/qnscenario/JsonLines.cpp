#include "tools/qnscenario/JsonLines.h"

#include <functional>

namespace qn::tools::qnscenario {

namespace {

// Walks a valid JSON text and reports, for every value, its depth, the key it stands
// under at depth 1 (empty elsewhere), whether it is an array element, and its line.
using Visitor = std::function<void(int depth, const std::string& topKey, bool inArray, int line)>;

void walk(const std::string& text, const Visitor& visit) {
    std::vector<char> containers;  // '{' or '['
    std::string topKey;
    std::string lastString;
    bool expectingValue = true;
    int line = 1;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\n') {
            ++line;
            continue;
        }
        if (c == ' ' || c == '\t' || c == '\r') {
            continue;
        }
        const int depth = static_cast<int>(containers.size());
        const bool inArray = !containers.empty() && containers.back() == '[';
        if (c == ':') {
            if (depth == 1) {
                topKey = lastString;
            }
            expectingValue = true;
            continue;
        }
        if (c == ',') {
            expectingValue = inArray;
            continue;
        }
        if (c == '}' || c == ']') {
            containers.pop_back();
            expectingValue = false;
            continue;
        }
        const bool isValue = expectingValue;
        if (isValue) {
            visit(depth, topKey, inArray, line);
        }
        expectingValue = false;
        if (c == '{' || c == '[') {
            containers.push_back(c);
            expectingValue = c == '[';
        } else if (c == '"') {
            std::string s;
            for (++i; i < text.size() && text[i] != '"'; ++i) {
                if (text[i] == '\\' && i + 1 < text.size()) {
                    ++i;
                }
                if (text[i] == '\n') {
                    ++line;
                }
                s += text[i];
            }
            lastString = s;
            if (!isValue && depth == 1) {
                topKey.clear();
            }
        } else {
            // A number or literal: skip to its end.
            while (i + 1 < text.size() &&
                   std::string(",]} \t\r\n").find(text[i + 1]) == std::string::npos) {
                ++i;
            }
        }
    }
}

}  // namespace

std::vector<int> arrayElementLines(const std::string& text, const std::string& key) {
    std::vector<int> lines;
    walk(text, [&](int depth, const std::string& topKey, bool inArray, int line) {
        if (depth == 2 && inArray && topKey == key) {
            lines.push_back(line);
        }
    });
    return lines;
}

int topLevelKeyLine(const std::string& text, const std::string& key) {
    int found = 0;
    walk(text, [&](int depth, const std::string& topKey, bool, int line) {
        if (depth == 1 && topKey == key && found == 0) {
            found = line;
        }
    });
    return found == 0 ? 1 : found;
}

std::pair<int, int> lineAndColumn(const std::string& text, std::size_t offset) {
    int line = 1;
    int column = 1;
    for (std::size_t i = 0; i < offset && i < text.size(); ++i) {
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    return {line, column};
}

}  // namespace qn::tools::qnscenario
