#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qn::sys {

// The small XML engine under the hive. The document stays one string, exactly
// as it was read; beside it a table of records holds the text offsets of each
// element's tags. Edits splice the text and move the offsets behind the change,
// so everything outside the touched elements survives a rewrite byte for byte.
class MarkupDocument {
  public:
    // Offsets index the text, links index the record table; 0 means none.
    struct ElementRecord {
        std::uint32_t startLeft = 0;   // '<' of the start tag
        std::uint32_t startRight = 0;  // '>' of the start tag
        std::uint32_t endLeft = 0;     // '<' of the end tag, or the '/' of "/>"
        std::uint32_t endRight = 0;    // '>' of the end tag, or startRight for "/>"
        std::uint32_t parent = 0;
        std::uint32_t firstChild = 0;
        std::uint32_t nextSibling = 0;
    };

    enum EscapeMode { EscapeText, EscapeAttribute };
    enum AddFlags : unsigned { AddBefore = 1, AddNoSkipWhiteSpace = 2 };

    MarkupDocument() = default;
    virtual ~MarkupDocument() = default;
    MarkupDocument(const MarkupDocument&) = default;
    MarkupDocument& operator=(const MarkupDocument&) = default;

    // A null text counts as empty. The text is taken as a C string.
    bool setDocument(const char* text);
    // The whole string, zero bytes included.
    bool setDocument(std::string text);
    bool isWellFormed() const;

    const std::string& getDocument() const { return m_text; }
    const std::string& getLastError() const { return m_lastError; }

    void resetPosition();
    // Keeps the parent and puts the position before its first child.
    void rewindChildren();
    bool findElement(const char* name = nullptr);
    bool findChildElement(const char* name = nullptr);
    bool enterElement();
    bool leaveElement();

    std::uint32_t getParentIndex() const { return m_parentIndex; }
    std::uint32_t getCurrentIndex() const { return m_currentIndex; }
    std::uint32_t getChildIndex() const { return m_childIndex; }
    unsigned getNodeKind() const { return m_nodeKind; }
    // For inspection by tests and tools; null past the records handed out.
    const ElementRecord* getRecord(std::uint32_t index) const;
    std::size_t getRecordCapacity() const { return m_records.size(); }

    std::string getTagName() const;
    std::string getAttribute(std::uint32_t index, const char* name) const;
    bool setAttribute(std::uint32_t index, const char* name, const std::string& value);
    std::string getElementData(std::uint32_t index) const;
    bool setElementData(std::uint32_t index, const std::string& newText);
    bool addElement(const char* name, const char* text, unsigned flags, bool asChild);

    // The two text transforms, public for their own tests and for callers that
    // must know what a value will look like in the file.
    static std::string escape(std::string_view in, EscapeMode mode);
    static std::string unescape(std::string_view in);

  private:
    struct Token {
        std::size_t begin = 0;  // first byte of the token's text
        std::size_t end = 0;    // one past its last byte
        std::size_t next = 0;   // where the following token is looked for
        bool quoted = false;
    };

    bool nextToken(Token& token) const;
    bool tokenIs(const Token& token, char c) const;
    bool tokenMatches(const Token& token, std::string_view name) const;
    std::string_view tokenText(const Token& token) const;
    std::string tagNameOf(std::uint32_t index) const;
    bool skipMarkup(std::size_t left, std::size_t& after) const;

    std::int64_t openElement(std::uint32_t parent, bool& closed);
    bool closeElement(std::uint32_t index);
    std::int64_t fail(const char* pattern, std::string_view name = {});
    std::int64_t parseTopElement();

    std::uint32_t takeRecord();
    bool isEmptyElement(const ElementRecord& record) const;
    bool findAttribute(const ElementRecord& record, const char* name, Token& value) const;
    bool findCData(const ElementRecord& record, std::size_t& begin, std::size_t& end) const;
    std::string_view range(std::size_t begin, std::size_t end) const;
    void splice(std::size_t offset, std::size_t length, const std::string& replacement);
    void adjust(std::uint32_t index, std::int64_t shift, bool skipOwnChildren);
    void shiftSubtree(std::uint32_t index, std::uint32_t shift);
    bool findAmong(std::uint32_t parent, std::uint32_t after, const char* name,
                   std::uint32_t& found) const;

    std::string m_text;
    std::string m_lastError;
    std::vector<ElementRecord> m_records;
    std::uint32_t m_parentIndex = 0;
    std::uint32_t m_currentIndex = 0;
    std::uint32_t m_childIndex = 0;
    std::uint32_t m_freeIndex = 1;
    unsigned m_nodeKind = 0;
};

}  // namespace qn::sys
