#include "mime/content_reference.h"

#include <algorithm>

#include "base/text.h"

namespace vespro {

std::vector<ContentReference> ContentReferences(std::string_view html) {
  constexpr std::string_view kCid = "cid:";
  std::vector<ContentReference> references;
  std::size_t at = 0;
  while ((at = ModText::FindIgnoringAsciiCase(html, kCid, at)) != std::string_view::npos) {
    at += kCid.size();
    const std::size_t end = std::min(html.find_first_of("\"'<>() \t\r\n", at), html.size());
    references.push_back({ModText::PercentDecoded(html.substr(at, end - at)), at, end});
    at = end;
  }
  return references;
}

}  // namespace vespro
