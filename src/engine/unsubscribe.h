// engine/unsubscribe.h - the fields that let a mail program offer "Unsubscribe": List-Unsubscribe
// (RFC 2369) and List-Unsubscribe-Post (RFC 8058). One thread per object.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "base/status.h"

namespace vespro::engine {

// {address} and {token} in them stand for a recipient's address and for a token of it, the first
// 32 hexadecimal digits of HMAC-SHA256(key, address): whoever has the key can tell a link of ours
// from one that was made up, without keeping a list of them.
struct UnsubscribeOptions {
  std::string url;     // https: or http:; empty for none
  std::string mailto;  // "address" or "address?subject=..."; empty for none
  std::string key;     // bytes; needed for {token}
};

// The options with the key that `file` holds, without the line end that editors append; as they are
// when there is no file's name. Fails when it can't be read.
Result<UnsubscribeOptions> LoadKey(UnsubscribeOptions options, const std::filesystem::path& file);

class Unsubscribe {
 public:
  Unsubscribe() = default;
  // kUsage says what is wrong with the options. `shared`: one message goes to many people.
  static Result<Unsubscribe> Make(const UnsubscribeOptions& options, bool shared);

  bool wanted() const { return !options_.url.empty() || !options_.mailto.empty(); }
  bool per_recipient() const { return per_recipient_; }
  // Appends the fields. A link that a long address makes too long for a line is left out.
  void Append(std::string& out, std::string_view address) const;

 private:
  void AppendLink(std::string& links, std::string_view scheme, std::string_view pattern,
                  std::string_view address) const;

  UnsubscribeOptions options_;
  bool per_recipient_ = false;
  bool one_click_ = false;
};

}  // namespace vespro::engine
