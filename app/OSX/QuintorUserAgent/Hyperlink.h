#pragma once
// The Hyperlink category of NSAttributedString: link text as the message windows show it.

#include <string>

#include "platform/AttributedString.h"

namespace qn::app::osx::qnuapp {

// +[NSAttributedString hyperlinkFromString:withURL:]: the whole text carries the URL's
// absolute string as link, is blue and underlined once.
platform::NSAttributedString hyperlinkFromString_withURL(const std::string& string,
                                                         const platform::NSURL& url);

}  // namespace qn::app::osx::qnuapp
