#include "engine/smtp/complaint.h"

#include <gtest/gtest.h>

#include <string>

namespace vespro::engine {
namespace {

// The reply in these bytes, without the last line end.
Reply Parsed(std::string_view wire) {
  ReplyParser parser;
  const std::string line = std::string(wire) + "\r\n";
  std::string_view bytes = line;
  EXPECT_EQ(parser.Feed(bytes), ReplyParser::ParseResult::kReply) << wire;
  return parser.reply();
}

TEST(ComplaintTest, WhatProvidersSay) {
  const struct {
    std::string_view reply;
    Complaint complaint;
  } rows[] = {
      {"454 Throttling failure: Maximum sending rate exceeded.", Complaint::kRate},
      {"454 Throttling failure: Daily message quota exceeded.", Complaint::kQuota},
      {"550-5.4.5 Daily user sending limit exceeded. For more information on Gmail\r\n"
       "550-5.4.5 sending limits go to\r\n"
       "550 5.4.5  https://support.google.com/a/answer/166852 x1-20020a - gsmtp",
       Complaint::kQuota},
      {"432 4.3.2 STOREDRV.ClientSubmit; sender thread limit exceeded", Complaint::kConcurrency},
      {"550 5.7.60 SMTP; Client does not have permissions to send as this sender",
       Complaint::kSender},
      {"552 5.2.0 relay quota exceeded", Complaint::kQuota},
  };
  for (const auto& row : rows)
    EXPECT_EQ(ComplaintOf(Parsed(row.reply)), row.complaint) << row.reply;
}

TEST(ComplaintTest, HostileText) {
  EXPECT_EQ(ComplaintOf(Parsed("454 MAXIMUM\tsending  rate\r\n")), Complaint::kNone);
  EXPECT_EQ(ComplaintOf(Parsed("454-4.7.1 MAXIMUM\tsending  rate\r\n454 4.7.1 exceeded")),
            Complaint::kRate)
      << "over two lines";
  EXPECT_EQ(ComplaintOf(Parsed("454 <maximum sending@rate exceeded>")), Complaint::kNone);
  EXPECT_EQ(
      ComplaintOf(Parsed("454 " + std::string(60'000, 'x') + " maximum sending rate exceeded")),
      Complaint::kNone)
      << "more than is read";
  EXPECT_EQ(ComplaintOf(Parsed("454")), Complaint::kNone);
}

}  // namespace
}  // namespace vespro::engine
