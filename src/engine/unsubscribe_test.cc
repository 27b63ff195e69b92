#include "engine/unsubscribe.h"

#include <gtest/gtest.h>

#include "engine/hmac.h"

namespace vespro::engine {
namespace {

std::string Fields(const UnsubscribeOptions& options, std::string_view address) {
  Result<Unsubscribe> made = Unsubscribe::Make(options, false);
  if (!made.ok()) return made.status().text();
  std::string fields;
  made->Append(fields, address);
  return fields;
}

TEST(UnsubscribeTest, LinksForEachRecipient) {
  // What `printf %s ann+x@example.org | openssl dgst -sha256 -hmac 0123456789abcdef` begins with.
  const std::string token =
      HmacHex(Digest::kSha256, "0123456789abcdef", "ann+x@example.org")->substr(0, 32);
  EXPECT_EQ(Fields({"https://x.org/u?a={address}&t={token}", "mailto:leave@x.org?subject=leave",
                    "0123456789abcdef"},
                   "ann+x@example.org"),
            "List-Unsubscribe: <mailto:leave@x.org?subject=leave>,\r\n"
            " <https://x.org/u?a=ann%2Bx%40example.org&t=" +
                token +
                ">\r\n"
                "List-Unsubscribe-Post: List-Unsubscribe=One-Click\r\n");
  // One click needs TLS and a link that names the person.
  EXPECT_EQ(Fields({"http://x.org/{address}", "", ""}, "\xC3\xA4@x.org"),
            "List-Unsubscribe: <http://x.org/%C3%A4%40x.org>\r\n");
  EXPECT_EQ(Fields({"https://x.org/leave", "", ""}, "a@x.org"),
            "List-Unsubscribe: <https://x.org/leave>\r\n");
  // No line may grow beyond what mail allows.
  EXPECT_EQ(Fields({"https://x.org/{address}{address}{address}{address}", "l@x.org", ""},
                   std::string(250, '%') + "@x.org"),
            "List-Unsubscribe: <mailto:l@x.org>\r\n");
}

TEST(UnsubscribeTest, WhatCannotBeALinkIsRefused) {
  const UnsubscribeOptions bad[] = {
      {"ftp://x.org/", "", ""},
      {"https://x.org/\r\nBcc: a@b.c", "", ""},
      {"https://x.org/a>,<b", "", ""},
      {"https://x.org/\xC3\xA4", "", ""},
      {"https://x.org/{adress}", "", ""},
      {"https:///leave", "", ""},
      {"https://{address}/leave", "", ""},
      {"", "nobody", ""},
      {"", "a@x.org?subject=a b", ""},
      {"https://x.org/{token}", "", ""},
      {"https://x.org/{token}", "", "short"},
  };
  for (const UnsubscribeOptions& options : bad) {
    EXPECT_EQ(Unsubscribe::Make(options, false).status().code(), Code::kUsage)
        << options.url << options.mailto;
  }
  // One copy for many people can't name one of them.
  EXPECT_EQ(Unsubscribe::Make({"https://x.org/{address}", "", ""}, true).status().code(),
            Code::kUsage);
  EXPECT_TRUE(Unsubscribe::Make({"", "leave@x.org", ""}, true).ok());
}

}  // namespace
}  // namespace vespro::engine
