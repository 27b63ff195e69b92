// engine/smtp/secret_scanner.h - finds out whether a server's words repeat a secret: whole, over
// two lines, or cut off. A reply costs the same however long the secrets are. One thread per
// object.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vespro::engine {

class SecretScanner {
 public:
  SecretScanner() = default;
  // A secret of less than four bytes is none: it would be found everywhere.
  explicit SecretScanner(const std::vector<std::string>& secrets);

  // Whether eleven bytes of a secret in a row are in `text`, or all of a shorter one; in some
  // places eight do. Blanks and line feeds count for nothing, on both sides.
  bool FoundIn(std::string_view text) const;

 private:
  std::vector<std::uint64_t> pieces_;  // eight bytes each, sorted
  std::vector<std::string> short_;     // whole secrets
};

}  // namespace vespro::engine
