// engine/hmac.h - keyed digests (RFC 2104), for logins and for links that nobody else can make.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vespro::engine {

enum class Digest { kMd5, kSha256 };

// In lower-case hexadecimal digits; nothing where the system's policy does not allow the digest.
std::optional<std::string> HmacHex(Digest digest, std::string_view key, std::string_view text);

}  // namespace vespro::engine
