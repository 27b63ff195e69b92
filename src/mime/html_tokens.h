// mime/html_tokens.h - walks over an HTML page's tags and texts as mail programs do: nothing is
// refused, whatever it lacks. Linear in the page. One thread per object.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vespro {

struct HtmlToken {
  enum class Kind { kText, kOpeningTag, kClosingTag };
  struct Attribute {
    std::string name;   // lower case
    std::string value;  // UTF-8, references decoded
  };
  Kind kind = Kind::kText;
  std::string_view text;  // kText: as it is in the page, references and all
  std::string name;       // of a tag, lower case
  std::vector<Attribute> attributes;

  // The value of the first attribute of that name; empty when there is none.
  std::string_view Value(std::string_view attribute) const;
};

class HtmlTokens {
 public:
  // `html` is UTF-8 and must outlive the object.
  explicit HtmlTokens(std::string_view html) : rest_(html) {}

  // False at the end. Comments and declarations are passed over, and so is what style and script
  // elements hold.
  bool Next(HtmlToken& token);

 private:
  void ReadTag(HtmlToken& token);
  void ReadAttribute(HtmlToken& token);
  void SkipBlanks();
  void SkipBeyond(std::string_view end);

  std::string_view rest_;
};

// Text from between tags with its character references decoded; those that we don't know stay.
std::string HtmlDecoded(std::string_view text);

}  // namespace vespro
