#include "engine/smtp/policy.h"

#include <gtest/gtest.h>

namespace vespro::engine {
namespace {

Failure Answered(Stage stage, int code, EnhancedCode enhanced = {}) {
  return {.stage = stage, .code = code, .enhanced = enhanced};
}

Failure Local(Stage stage, Fault fault, bool ended = false) {
  Failure failure;
  failure.stage = stage;
  failure.fault = fault;
  failure.message_ended = ended;
  return failure;
}

TEST(PolicyTest, WhatAFailureMeans) {
  const struct {
    const char* why;
    Failure failure;
    Scope scope;
    Action action;
    bool renew;
  } rows[] = {
      {"nobody there", Local(Stage::kConnect, Fault::kUnreachable), Scope::kConnection,
       Action::kRetryLater, true},
      {"a name without address", Local(Stage::kConnect, Fault::kNoName), Scope::kConnection,
       Action::kRetryLater, true},
      {"a bad certificate", Local(Stage::kStartTls, Fault::kCertificate), Scope::kAccount,
       Action::kTakeOut, true},
      {"the same on port 465", Local(Stage::kGreeting, Fault::kCertificate), Scope::kAccount,
       Action::kTakeOut, true},
      {"an unknown issuer", Local(Stage::kStartTls, Fault::kUntrusted), Scope::kAccount,
       Action::kTakeOut, true},
      {"TLS required, none there", Local(Stage::kStartTls, Fault::kNoTls), Scope::kAccount,
       Action::kTakeOut, true},
      {"a greeting that says no", Answered(Stage::kGreeting, 554), Scope::kConnection,
       Action::kRetryLater, true},
      {"wrong password", Answered(Stage::kAuth, 535), Scope::kAccount, Action::kTakeOut, true},
      {"mechanism too weak", Answered(Stage::kAuth, 534), Scope::kAccount, Action::kTakeOut, true},
      {"encryption required", Answered(Stage::kAuth, 538), Scope::kAccount, Action::kTakeOut, true},
      {"login not possible now", Answered(Stage::kAuth, 454), Scope::kConnection,
       Action::kRetryLater, true},
      {"login wanted", Answered(Stage::kMail, 530), Scope::kAccount, Action::kTakeOut, true},
      {"sender refused", Answered(Stage::kMail, 550), Scope::kAccount, Action::kTakeOut, false},
      {"quota used up", Answered(Stage::kMail, 550, {5, 7, 0}), Scope::kAccount, Action::kTakeOut,
       false},
      {"message too large", Answered(Stage::kMail, 552), Scope::kMessage, Action::kElsewhere,
       false},
      {"sender later", Answered(Stage::kMail, 451), Scope::kMessage, Action::kRetryLater, false},
      {"recipient refused", Answered(Stage::kRcpt, 550), Scope::kRecipient, Action::kRefuse, false},
      {"greylisted", Answered(Stage::kRcpt, 450), Scope::kRecipient, Action::kRetryLater, false},
      {"out of step", Answered(Stage::kRcpt, 503), Scope::kConnection, Action::kRetryLater, true},
      {"content refused", Answered(Stage::kEnd, 554), Scope::kMessage, Action::kRefuse, false},
      {"content later", Answered(Stage::kEnd, 451), Scope::kMessage, Action::kRetryLater, false},
      {"hang-up before the end", Local(Stage::kData, Fault::kClosed), Scope::kConnection,
       Action::kRetryLater, true},
      {"hang-up after the end", Local(Stage::kEnd, Fault::kClosed, true), Scope::kMessage,
       Action::kUnknown, true},
      {"silence after the end", Local(Stage::kEnd, Fault::kTimeout, true), Scope::kMessage,
       Action::kUnknown, true},
      {"TLS breaks after the end", Local(Stage::kEnd, Fault::kTls, true), Scope::kMessage,
       Action::kUnknown, true},
      {"too large for this server", Local(Stage::kMail, Fault::kCannotCarry), Scope::kMessage,
       Action::kElsewhere, false},
      {"421 at the first message", Answered(Stage::kMail, 421), Scope::kConnection,
       Action::kRetryLater, true},
      {"421 in the place of an acceptance", Answered(Stage::kEnd, 421), Scope::kConnection,
       Action::kRetryLater, true},
  };
  for (const auto& row : rows) {
    const Verdict verdict = Judge(row.failure);
    EXPECT_EQ(verdict.scope, row.scope) << row.why;
    EXPECT_EQ(verdict.action, row.action) << row.why;
    EXPECT_EQ(verdict.renew, row.renew) << row.why;
  }
}

TEST(PolicyTest, CircumstancesCount) {
  Failure busy = Answered(Stage::kMail, 421);
  busy.proved = true;
  EXPECT_EQ(Judge(busy).action, Action::kRetryNow) << "421 after accepted messages is ordinary";
  EXPECT_FALSE(Judge(busy).pause);
  busy.proved = false;
  EXPECT_TRUE(Judge(busy).pause);

  for (const int code : {452, 552}) {
    Failure many = Answered(Stage::kRcpt, code);
    const Action alone = Judge(many).action;
    many.others_accepted = true;
    EXPECT_EQ(Judge(many).action, Action::kRetryNow) << code;
    EXPECT_NE(alone, Action::kRetryNow) << code;
    many.enhanced = {code / 100, 5, 3};
    EXPECT_EQ(Judge(many).action, Action::kRetryNow) << code;
    many.enhanced = {code / 100, 2, 2};
    EXPECT_EQ(Judge(many).action, alone) << "a full mailbox is that mailbox's trouble";
  }

  Failure behind = Local(Stage::kMail, Fault::kClosed);
  behind.in_front = false;
  EXPECT_EQ(Judge(behind).action, Action::kRetryNow) << "it was not this message that broke it";

  EXPECT_TRUE(Judge(Answered(Stage::kMail, 450, {4, 7, 1})).pause);
  EXPECT_TRUE(Judge(Answered(Stage::kMail, 454)).pause);
  EXPECT_FALSE(Judge(Answered(Stage::kMail, 451, {4, 3, 0})).pause);

  EXPECT_TRUE(Judge(Answered(Stage::kAuth, 535)).login);
  EXPECT_FALSE(Judge(Local(Stage::kStartTls, Fault::kCertificate)).login);
}

// Whatever a server may answer anywhere: it is never sent again once it may have been accepted, and
// never given up for a reason that passes.
TEST(PolicyTest, NoCodeFallsThrough) {
  for (int stage = 0; stage <= static_cast<int>(Stage::kQuit); ++stage) {
    for (int code = 400; code < 600; ++code) {
      const Verdict verdict = Judge(Answered(static_cast<Stage>(stage), code));
      EXPECT_NE(verdict.action, Action::kUnknown) << stage << " " << code;
      if (code < 500) {
        EXPECT_NE(verdict.action, Action::kRefuse) << stage << " " << code;
        EXPECT_NE(verdict.action, Action::kTakeOut) << stage << " " << code;
      }
    }
    for (int fault = 1; fault <= static_cast<int>(Fault::kTls); ++fault) {
      const Stage at = static_cast<Stage>(stage);
      if (at < Stage::kMail || at > Stage::kEnd) continue;
      EXPECT_EQ(Judge(Local(at, static_cast<Fault>(fault), true)).action, Action::kUnknown);
    }
  }
}

}  // namespace
}  // namespace vespro::engine
