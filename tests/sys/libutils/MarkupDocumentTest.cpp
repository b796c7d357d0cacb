#include "sys/libutils/MarkupDocument.h"

#include <gtest/gtest.h>

#include <string>

using qn::sys::MarkupDocument;

namespace {

// Parses text and positions on the first top-level element.
MarkupDocument load(const std::string& text) {
    MarkupDocument doc;
    EXPECT_TRUE(doc.setDocument(text.c_str())) << doc.getLastError();
    EXPECT_TRUE(doc.findElement());
    return doc;
}

std::string parseError(const std::string& text) {
    MarkupDocument doc;
    EXPECT_FALSE(doc.setDocument(text.c_str()));
    EXPECT_FALSE(doc.isWellFormed());
    EXPECT_FALSE(doc.findElement());
    return doc.getLastError();
}

}  // namespace

TEST(MarkupDocumentParse, RecordsHoldTagOffsets) {
    MarkupDocument doc;
    ASSERT_TRUE(doc.setDocument("<?xml v?><a x=\"1\"><b/><!-- c --><c>t</c></a>"));
    const auto* a = doc.getRecord(1);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->startLeft, 9u);
    EXPECT_EQ(a->startRight, 17u);
    EXPECT_EQ(a->endLeft, 40u);
    EXPECT_EQ(a->endRight, 43u);
    const auto* b = doc.getRecord(2);
    EXPECT_EQ(b->endLeft + 1, b->startRight);  // closed by "/>"
    EXPECT_EQ(b->endRight, b->startRight);
    EXPECT_EQ(b->nextSibling, 3u);
    EXPECT_EQ(a->firstChild, 2u);
    EXPECT_EQ(doc.getRecord(3)->parent, 1u);
    EXPECT_EQ(doc.getRecord(4), nullptr);
}

TEST(MarkupDocumentParse, EmptyTextAndOnlyFirstRoot) {
    MarkupDocument doc;
    EXPECT_FALSE(doc.setDocument(static_cast<const char*>(nullptr)));
    EXPECT_FALSE(doc.findElement());
    EXPECT_TRUE(doc.setDocument("<a/><b><"));  // what follows the first root is never read
    EXPECT_TRUE(doc.findElement("a"));
    EXPECT_FALSE(doc.findElement());
}

TEST(MarkupDocumentParse, TableGrowsFromItsInitialSize) {
    std::string text = "<r>";
    for (int i = 0; i < 100; ++i) {
        text += "<x/>";
    }
    text += "</r>";
    MarkupDocument doc;
    ASSERT_TRUE(doc.setDocument(text.c_str()));
    EXPECT_GE(doc.getRecordCapacity(), 102u);
    EXPECT_NE(doc.getRecord(101), nullptr);
    // A smaller document reuses the table and hands out records from 1 again.
    ASSERT_TRUE(doc.setDocument("<a/>"));
    EXPECT_EQ(doc.getRecord(2), nullptr);
}

TEST(MarkupDocumentParse, MarkupThatIsNoElementIsPassedOver) {
    MarkupDocument doc;
    ASSERT_TRUE(
        doc.setDocument("<!DOCTYPE a [<!ENTITY e \"]>\">]><!-->x<![CDATA[<z>]]><?pi <q> ?><a/>"));
    EXPECT_TRUE(doc.findElement("a"));
    EXPECT_TRUE(doc.setDocument("<a>< / a >"));            // white space inside an end tag
    EXPECT_TRUE(doc.setDocument("<a></a \"q\">"));         // a quoted token in an end tag
    EXPECT_TRUE(doc.setDocument("<a>text<b/>>tail</a>"));  // a stray '>' is text
}

TEST(MarkupDocumentParse, ErrorTextsEndTheWholeParse) {
    EXPECT_EQ(parseError("no tag"), "Element tag not found");
    EXPECT_EQ(parseError("<a>"), "Element tag not found");
    EXPECT_EQ(parseError("<  "), "Abrupt end within tag");
    EXPECT_EQ(parseError("<\"a\">"), "Tag starts with quote");
    EXPECT_EQ(parseError("<!-- open <a/>"), "Invalid node");
    EXPECT_EQ(parseError("<a><?x"), "Invalid node");
    EXPECT_EQ(parseError("<a x=1"), "End of tag not found");
    EXPECT_EQ(parseError("<a><b></a>"), "End tag does not correspond to b");
    EXPECT_EQ(parseError("<a></b>"), "End tag does not correspond to a");
    EXPECT_EQ(parseError("<a></a"), "End tag not completed for element a");
    EXPECT_EQ(parseError("<a><b></b></a x"), "End tag not completed for element a");
}

TEST(MarkupDocumentNavigate, FindEnterLeave) {
    MarkupDocument doc = load("<r><n name=\"1\"/><v/><n name=\"2\"><x/></n></r>");
    EXPECT_EQ(doc.getTagName(), "r");
    ASSERT_TRUE(doc.enterElement());
    EXPECT_EQ(doc.getNodeKind(), 0u);
    ASSERT_TRUE(doc.findElement("n"));
    EXPECT_EQ(doc.getAttribute(doc.getCurrentIndex(), "name"), "1");
    ASSERT_TRUE(doc.findElement("n"));
    EXPECT_EQ(doc.getAttribute(doc.getCurrentIndex(), "name"), "2");
    EXPECT_FALSE(doc.findElement("n"));  // the position stays
    EXPECT_EQ(doc.getAttribute(doc.getCurrentIndex(), "name"), "2");
    ASSERT_TRUE(doc.findChildElement("x"));
    EXPECT_EQ(doc.getTagName(), "n");
    ASSERT_TRUE(doc.enterElement());
    EXPECT_EQ(doc.getTagName(), "x");
    ASSERT_TRUE(doc.leaveElement());
    EXPECT_EQ(doc.getTagName(), "n");
    ASSERT_TRUE(doc.leaveElement());
    EXPECT_EQ(doc.getTagName(), "r");
    EXPECT_FALSE(doc.leaveElement());
}

TEST(MarkupDocumentNavigate, NameComparisonStopsAtBlankEqualsSlashBracket) {
    MarkupDocument doc = load("<node/>");
    doc.resetPosition();
    EXPECT_TRUE(doc.findElement("node x"));
    doc.resetPosition();
    EXPECT_TRUE(doc.findElement("node[1]"));
    doc.resetPosition();
    EXPECT_FALSE(doc.findElement("nodes"));
    doc.resetPosition();
    EXPECT_FALSE(doc.findElement("nod"));
}

TEST(MarkupDocumentNavigate, FindChildWithNothingCurrentStartsAtTheTop) {
    MarkupDocument doc;
    ASSERT_TRUE(doc.setDocument("<r><c/></r>"));
    ASSERT_TRUE(doc.findChildElement("c"));
    EXPECT_EQ(doc.getTagName(), "r");
    EXPECT_EQ(doc.getParentIndex(), 0u);
    EXPECT_EQ(doc.getChildIndex(), 2u);
}

TEST(MarkupDocumentContent, AttributesNeedQuotedValues) {
    MarkupDocument doc = load("<a one = \"1\" two='&lt;2&gt;' three=3 four=\"4\"/>");
    const auto a = doc.getCurrentIndex();
    EXPECT_EQ(doc.getAttribute(a, "one"), "1");
    EXPECT_EQ(doc.getAttribute(a, "two"), "<2>");
    EXPECT_EQ(doc.getAttribute(a, "three"), "");
    EXPECT_EQ(doc.getAttribute(a, "four"), "4");
    EXPECT_EQ(doc.getAttribute(a, "five"), "");
    doc.resetPosition();
    EXPECT_EQ(doc.getAttribute(a, "one"), "");  // nothing current
}

TEST(MarkupDocumentContent, ElementDataKeepsWhiteSpaceAndCData) {
    MarkupDocument doc = load("<r><v>  x </v><w> <![CDATA[ <x> ]]> </w><e/><m>&#65;&amp;&</m></r>");
    EXPECT_EQ(doc.getElementData(1), "");  // has children
    EXPECT_EQ(doc.getElementData(2), "  x ");
    EXPECT_EQ(doc.getElementData(3), " <x> ");
    EXPECT_EQ(doc.getElementData(4), "");
    EXPECT_EQ(doc.getElementData(5), "&#65;&&");
}

TEST(MarkupDocumentText, UnescapeKnowsFiveEntities) {
    EXPECT_EQ(MarkupDocument::unescape("&lt;&amp;&gt;&apos;&quot;"), "<&>'\"");
    EXPECT_EQ(MarkupDocument::unescape("&nbsp;&#65;&lt"), "&nbsp;&#65;&lt");
    EXPECT_EQ(MarkupDocument::unescape("&amp;lt;"), "&lt;");
}

TEST(MarkupDocumentText, EscapeModesAndZeroPadding) {
    EXPECT_EQ(MarkupDocument::escape("ab<", MarkupDocument::EscapeText), "ab&lt;");
    EXPECT_EQ(MarkupDocument::escape("'\"", MarkupDocument::EscapeText), "'\"");
    EXPECT_EQ(MarkupDocument::escape("\"", MarkupDocument::EscapeAttribute), "&quot;");
    // Budget 9: the second '<' finds 4 bytes produced, above 9 - 6, so the
    // result is resized to 18 and production goes on behind the zero bytes.
    const std::string twice = MarkupDocument::escape("<<", MarkupDocument::EscapeText);
    EXPECT_EQ(twice, std::string("&lt;") + std::string(14, '\0') + "&lt;");
    // One special byte in a short text is enough when anything follows it.
    EXPECT_EQ(MarkupDocument::escape("a<b", MarkupDocument::EscapeText),
              std::string("a&lt;") + std::string(15, '\0') + "b");
    const std::string plain(100, 'x');
    EXPECT_EQ(MarkupDocument::escape(plain, MarkupDocument::EscapeText), plain);
    EXPECT_EQ(MarkupDocument::escape(plain + "<>", MarkupDocument::EscapeText), plain + "&lt;&gt;");
}

TEST(MarkupDocumentEdit, SetElementDataSplicesByUnescapedLength) {
    MarkupDocument doc = load("<r><v>a&amp;b</v><w>old</w></r>");
    EXPECT_TRUE(doc.setElementData(2, "z"));
    EXPECT_EQ(doc.getDocument(), "<r><v>zmp;b</v><w>old</w></r>");
    // Following elements moved with the change.
    EXPECT_EQ(doc.getElementData(3), "old");
    EXPECT_TRUE(doc.setElementData(3, "<new>"));  // not escaped
    EXPECT_EQ(doc.getDocument(), "<r><v>zmp;b</v><w><new></w></r>");
    EXPECT_FALSE(doc.setElementData(1, "x"));  // has children
}

TEST(MarkupDocumentEdit, SetElementDataOnEmptyElementLeavesStrayBracket) {
    MarkupDocument doc = load("<v/>");
    EXPECT_FALSE(doc.setElementData(1, "x"));
    EXPECT_EQ(doc.getDocument(), "<v>x</v>>");
    EXPECT_TRUE(doc.setDocument(doc.getDocument().c_str()));
    doc.findElement();
    EXPECT_EQ(doc.getElementData(1), "x");
}

TEST(MarkupDocumentEdit, SetElementDataLeavesCDataAlone) {
    MarkupDocument doc = load("<v><![CDATA[keep]]></v>");
    EXPECT_FALSE(doc.setElementData(1, "x"));
    EXPECT_EQ(doc.getDocument(), "<v><![CDATA[keep]]></v>");
}

TEST(MarkupDocumentEdit, SetAttributeReplacesOrAppends) {
    MarkupDocument doc = load("<r><a k='1'>t</a><b/></r>");
    ASSERT_TRUE(doc.findChildElement("a"));
    ASSERT_TRUE(doc.enterElement());
    EXPECT_TRUE(doc.setAttribute(2, "k", "22"));
    EXPECT_TRUE(doc.setAttribute(2, "q", "say \""));
    EXPECT_EQ(doc.getDocument(), "<r><a k='22' q=\"say &quot;\">t</a><b/></r>");
    EXPECT_EQ(doc.getAttribute(2, "q"), "say \"");
    EXPECT_EQ(doc.getElementData(2), "t");
    EXPECT_TRUE(doc.setAttribute(3, "n", "x"));
    EXPECT_EQ(doc.getDocument(), "<r><a k='22' q=\"say &quot;\">t</a><b n=\"x\"/></r>");
    EXPECT_FALSE(doc.setAttribute(0, "n", "x"));
}

TEST(MarkupDocumentEdit, AddChildToEmptyAndOpenCloseParent) {
    for (const char* text : {"<a/>", "<a></a>"}) {
        MarkupDocument doc = load(text);
        ASSERT_TRUE(doc.addElement("b", nullptr, 0, true));
        EXPECT_EQ(doc.getDocument(), "<a>\r\n<b/>\r\n</a>") << text;
        // The offsets agree with a fresh parse of the new text.
        MarkupDocument fresh = load(doc.getDocument());
        for (std::uint32_t i = 1; i <= 2; ++i) {
            const auto* x = doc.getRecord(i);
            const auto* y = fresh.getRecord(i);
            EXPECT_EQ(x->startLeft, y->startLeft);
            EXPECT_EQ(x->startRight, y->startRight);
            EXPECT_EQ(x->endLeft, y->endLeft);
            EXPECT_EQ(x->endRight, y->endRight);
        }
    }
}

TEST(MarkupDocumentEdit, AddSiblingsBehindAndBefore) {
    MarkupDocument doc = load("<r>\r\n<a/>\r\n<c/>\r\n</r>");
    ASSERT_TRUE(doc.enterElement());
    ASSERT_TRUE(doc.findElement("a"));
    ASSERT_TRUE(doc.addElement("b", "12<", 0, false));
    EXPECT_EQ(doc.getDocument(), "<r>\r\n<a/>\r\n<b>12&lt;</b>\r\n<c/>\r\n</r>");
    EXPECT_EQ(doc.getTagName(), "b");
    EXPECT_EQ(doc.getElementData(doc.getCurrentIndex()), "12<");
    ASSERT_TRUE(doc.addElement("z", nullptr, MarkupDocument::AddBefore, false));
    EXPECT_EQ(doc.getDocument(), "<r>\r\n<a/>\r\n<z/>\r\n<b>12&lt;</b>\r\n<c/>\r\n</r>");
    // Document order through the links.
    doc.rewindChildren();
    std::string order;
    while (doc.findElement()) {
        order += doc.getTagName();
    }
    EXPECT_EQ(order, "azbc");
}

TEST(MarkupDocumentEdit, AddAtTopLevelOnlyIntoAnEmptyDocument) {
    MarkupDocument doc;
    EXPECT_FALSE(doc.setDocument(""));
    ASSERT_TRUE(doc.addElement("a", "x", 0, false));
    EXPECT_EQ(doc.getDocument(), "<a>x</a>\r\n");
    EXPECT_TRUE(doc.isWellFormed());
    doc.resetPosition();
    EXPECT_FALSE(doc.addElement("b", nullptr, 0, false));
}

TEST(MarkupDocumentEdit, StaleEndOffsetsAfterSetElementData) {
    // A changed element keeps its old end offsets until the next parse, so an
    // element added behind it lands inside its end tag.
    MarkupDocument doc = load("<r><v>abc</v></r>");
    ASSERT_TRUE(doc.enterElement());
    ASSERT_TRUE(doc.findElement("v"));
    EXPECT_TRUE(doc.setElementData(doc.getCurrentIndex(), "abcdef"));
    ASSERT_TRUE(doc.addElement("w", nullptr, 0, false));
    EXPECT_EQ(doc.getDocument(), "<r><v>abcdef<<w/>\r\n/v></r>");
}

TEST(MarkupDocumentEdit, CopyKeepsTextTableAndPosition) {
    MarkupDocument doc = load("<r><a/></r>");
    ASSERT_TRUE(doc.findChildElement("a"));
    MarkupDocument copy = doc;
    ASSERT_TRUE(doc.addElement("b", nullptr, 0, true));
    EXPECT_EQ(copy.getDocument(), "<r><a/></r>");
    EXPECT_EQ(copy.getChildIndex(), 2u);
    ASSERT_TRUE(copy.enterElement());
    EXPECT_EQ(copy.getTagName(), "a");
}
