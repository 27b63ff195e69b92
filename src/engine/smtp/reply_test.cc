#include "engine/smtp/reply.h"

#include <gtest/gtest.h>

#include <vector>

namespace vespro::engine {
namespace {

// What the parser makes of `bytes` given in pieces of `size`: a line a reply.
std::string Parse(std::string_view bytes, std::size_t size) {
  ReplyParser parser;
  std::string seen;
  while (!bytes.empty()) {
    std::string_view piece = bytes.substr(0, size);
    bytes.remove_prefix(piece.size());
    for (;;) {
      const ReplyParser::ParseResult got = parser.Feed(piece);
      if (got == ReplyParser::ParseResult::kMore) break;
      if (got == ReplyParser::ParseResult::kProtocolError) return seen + "garbage";
      const EnhancedCode& code = parser.reply().enhanced;
      seen += ReplyLine(parser.reply());
      if (code.severity != 0) {
        seen += " {" + std::to_string(code.severity) + "," + std::to_string(code.subject) + "," +
                std::to_string(code.detail) + "}";
      }
      seen += '\n';
    }
  }
  return seen;
}

TEST(SmtpReplyTest, RepliesHoweverTheyAreCut) {
  const struct {
    const char* why;
    std::string bytes, seen;
  } rows[] = {
      {"one line", "250 ok\r\n", "250 ok\n"},
      {"no text", "250\r\n250 \r\n", "250\n250\n"},
      {"many lines", "250-a\r\n250-\r\n250 c\r\n", "250 a  c\n"},
      {"lone line feeds", "250-a\n250 b\n", "250 a b\n"},
      {"two replies together", "250 a\r\n550 5.1.1 b\r\n", "250 a\n550 5.1.1 b {5,1,1}\n"},
      {"an enhanced code alone", "421 4.3.2\r\n", "421 4.3.2 {4,3,2}\n"},
      {"an enhanced code of another class", "550 4.1.1 x\r\n", "550 4.1.1 x\n"},
      {"no enhanced code", "550 5.1 x\r\n550 5.1.1x\r\n550 5.1234.1 x\r\n",
       "550 5.1 x\n550 5.1.1x\n550 5.1234.1 x\n"},
      {"the last of several codes counts", "250-a\r\n550 b\r\n", "550 a b\n"},
      {"controls are not shown", "550 a\x1b[2Jb\r\n", "550 a?[2Jb\n"},
      {"half a reply", "250 ok\r\n250-more\r\n", "250 ok\n"},
      {"no code", "hello\r\n", "garbage"},
      {"codes outside the classes", "250 a\r\n150 b\r\n", "250 a\ngarbage"},
      {"a code too long", "2500 a\r\n", "garbage"},
      {"an empty line", "\r\n", "garbage"},
      {"another protocol, no line end", std::string("\x16\x03\x01\x02", 4), "garbage"},
  };
  for (const auto& row : rows) {
    for (const std::size_t size : {1U, 2U, 3U, 1000U}) {
      EXPECT_EQ(Parse(row.bytes, size), row.seen) << row.why << ", in pieces of " << size;
    }
  }
}

TEST(SmtpReplyTest, LongLinesAreCutAndEndlessRepliesEnd) {
  ReplyParser parser;
  std::string line = "250 " + std::string(100'000, 'x') + "\r\n250 next\r\n";
  std::string_view bytes = line;
  ASSERT_EQ(parser.Feed(bytes), ReplyParser::ParseResult::kReply);
  EXPECT_EQ(parser.reply().text.size(), 64 * 1024 - 4);
  ASSERT_EQ(parser.Feed(bytes), ReplyParser::ParseResult::kReply);
  EXPECT_EQ(parser.reply().text, "next");

  std::size_t lines = 0;
  ReplyParser::ParseResult got = ReplyParser::ParseResult::kMore;
  for (; got == ReplyParser::ParseResult::kMore && lines < 1'000'000; ++lines) {
    bytes = "250-and on\r\n";
    got = parser.Feed(bytes);
  }
  EXPECT_EQ(got, ReplyParser::ParseResult::kProtocolError);
  EXPECT_LT(lines, 100'000U);
  bytes = "250 ok\r\n";
  EXPECT_EQ(parser.Feed(bytes), ReplyParser::ParseResult::kProtocolError)
      << "it goes on after garbage";
}

}  // namespace
}  // namespace vespro::engine
