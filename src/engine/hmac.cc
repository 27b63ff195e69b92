#include "engine/hmac.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <array>

#include "engine/net/system.h"

namespace vespro::engine {

std::optional<std::string> HmacHex(Digest digest, std::string_view key, std::string_view text) {
  platform::PrepareTls();
  const EVP_MD* method = digest == Digest::kMd5 ? EVP_md5() : EVP_sha256();
  std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
  unsigned int size = 0;
  if (HMAC(method, key.data(), static_cast<int>(key.size()),
           reinterpret_cast<const unsigned char*>(text.data()), text.size(), bytes.data(),
           &size) == nullptr) {
    return std::nullopt;
  }
  std::string hex;
  for (unsigned int i = 0; i < size; ++i) {
    hex += "0123456789abcdef"[bytes[i] >> 4];
    hex += "0123456789abcdef"[bytes[i] & 15];
  }
  return hex;
}

}  // namespace vespro::engine
