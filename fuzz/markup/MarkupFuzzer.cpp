// Parses arbitrary text, walks every element it found, and applies one edit of
// each kind, so that the scanners, the record links and adjust all run on
// whatever the input holds. The sanitizers of the fuzz build catch any read
// outside the text or the table.
#include <cstddef>
#include <cstdint>
#include <string>

#include "sys/libutils/MarkupDocument.h"

using qn::sys::MarkupDocument;

namespace {

void walk(MarkupDocument& doc, int depth) {
    while (doc.findElement()) {
        const std::uint32_t index = doc.getCurrentIndex();
        (void)doc.getTagName();
        (void)doc.getAttribute(index, "name");
        (void)doc.getElementData(index);
        if (depth < 64 && doc.enterElement()) {
            walk(doc, depth + 1);
            doc.leaveElement();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    MarkupDocument doc;
    const bool parsed = doc.setDocument(std::string(reinterpret_cast<const char*>(data), size));
    if (!parsed) {
        return 0;
    }
    walk(doc, 0);

    MarkupDocument edited = doc;
    edited.resetPosition();
    if (edited.findElement() && edited.findChildElement()) {
        edited.addElement("value", "a<b", 0, true);
        edited.setAttribute(edited.getChildIndex(), "name", "x\"y");
        edited.setElementData(edited.getChildIndex(), "new");
        edited.addElement("node", nullptr, MarkupDocument::AddBefore, true);
    }
    // A rewritten document stays parseable as far as the records go.
    MarkupDocument again;
    again.setDocument(edited.getDocument());
    walk(again, 0);
    return 0;
}
