#include "engine/smtp/sasl.h"

#include <gtest/gtest.h>

#include "base/text.h"

namespace vespro::engine {
namespace {

// What is begun with, mechanism after mechanism, as long as the server knows none of them.
std::string Order(const Credentials& credentials, std::string_view offers,
                  ChannelSecurity channel) {
  Sasl sasl(credentials);
  for (const std::string_view name : ModText::Split(offers, ' ')) sasl.Offer(name);
  std::string order;
  for (std::string command; sasl.Begin(channel, command); sasl.RejectMechanism()) {
    order += command.substr(0, command.find(' ')) + " ";
  }
  return order;
}

TEST(SaslTest, ChoosesByChannelSecurity) {
  const Credentials password{"me", "secret"}, token{"me", "token", true};
  const std::string_view all = "XOAUTH2 GSSAPI cram-md5 LOGIN PLAIN PLAIN";
  const struct {
    const Credentials& credentials;
    std::string_view offers;
    ChannelSecurity channel;
    const char* order;
  } rows[] = {{password, all, ChannelSecurity::kSecure, "PLAIN LOGIN CRAM-MD5 "},
              {password, all, ChannelSecurity::kInsecureAllowed, "CRAM-MD5 PLAIN LOGIN "},
              {password, all, ChannelSecurity::kInsecure, "CRAM-MD5 "},
              {password, "PLAIN LOGIN", ChannelSecurity::kInsecure, ""},
              {password, "XOAUTH2", ChannelSecurity::kSecure, ""},
              {token, all, ChannelSecurity::kSecure, "XOAUTH2 "},
              {token, all, ChannelSecurity::kInsecureAllowed, "XOAUTH2 "},
              {token, all, ChannelSecurity::kInsecure, ""},
              {token, "PLAIN LOGIN CRAM-MD5", ChannelSecurity::kSecure, ""}};
  for (const auto& row : rows) {
    EXPECT_EQ(Order(row.credentials, row.offers, row.channel), row.order) << row.offers;
  }
}

// What a server asks is its own idea; the answer is a digest or a refusal, once.
TEST(SaslTest, ChallengesMayBeAnything) {
  const Credentials credentials{"tim", "tanstaaftanstaaf"};
  const std::string refused[] = {"", " ", "!", "PDE4", "PDE4=", std::string(1028, 'A'), "\xFF\xFF"};
  for (const std::string& challenge : refused) {
    Sasl sasl(credentials);
    sasl.Offer("CRAM-MD5");
    std::string command;
    ASSERT_TRUE(sasl.Begin(ChannelSecurity::kInsecure, command));
    const std::optional<std::string> answer = sasl.Answer(challenge);
    ASSERT_TRUE(answer.has_value());
    EXPECT_EQ(*answer == "*", challenge != "PDE4") << challenge;
    EXPECT_FALSE(sasl.Answer(challenge).has_value()) << "asked twice";
  }
}

// RFC 4954, section 4: a command line has a length.
TEST(SaslTest, ALongTokenGoesInALineOfItsOwn) {
  const Credentials credentials{"me", std::string(2000, 't'), true};
  Sasl sasl(credentials);
  sasl.Offer("XOAUTH2");
  std::string command;
  ASSERT_TRUE(sasl.Begin(ChannelSecurity::kSecure, command));
  EXPECT_EQ(command, "XOAUTH2");
  EXPECT_GT(sasl.Answer("").value_or("").size(), 2000U);
  EXPECT_EQ(sasl.Answer("eyJzdGF0dXMiOiI0MDAifQ=="), "") << "the error is asked for";
  EXPECT_FALSE(sasl.Answer("").has_value());
}

}  // namespace
}  // namespace vespro::engine
