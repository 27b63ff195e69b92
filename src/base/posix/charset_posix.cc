#include <iconv.h>

#include <array>
#include <cerrno>

#include "base/charset_platform.h"

namespace vespro::ModCharset::platform {

bool ToUtf8(std::string_view bytes, const char* name, unsigned, std::string* out) {
  const iconv_t converter = iconv_open("UTF-8", name);
  if (converter == reinterpret_cast<iconv_t>(-1)) return false;
  char* source = const_cast<char*>(bytes.data());  // iconv takes char** but does not write there
  std::size_t left = bytes.size();
  bool ended = false;
  // The last call, without a source, gives what a stateful charset still holds back.
  while (!ended) {
    std::array<char, 4096> block;
    char* target = block.data();
    std::size_t room = block.size();
    ended = left == 0;
    const std::size_t done =
        iconv(converter, ended ? nullptr : &source, ended ? nullptr : &left, &target, &room);
    const int error = errno;
    out->append(block.data(), block.size() - room);
    if (done == static_cast<std::size_t>(-1) && error != E2BIG && left > 0) {
      *out += "\xEF\xBF\xBD";
      ++source;
      --left;
    }
  }
  iconv_close(converter);
  return true;
}

}  // namespace vespro::ModCharset::platform
