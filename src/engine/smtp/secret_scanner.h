// engine/smtp/secret_scanner.h - finds out whether a server's words repeat a secret: whole, over
// two lines or cut off, in capitals, in base64 or hexadecimal, escaped as in links, mail or JSON. A
// reply costs the same however long the secrets are. One thread per object.
#pragma once

#include <bitset>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vespro::engine {

class SecretScanner {
 public:
  SecretScanner() = default;
  explicit SecretScanner(const std::vector<std::string>& secrets);

  // Whether eleven bytes of a secret, or of one of its encoded forms, in a row are in `text`, or
  // all of a shorter one; in some places eight do. One of less than four bytes has to be a word of
  // its own. Blanks, line feeds and the case of ASCII letters count for nothing, on both sides.
  bool FoundIn(std::string_view text) const;

 private:
  void Add(std::string_view form);
  bool FoundInBare(const std::string& bare) const;

  std::vector<std::uint64_t> pieces_;  // eight bytes each, sorted
  std::bitset<4096> filter_;           // a quick no to nearly everything that is not in pieces_
  std::vector<std::string> short_;     // whole secrets
  std::vector<std::string> words_;     // shorter ones
};

}  // namespace vespro::engine
