#include "app/OSX/QuintorUserAgent/Hyperlink.h"

namespace qn::app::osx::qnuapp {

using namespace platform;

NSAttributedString hyperlinkFromString_withURL(const std::string& string, const NSURL& url) {
    NSMutableAttributedString attrString(string);
    const auto length = attrString.length();
    attrString.beginEditing();
    attrString.addAttribute(NSLinkAttributeName, Value::string(url.absoluteString()), 0, length);
    attrString.addAttribute(NSForegroundColorAttributeName, colorValue(NSColor::blueColor()), 0,
                            length);
    attrString.addAttribute(NSUnderlineStyleAttributeName, Value::number(std::int64_t{1}), 0,
                            length);
    attrString.endEditing();
    return attrString;
}

}  // namespace qn::app::osx::qnuapp
