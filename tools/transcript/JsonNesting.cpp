#include "tools/transcript/JsonNesting.h"

namespace qn::tools::transcript {

int lineNestedDeeperThan(const std::string& text, int limit) {
    int depth = 0;
    int line = 1;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\n') {
            ++line;
        } else if (inString) {
            if (c == '\\') {
                ++i;
            } else if (c == '"') {
                inString = false;
            }
        } else if (c == '"') {
            inString = true;
        } else if (c == '{' || c == '[') {
            if (++depth > limit) {
                return line;
            }
        } else if (c == '}' || c == ']') {
            --depth;
        }
    }
    return 0;
}

}  // namespace qn::tools::transcript
