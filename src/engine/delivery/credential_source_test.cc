#include "engine/delivery/credential_source.h"

#include <gtest/gtest.h>

namespace vespro::engine {
namespace {

TEST(CredentialSourceTest, APasswordIsThereAndFinal) {
  CredentialSource password("geheim");
  EXPECT_TRUE(password.available());
  EXPECT_EQ(password.secret().value, "geheim");
  EXPECT_EQ(password.Request(), nullptr);
  password.OnAccepted(0);
  EXPECT_FALSE(password.OnRefused(0)) << "the same one again would only lock the account";
}

TEST(CredentialSourceTest, ATokenIsFetchedOnceAndRenewedWhenItHadWorked) {
  CredentialSource token([](const std::atomic<bool>&) {
    return Result<Secret>(Secret{"t", true});
  });
  EXPECT_FALSE(token.available());
  ASSERT_NE(token.Request(), nullptr);
  EXPECT_EQ(token.Request(), nullptr) << "one is on its way";
  token.OnFetched({"first", true});
  EXPECT_TRUE(token.available());
  EXPECT_TRUE(token.secret().is_bearer_token);
  const unsigned first = token.generation();
  token.OnAccepted(first);

  // It expired: the first session that sees it has it renewed, the others wait for that.
  EXPECT_TRUE(token.OnRefused(first));
  EXPECT_FALSE(token.available());
  EXPECT_NE(token.Request(), nullptr);
  EXPECT_TRUE(token.OnRefused(first));
  token.OnFetched({"second", true});
  EXPECT_TRUE(token.OnRefused(first)) << "a late session still had the old one";
  token.OnAccepted(first);
  EXPECT_FALSE(token.OnRefused(token.generation())) << "the new one never worked";
  EXPECT_EQ(token.Request(), nullptr);
}

TEST(CredentialSourceTest, ACommandGivesAPasswordOrAToken) {
  const std::atomic<bool> stop = false;
  const Result<Secret> password = PasswordCommand("echo geheim")(stop);
  ASSERT_TRUE(password.ok()) << password.status().text();
  EXPECT_EQ(password->value, "geheim");
  EXPECT_FALSE(password->is_bearer_token);
  const Result<Secret> token = PasswordCommand("echo Bearer ya29.x")(stop);
  ASSERT_TRUE(token.ok()) << token.status().text();
  EXPECT_EQ(token->value, "ya29.x");
  EXPECT_TRUE(token->is_bearer_token);
  const Result<Secret> none = PasswordCommand("exit 3")(stop);
  EXPECT_NE(none.status().text().find("gave none"), std::string::npos);
}

}  // namespace
}  // namespace vespro::engine
