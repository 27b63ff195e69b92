#include "engine/delivery/account_check.h"

#include <gtest/gtest.h>

#include "engine/delivery/fake_loop.h"

namespace vespro::engine {
namespace {

AccountCheck Check(ScriptedServer::Behaviour behaviour, const std::string& login = "",
                   DeliveryOptions options = {}, bool serves = true,
                   std::vector<std::string>* commands = nullptr) {
  const auto answer = behaviour.answer;
  behaviour.answer = [answer, commands](const std::string& command) {
    if (commands != nullptr) commands->push_back(command);
    return answer ? answer(command) : std::string();
  };
  ScriptedServer server(behaviour);
  FakeLoop loop;
  if (serves) loop.Serve("mx.example", 25, server);
  Account account{"mx.example", 25, login, "secret"};
  return CheckAccount(loop, options, account, {"secret"}, "me@club.example");
}

TEST(AccountCheckTest, OneThatWorksIsLeftAlone) {
  std::vector<std::string> commands;
  const AccountCheck result = Check({{"AUTH PLAIN", "STARTTLS"}, {}}, "me", {}, true, &commands);
  EXPECT_TRUE(result.connected && result.secure && result.ready && result.sender_taken)
      << result.text;
  EXPECT_EQ(result.text, "");
  ASSERT_GE(commands.size(), 3u);
  EXPECT_EQ(std::vector<std::string>(commands.end() - 3, commands.end()),
            (std::vector<std::string>{"MAIL FROM:<me@club.example>", "RSET", "QUIT"}));
}

TEST(AccountCheckTest, WhereItEnds) {
  const auto says = [](const std::string& verb, const std::string& reply) {
    return ScriptedServer::Behaviour{{"AUTH PLAIN"}, [verb, reply](const std::string& command) {
                                       return command.starts_with(verb) ? reply : std::string();
                                     }};
  };
  const struct {
    const char* what;
    ScriptedServer::Behaviour behaviour;
    Stage stage;
    Fault fault;
    bool ready;
  } rows[] = {
      {"busy", says("connect", "421 come back"), Stage::kGreeting, Fault::kReply, false},
      {"no password", says("AUTH", "535 5.7.8 no"), Stage::kAuth, Fault::kReply, false},
      {"echo", says("AUTH", "535 no AG1lAHNlY3JldA=="), Stage::kAuth, Fault::kReply, false},
      {"sender", says("MAIL", "550 5.7.60 not yours"), Stage::kMail, Fault::kReply, true},
      {"hang-up", says("MAIL", ScriptedServer::kClose), Stage::kMail, Fault::kClosed, true},
      {"silence", says("EHLO", ScriptedServer::kSilence), Stage::kEhlo, Fault::kTimeout, false},
      {"no reply", says("EHLO", "hello?"), Stage::kEhlo, Fault::kProtocolError, false},
  };
  for (const auto& row : rows) {
    const AccountCheck result = Check(row.behaviour, "me");
    EXPECT_TRUE(result.connected) << row.what;
    EXPECT_EQ(result.ready, row.ready) << row.what;
    EXPECT_FALSE(result.sender_taken) << row.what;
    EXPECT_EQ(result.failure.stage, row.stage) << row.what;
    EXPECT_EQ(result.failure.fault, row.fault) << row.what;
    EXPECT_NE(result.text, "") << row.what;
    EXPECT_EQ(result.text.find("AG1lAHNlY3JldA"), std::string::npos) << result.text;
  }
  DeliveryOptions required;
  required.tls = TlsUse::kRequired;
  EXPECT_EQ(Check({}, "", required).failure.fault, Fault::kNoTls);
  const AccountCheck nobody = Check({}, "", {}, false);
  EXPECT_FALSE(nobody.connected);
  EXPECT_EQ(nobody.failure.stage, Stage::kConnect);
}

}  // namespace
}  // namespace vespro::engine
