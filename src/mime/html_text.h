// mime/html_text.h - the plain text of an HTML page, for mail programs that show no HTML. Pure: any
// thread.
#pragma once

#include <string>
#include <string_view>

namespace vespro {

// Paragraphs, list items and table rows become lines, and a link is followed by where it leads. A
// picture gives its "alt" text. Merge words stay. UTF-8 in and out; lines end in LF and are as long
// as their paragraphs. Empty when the page has no text.
std::string HtmlToText(std::string_view html);

}  // namespace vespro
