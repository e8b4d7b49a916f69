// The fixed parts of the report page: its style sheet and its script, written inline.
#ifndef TLM_TOOLS_VIEW_HTMLPAGE_H
#define TLM_TOOLS_VIEW_HTMLPAGE_H

#include <string_view>

namespace tlmview {

extern const std::string_view kHtmlStyle;
extern const std::string_view kHtmlScript;

}  // namespace tlmview

#endif  // TLM_TOOLS_VIEW_HTMLPAGE_H
