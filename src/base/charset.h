// base/charset.h - text in a charset that a message names, to UTF-8. Pure: any thread.
#pragma once

#include <string>
#include <string_view>

namespace vespro::ModCharset {

// `charset` is a name as mail uses it (IANA names and common aliases, any case). Never fails: bytes
// that are wrong in the charset become U+FFFD, and where the name is unknown, or the system has no
// table for it, the bytes are taken as UTF-8 if they are valid UTF-8 and as windows-1252 if not.
// us-ascii is treated as unknown, since mail programs label anything so; iso-8859-1 is read as
// windows-1252, its superset. utf-16 without a byte-order mark is big-endian (RFC 2781). A
// byte-order mark is dropped.
std::string ToUtf8(std::string_view bytes, std::string_view charset);

// The bytes as well-formed UTF-8: each malformed sequence becomes one U+FFFD.
std::string RepairedUtf8(std::string_view bytes);

}  // namespace vespro::ModCharset
