#include "engine/smtp/extensions.h"

#include <gtest/gtest.h>

namespace vespro::engine {
namespace {

// What is set, as words.
std::string Summary(const Extensions& extensions) {
  std::string text;
  const auto flag = [&](bool set, const char* name) {
    if (set) text += std::string(name) + " ";
  };
  const auto number = [&](std::uint64_t value, const char* name) {
    if (value > 0) text += name + std::to_string(value) + " ";
  };
  flag(extensions.starttls, "tls");
  flag(extensions.pipelining, "pipelining");
  flag(extensions.chunking, "chunking");
  flag(extensions.eight_bit, "8bit");
  flag(extensions.utf8, "utf8");
  flag(extensions.size, "size");
  number(extensions.max_size, "bytes=");
  number(extensions.max_recipients, "rcpt=");
  number(extensions.max_messages, "mail=");
  for (const std::string& name : extensions.auth_mechanisms) text += name + " ";
  return text;
}

TEST(ExtensionsTest, WhatAnEhloReplyOffers) {
  const struct {
    const char* why;
    const char* text;
    const char* summary;
  } rows[] = {
      {"nothing", "mx.example", ""},
      {"the first line is a greeting", "PIPELINING\nHELP", ""},
      {"everything, in any case",
       "x\nStartTLS\npipelining\nCHUNKING\n8bitmime\nSMTPUTF8\nSIZE 100\nX-OTHER y",
       "tls pipelining chunking 8bit utf8 size bytes=100 "},
      {"a keyword is a whole word", "x\nPIPELININGS\nCHUNKING2\nSIZED 5", ""},
      {"a size without a number", "x\nSIZE\n", "size "},
      {"a size of letters", "x\nSIZE many", "size "},
      {"more than 64 bits", "x\nSIZE 99999999999999999999", "size "},
      {"the last of two counts", "x\nSIZE 5\nSIZE 0", "size "},
      {"limits", "x\nLIMITS  RCPTMAX=20 mailmax=5 RCPTDOMAINMAX=1 X", "rcpt=20 mail=5 "},
      {"limits that are none", "x\nLIMITS RCPTMAX= MAILMAX=-1 RCPTMAX=1x MAILMAX=1000001", ""},
      {"mechanisms, in the old spelling too", "x\nAUTH PLAIN  LOGIN\nAUTH=cram-md5 PLAIN",
       "PLAIN LOGIN cram-md5 PLAIN "},
      {"empty lines", "x\n\n \nPIPELINING ", "pipelining "},
  };
  for (const auto& row : rows) EXPECT_EQ(Summary(ParseEhlo(row.text)), row.summary) << row.why;
}

}  // namespace
}  // namespace vespro::engine
