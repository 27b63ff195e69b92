// lint/words.h - which of a mail's "#" were meant as merge words and are none. Text is UTF-8. Any
// thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/merge_words.h"

namespace vespro::lint {

struct Spelling {
  enum class Kind {
    kNone,     // a hashtag, a colour, a place in a page, or a word that is filled
    kUnknown,  // written like a merge word, and nothing is filled in
    kSmall,    // the name of a field or custom word, but not in capitals
    kInLink,   // as kUnknown, in a link where a value belongs
  };
  Kind kind = Kind::kNone;
  std::string word = {};   // with its "#", as it is there
  std::string meant = {};  // the known word that it resembles most, with "#"; empty: none does
};

// `known` are the names that merge words can have, in capitals and without "#".
Spelling ReadSpelling(const engine::HashSign& sign, const std::vector<std::string>& known);

}  // namespace vespro::lint
