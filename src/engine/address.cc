#include "engine/address.h"

#include "base/text.h"

namespace vespro::engine {
namespace {

constexpr std::size_t kMaxLocalBytes = 64;
constexpr std::size_t kMaxAddressBytes = 254;

bool IsAlphanumeric(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool IsBeyondAscii(char c) { return (static_cast<unsigned char>(c) & 0x80) != 0; }

// atext of RFC 5322 and the dot.
bool FitsLocalPart(char c) {
  return IsAlphanumeric(c) || IsBeyondAscii(c) ||
         std::string_view(".!#$%&'*+-/=?^_`{|}~").find(c) != std::string_view::npos;
}

// The underscore is no host name's, but mail domains with it are in use.
bool FitsDomain(char c) {
  return IsAlphanumeric(c) || IsBeyondAscii(c) || c == '-' || c == '.' || c == '_';
}

bool IsAddressLiteral(std::string_view domain) {
  if (domain.size() < 3 || domain.front() != '[' || domain.back() != ']') return false;
  for (char c : domain.substr(1, domain.size() - 2)) {
    if (!IsAlphanumeric(c) && c != '.' && c != ':' && c != '-') return false;
  }
  return true;
}

std::string WhyNoDomain(std::string_view domain) {
  if (IsAddressLiteral(domain)) return {};
  for (char c : domain) {
    if (!FitsDomain(c)) return "a character that no domain holds";
  }
  if (domain.front() == '.' || domain.back() == '.' ||
      domain.find("..") != std::string_view::npos) {
    return "a misplaced dot in the domain";
  }
  return {};
}

}  // namespace

std::string WhyUnusable(std::string_view address) {
  if (address.empty()) return "empty";
  if (address.size() > kMaxAddressBytes) return "longer than 254 bytes";
  if (!ModText::IsUtf8(address)) return "characters that can't be read";
  const std::size_t at = address.find('@');
  if (at == std::string_view::npos) return "no \"@\"";
  if (address.find('@', at + 1) != std::string_view::npos) return "more than one \"@\"";
  if (at == 0) return "nothing before the \"@\"";
  if (at + 1 == address.size()) return "nothing behind the \"@\"";
  if (at > kMaxLocalBytes) return "more than 64 bytes before the \"@\"";
  for (char c : address.substr(0, at)) {
    if (!FitsLocalPart(c)) return "a character that no address holds before the \"@\"";
  }
  return WhyNoDomain(address.substr(at + 1));
}

std::string_view DomainOf(std::string_view address) {
  return address.substr(address.find('@') + 1);
}

}  // namespace vespro::engine
