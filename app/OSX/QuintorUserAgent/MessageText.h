#pragma once
// The text of a user message as the message panel takes it: runs of plain text and of
// link text, in order.

#include <string>
#include <vector>

namespace qn::app::osx::qnuapp {

struct MessageText {
    struct Run {
        std::string text;
        // Empty for plain text; otherwise the address the run links to.
        std::string link;
    };
    std::vector<Run> runs;

    static MessageText plain(std::string text) { return MessageText{{Run{std::move(text), {}}}}; }
    // hyperlinkFromString:withURL:
    static MessageText hyperlink(std::string text, std::string url) {
        return MessageText{{Run{std::move(text), std::move(url)}}};
    }
    void append(const MessageText& other) {
        runs.insert(runs.end(), other.runs.begin(), other.runs.end());
    }
    // The plain characters of every run.
    std::string string() const {
        std::string all;
        for (const auto& run : runs) {
            all += run.text;
        }
        return all;
    }
};

}  // namespace qn::app::osx::qnuapp
