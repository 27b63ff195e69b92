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
  using enum Complaint;
  const struct {
    std::string_view reply;
    Complaint complaint;
  } rows[] = {
      // The recipient's own.
      {"550 5.1.1 <daily-sending-limit@example.org>: user unknown", kNone},
      {"452 4.2.2 The email account that you tried to reach is over quota", kNone},
      {"552 5.2.2 Mailbox full, you have exceeded your sending limit", kNone},
      {"552 The mailbox is full: you have exceeded your storage", kNone},
      {"450-4.2.1 The user you are trying to contact is receiving mail at a rate that\r\n"
       "450 4.2.1 prevents additional messages from being delivered.",
       kNone},
      {"432 4.3.2 STOREDRV.Deliver; recipient thread limit exceeded", kNone},
      {"451 4.5.1 The recipient <ann@example.org> has exceeded their message rate limit.", kNone},
      {"552 5.3.4 Message size exceeds fixed limit", kNone},
      {"554 5.7.1 Spam message rejected", kNone},
      {"554 5.7.1 <a@example.org>: Sender address rejected: Access denied", kNone},
      {"450 4.2.1 This mailbox has been rate limited", kNone},
      {"450 4.7.1 <ann@example.org>: Recipient address rejected: Greylisted", kNone},
      {"452 4.5.3 Error: too many recipients", kNone},
      {"554 5.7.1 <ann@example.org>: Relay access denied", kNone},
      // The connection's end.
      {"421 #4.x.2 Too many messages for this session", kNone},
      {"421 mx.example.org: too many messages in one connection", kNone},
      // RFC 3463 and its registry.
      {"550 5.1.8 <a@example.org>: Sender address rejected: Domain not found", kSender},
      {"553 5.1.7 The sender address is not a valid RFC 5321 address", kSender},
      {"550 5.7.23 SPF validation failed", kSender},
      {"450 4.7.28 Mail flood detected", kUnsolicited},
      // Amazon SES
      {"454 Throttling failure: Maximum sending rate exceeded.", kRate},
      {"454 Throttling failure: Daily message quota exceeded.", kQuota},
      {"421 Too many concurrent SMTP connections", kConcurrency},
      {"554 Message rejected: Email address is not verified. The following identities failed the "
       "check in region US-EAST-1: a@example.org",
       kSender},
      {"554 Sending paused for this account.", kSender},
      {"554 Access denied: User `arn` is not authorized to perform `ses:SendRawEmail'", kSender},
      // Gmail
      {"450 4.2.1 Peak SMTP relay limit exceeded for customer. This is a temporary error.", kRate},
      {"550-5.4.5 Daily user sending limit exceeded. For more information on Gmail\r\n"
       "550-5.4.5 sending limits go to\r\n"
       "550 5.4.5  https://support.google.com/a/answer/166852 x1-20020a - gsmtp",
       kQuota},
      {"550 5.7.1 Daily SMTP relay limit exceeded for user.", kQuota},
      {"421-4.7.28 Gmail has detected an unusual rate of unsolicited mail. To protect\r\n"
       "421 4.7.28 our users from spam, mail has been temporarily rate limited.",
       kUnsolicited},
      {"421-4.7.0 [192.0.2.1] Our system has detected an unusual rate of\r\n"
       "421-4.7.0 unsolicited mail originating from your IP address. To protect our\r\n"
       "421 4.7.0 users from spam, mail sent from your IP address has been blocked.",
       kUnsolicited},
      {"421 4.7.32 Your email has been rate limited because the From: header isn't aligned",
       kUnsolicited},
      {"550 5.7.0 Mail relay denied", kSender},
      {"550 5.7.1 Invalid credentials for relay [192.0.2.1].", kSender},
      {"550 5.7.26 This mail is unauthenticated", kSender},
      {"550 5.7.30 DKIM authentication didn't pass", kSender},
      // Exchange
      {"432 4.3.2 STOREDRV.ClientSubmit; sender thread limit exceeded", kConcurrency},
      {"432 4.3.2 Concurrent connections limit exceeded.", kConcurrency},
      {"421 4.3.2 The maximum number of concurrent connections has exceeded a limit", kConcurrency},
      {"421 4.4.2 Message submission rate for this client has exceeded the configured limit",
       kRate},
      {"451 4.7.500 Server busy. Please try again later from [192.0.2.1]. (S77714)", kUnsolicited},
      {"451 4.7.650 The mail server has been temporarily rate limited due to IP reputation.",
       kUnsolicited},
      {"550 5.1.90 Your message can't be sent because you've reached your daily limit", kQuota},
      {"554 5.2.0 STOREDRV.Submission.Exception:SubmissionQuotaExceededException", kQuota},
      {"550 5.2.0 The message can't be sent because the submission quota was exceeded", kQuota},
      {"550 5.7.233 Your tenant has exceeded its daily limit", kQuota},
      {"554 5.2.2 mailbox full; STOREDRV.Submission.Exception:QuotaExceededException", kSender},
      {"550 5.2.251 Sender throttled due to continuous mailbox full errors.", kSender},
      {"554 5.2.252 SendAsDenied; a@example.org not allowed to send as b@example.org", kSender},
      {"550 5.7.60 SMTP; Client does not have permissions to send as this sender", kSender},
      {"550 5.7.60 Le client n'est pas autorise", kSender},
      {"550 5.7.64 TenantAttribution; Relay Access Denied", kSender},
      {"550 5.7.501 Access denied, spam abuse detected", kSender},
      {"550 5.7.606 Access denied, banned sending IP [192.0.2.1]", kSender},
      {"550 5.7.508 [2001:db8::1] has exceeded permitted limits within range", kUnsolicited},
      {"550 5.7.515 Access denied, sending domain does not meet the required level", kSender},
      {"550 5.7.705 Access denied, tenant has exceeded threshold", kSender},
      {"550 5.7.750 Service unavailable. Client blocked from sending", kSender},
      {"550 5.7.30 Basic authentication is not supported for Client Submission.", kLogin},
      {"530 5.7.57 Client was not authenticated to send anonymous mail", kLogin},
      // Others
      {"421 4.7.0 [TSS04] Messages from 192.0.2.1 temporarily deferred due to unexpected volume or "
       "user complaints - 4.16.55.1",
       kUnsolicited},
      {"421 4.7.1 [TS03] All messages from 192.0.2.1 permanently deferred", kUnsolicited},
      {"450-Requested mail action not taken: mailbox unavailable\r\n"
       "450 Mail send limit exceeded.",
       kQuota},
      {"421 Rate limit reached. Please try again later", kRate},
      {"451 Authentication failed: Maximum credits exceeded", kQuota},
      {"403 You are not authorized to send from that email address", kSender},
      {"550 The from address does not match a verified Sender Identity.", kSender},
      {"450 too frequent connects from 192.0.2.1, please try again later.", kConcurrency},
      {"550 5.4.6 Unusual sending activity detected.", kUnsolicited},
      {"554 5.1.8 Sender Address Blocked", kSender},
      {"553 Relaying disallowed as a@example.org", kSender},
      {"554 The domain is not allowed to send: Account Terminated.", kSender},
      {"433 Account is at / over message quota", kQuota},
      {"421 4.5.1 Too many errors, you have been temporarily blacklisted", kUnsolicited},
      {"550 5.7.1 Your mail limit has been reached.", kQuota},
      {"550 5.7.1 Outbound Mail Refused - 192.0.2.1", kQuota},
      {"421 Too many sessions opened", kConcurrency},
      {"451 Domain example.org has exceeded the max emails per hour (200/200 (100%)) allowed.",
       kQuota},
      {"550 Domain example.org has exceeded the max defers and failures per hour (5/5) allowed.",
       kQuota},
      {"550 Daily limit has been exceeded for a@example.org", kQuota},
      {"550 5.7.0 Your message could not be sent. The limit on the number of allowed outgoing "
       "messages was exceeded.",
       kQuota},
      {"450 4.7.1 message count quota exceeded", kQuota},
      {"450 4.7.1 Number messages per hour exceeded", kQuota},
      {"450 4.7.1 Number recipients per hour exceeded", kQuota},
      {"554 5.7.1 <ann@example.org>: Recipient address rejected: You have exceeded your Outmail "
       "quota.",
       kQuota},
      {"552 5.2.0 relay quota exceeded", kQuota},
      {"451 You've reached your sending limit.", kQuota},
      {"550 Sender rate overlimit - 290.8 / 24h", kQuota},
      {"553 5.7.1 <a@example.org>: Sender address rejected: not owned by user b@example.org",
       kSender},
      {"550 Too many messages. Try again in 92 seconds.", kRate},
      {"450 4.7.1 Error: too much mail from 192.0.2.1", kRate},
      {"450 4.7.1 Error: too many recipients from 192.0.2.1", kRate},
      {"421 4.7.0 mx.example.org Error: too many connections from 192.0.2.1", kConcurrency},
      {"421 4.3.2 Too many open connections.", kConcurrency},
      {"454 4.7.0 Error: too many new TLS sessions from 192.0.2.1", kConcurrency},
      {"421 4.3.2 Connection rate limit exceeded.", kConcurrency},
      {"451 4.7.1 Ratelimit \"user\" exceeded", kRate},
      {"451 4.7.1 Rate limit exceeded", kRate},
      {"421 slow down", kRate},
  };
  for (const auto& row : rows)
    EXPECT_EQ(ComplaintOf(Parsed(row.reply)), row.complaint) << row.reply;
}

TEST(ComplaintTest, HostileText) {
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
