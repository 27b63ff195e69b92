// engine/merge_words.h - finds the merge words in a message's texts: "#" and a field's name,
// longest name first, not followed by a letter, a digit or "_". Text is UTF-8. Pure: any thread.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "merge/field_names.h"

namespace vespro::engine {

// How a value has to be written where its word is.
enum class Place {
  kPlain,
  kHtml,          // between tags, or within a quoted attribute
  kHtmlUnquoted,  // in an attribute without quotes, which a blank would end
  kHtmlAll,       // all of one, which gets its quotes: nothing would be the next attribute
};

// Where in a link's target a value is (RFC 3986, section 3).
enum class LinkPart {
  kNone,     // in no target
  kWhole,    // at its beginning: it is an address itself, or the first part of one
  kMailbox,  // between "mailto:" and "?" (RFC 6068)
  kPath,
  kData,  // in the host, the query or the fragment
};

struct MergeSlot {
  std::size_t column = 0;  // of the list, from 0
  Place place = Place::kPlain;
  LinkPart link = LinkPart::kNone;
};

// A text taken apart at its merge words: statics[0] slots[0] statics[1] ... and one static at the
// end.
struct MergeText {
  std::vector<std::string> statics;
  std::vector<MergeSlot> slots;
};

// A "#" in a place where merge words are looked for. Valid during the call.
struct HashSign {
  std::string_view text;       // that is searched: between two tags, or an attribute's value
  std::size_t at = 0;          // where in it the "#" is
  bool html = false;           // characters may be written as references
  bool in_link = false;        // in an attribute that names an address, such as href
  std::string_view word = {};  // that is there, without the "#"; empty: none, so the text stays
};
using OnHash = std::function<void(const HashSign&)>;
// What a reader takes for a name there: the letters, digits, "_" and "-" after the "#", as UTF-8.
std::string NameAfter(const HashSign& sign);

class MergeWords {
 public:
  // `custom` are the user's own words as stored: "#" and their capitals stand for them, blanks too.
  // A field of the same name wins.
  explicit MergeWords(const std::vector<ModMailMerge::FieldName>& fields,
                      const std::vector<std::string>& custom = {});

  // `on_hash` is told of each "#" that was looked at.
  MergeText SplitPlain(std::string_view text, const OnHash& on_hash = {}) const;
  // Leaves style and script elements alone, style and colour attributes, tag and attribute names,
  // and character references such as "&#65;". The characters of a name may be written as
  // references.
  MergeText SplitHtml(std::string_view html, const OnHash& on_hash = {}) const;

 private:
  friend class MergeTextBuilder;
  struct Word {
    std::string text;  // without the "#"
    std::size_t column = 0;
    std::optional<std::string> fixed = {};  // what a custom word stands for
  };
  struct Found {
    const Word* word = nullptr;
    std::size_t length = 0;  // of what is in the text, without the "#"
  };
  Found At(std::string_view after_hash, bool html) const;

  std::vector<Word> words_;  // longest first
};

// Appends a value as its place needs it. `value` has no control characters but tab and CR LF.
void AppendValue(std::string& out, std::string_view value, Place place);
// A value as it has to be in a link's target, without blanks at its ends: percent-encoded, but for
// what gives a whole address, a path or a mail address its form.
std::string LinkValue(std::string_view value, LinkPart part);

// A value for a text body: each CR LF, CR and LF becomes CR LF, other control characters but the
// tab are dropped.
std::string BodyValue(std::string_view value);
// A value for a header: each run of control characters becomes one blank, none is left at the ends.
std::string OneLine(std::string_view value);

}  // namespace vespro::engine
