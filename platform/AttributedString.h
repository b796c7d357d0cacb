#pragma once
// Attributed text as the message windows take it: a string with runs of attributes,
// the attribute names the agent uses, and how colours, fonts and paragraph styles are
// written into attribute values so that they cross the ports as plain Values.

#include <cstddef>
#include <string>
#include <vector>

#include "platform/AppKit.h"
#include "platform/Value.h"

namespace qn::platform {

inline constexpr const char* NSFontAttributeName = "NSFont";
inline constexpr const char* NSForegroundColorAttributeName = "NSColor";
inline constexpr const char* NSParagraphStyleAttributeName = "NSParagraphStyle";
inline constexpr const char* NSLinkAttributeName = "NSLink";
inline constexpr const char* NSUnderlineStyleAttributeName = "NSUnderline";

// Paragraph style values (alignment 2 is centred, line break mode 4 truncates the tail).
constexpr int NSCenterTextAlignment = 2;
constexpr int NSLineBreakByTruncatingTail = 4;

Value colorValue(const NSColor& color);
// Black for anything that is no colour, as the text system's default.
NSColor colorFromValue(const Value& value);
Value fontValue(const NSFont& font);
NSFont fontFromValue(const Value& value, double defaultPointSize);
Value paragraphStyleValue(int alignment, int lineBreakMode);

// An absolute URL; host() is the part between "//" and the next "/", ":" or "?".
class NSURL {
  public:
    static NSURL URLWithString(std::string text) { return NSURL(std::move(text)); }
    const std::string& absoluteString() const { return m_text; }
    std::string host() const;

  private:
    explicit NSURL(std::string text) : m_text(std::move(text)) {}
    std::string m_text;
};

// NSAttributedString and its mutable form in one value type. Ranges count bytes of the
// UTF-8 text. Runs cover the text without gaps, each with its attribute dictionary.
class NSAttributedString {
  public:
    struct Run {
        std::size_t location = 0;
        std::size_t length = 0;
        Value attributes;  // a dictionary, possibly empty
    };

    NSAttributedString() = default;
    // initWithString:
    explicit NSAttributedString(std::string text);

    const std::string& string() const { return m_string; }
    std::size_t length() const { return m_string.size(); }
    const std::vector<Run>& runs() const { return m_runs; }
    // The attributes in force at a byte index (null outside the text).
    Value attributesAtIndex(std::size_t index) const;

    void appendAttributedString(const NSAttributedString& other);
    void addAttribute(const std::string& name, const Value& value, std::size_t location,
                      std::size_t length);
    // Grouping of edits; this type applies each edit at once.
    void beginEditing() {}
    void endEditing() {}

    // As a view's "attributedStringValue": {"string", "runs": [{"location", "length",
    // "attributes"}]}.
    Value toValue() const;
    static NSAttributedString fromValue(const Value& value);

    bool operator==(const NSAttributedString& other) const;

  private:
    // Splits so that a run starts at `index`; returns that run's position.
    std::size_t splitAt(std::size_t index);
    void mergeNeighbours();

    std::string m_string;
    std::vector<Run> m_runs;
};

using NSMutableAttributedString = NSAttributedString;

}  // namespace qn::platform
