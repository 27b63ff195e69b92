// mime/content_reference.h - what an HTML text shows of the parts beside it, by "cid:" (RFC 2392).
// Pure: any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vespro {

struct ContentReference {
  std::string id;              // percent-decoded
  std::size_t begin, end = 0;  // where it is in the HTML, as it is written there
};

// In their order. In any case of "cid:", and wherever it is: attributes, styles, comments. An id
// ends at a quote, a bracket or a blank.
std::vector<ContentReference> ContentReferences(std::string_view html);

}  // namespace vespro
