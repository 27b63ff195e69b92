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
  failure.end_of_data_sent = ended;
  return failure;
}

TEST(PolicyTest, WhatAFailureMeans) {
  const struct {
    const char* why;
    Failure failure;
    Scope scope;
    Action action;
    bool close_connection;
  } rows[] = {
      {"nobody there", Local(Stage::kConnect, Fault::kUnreachable), Scope::kConnection,
       Action::kDefer, true},
      {"a name without address", Local(Stage::kConnect, Fault::kDnsFailure), Scope::kConnection,
       Action::kDefer, true},
      {"a bad certificate", Local(Stage::kStartTls, Fault::kCertificate), Scope::kAccount,
       Action::kDisableServer, true},
      {"the same on port 465", Local(Stage::kGreeting, Fault::kCertificate), Scope::kAccount,
       Action::kDisableServer, true},
      {"an unknown issuer", Local(Stage::kStartTls, Fault::kUntrusted), Scope::kAccount,
       Action::kDisableServer, true},
      {"TLS required, none there", Local(Stage::kStartTls, Fault::kNoTls), Scope::kAccount,
       Action::kDisableServer, true},
      {"a greeting that says no", Answered(Stage::kGreeting, 554), Scope::kConnection,
       Action::kDefer, true},
      {"wrong password", Answered(Stage::kAuth, 535), Scope::kAccount, Action::kDisableServer,
       true},
      {"mechanism too weak", Answered(Stage::kAuth, 534), Scope::kAccount, Action::kDisableServer,
       true},
      {"encryption required", Answered(Stage::kAuth, 538), Scope::kAccount, Action::kDisableServer,
       true},
      {"login not possible now", Answered(Stage::kAuth, 454), Scope::kConnection, Action::kDefer,
       true},
      {"login wanted", Answered(Stage::kMail, 530), Scope::kAccount, Action::kDisableServer, true},
      {"sender refused", Answered(Stage::kMail, 550), Scope::kAccount, Action::kDisableServer,
       false},
      {"quota used up", Answered(Stage::kMail, 550, {5, 7, 0}), Scope::kAccount,
       Action::kDisableServer, false},
      {"message too large", Answered(Stage::kMail, 552), Scope::kMessage, Action::kTryOtherServer,
       false},
      {"the sender's mailbox is full", Answered(Stage::kMail, 552, {5, 2, 2}), Scope::kAccount,
       Action::kDisableServer, false},
      {"sender later", Answered(Stage::kMail, 451), Scope::kMessage, Action::kDefer, false},
      {"recipient refused", Answered(Stage::kRcpt, 550), Scope::kRecipient, Action::kBounce, false},
      {"greylisted", Answered(Stage::kRcpt, 450), Scope::kRecipient, Action::kDefer, false},
      {"out of step", Answered(Stage::kRcpt, 503), Scope::kConnection, Action::kDefer, true},
      {"content refused", Answered(Stage::kEndOfData, 554), Scope::kMessage, Action::kBounce,
       false},
      {"content later", Answered(Stage::kEndOfData, 451), Scope::kMessage, Action::kDefer, false},
      {"hang-up before the end", Local(Stage::kData, Fault::kClosed), Scope::kConnection,
       Action::kDefer, true},
      {"hang-up after the end", Local(Stage::kEndOfData, Fault::kClosed, true), Scope::kMessage,
       Action::kUnknown, true},
      {"silence after the end", Local(Stage::kEndOfData, Fault::kTimeout, true), Scope::kMessage,
       Action::kUnknown, true},
      {"TLS breaks after the end", Local(Stage::kEndOfData, Fault::kTls, true), Scope::kMessage,
       Action::kUnknown, true},
      {"too large for this server", Local(Stage::kMail, Fault::kUnsupported), Scope::kMessage,
       Action::kTryOtherServer, false},
      {"421 at the first message", Answered(Stage::kMail, 421), Scope::kConnection, Action::kDefer,
       true},
      {"421 in the place of an acceptance", Answered(Stage::kEndOfData, 421), Scope::kConnection,
       Action::kDefer, true},
  };
  for (const auto& row : rows) {
    const Disposition disposition = Classify(row.failure);
    EXPECT_EQ(disposition.scope, row.scope) << row.why;
    EXPECT_EQ(disposition.action, row.action) << row.why;
    EXPECT_EQ(disposition.close_connection, row.close_connection) << row.why;
  }
}

TEST(PolicyTest, CircumstancesCount) {
  Failure busy = Answered(Stage::kMail, 421);
  busy.delivered_before = true;
  EXPECT_EQ(Classify(busy).action, Action::kRequeue) << "421 after accepted messages is ordinary";
  EXPECT_EQ(Classify(busy).limit, Limit::kNone);
  busy.delivered_before = false;
  EXPECT_EQ(Classify(busy).limit, Limit::kConcurrency);

  for (const int code : {452, 552}) {
    Failure many = Answered(Stage::kRcpt, code);
    const Action alone = Classify(many).action;
    many.others_accepted = true;
    EXPECT_EQ(Classify(many).action, Action::kRequeue) << code;
    EXPECT_NE(alone, Action::kRequeue) << code;
    many.enhanced = {code / 100, 5, 3};
    EXPECT_EQ(Classify(many).action, Action::kRequeue) << code;
    many.enhanced = {code / 100, 2, 2};
    EXPECT_EQ(Classify(many).action, alone) << "a full mailbox is that mailbox's trouble";
  }

  Failure behind = Local(Stage::kMail, Fault::kClosed);
  behind.head_of_line = false;
  EXPECT_EQ(Classify(behind).action, Action::kRequeue) << "it was not this message that broke it";

  EXPECT_EQ(Classify(Answered(Stage::kMail, 450, {4, 7, 1})).limit, Limit::kRate);
  EXPECT_EQ(Classify(Answered(Stage::kMail, 454)).limit, Limit::kRate);
  EXPECT_EQ(Classify(Answered(Stage::kMail, 454)).action, Action::kRequeue) << "nobody's attempt";
  EXPECT_EQ(Classify(Answered(Stage::kMail, 451, {4, 3, 0})).limit, Limit::kNone);
  EXPECT_EQ(Classify(Answered(Stage::kData, 454)).limit, Limit::kRate);
  EXPECT_EQ(Classify(Answered(Stage::kRcpt, 454, {4, 7, 1})).limit, Limit::kNone);
  EXPECT_EQ(Classify(Answered(Stage::kEndOfData, 451, {4, 7, 1})).limit, Limit::kNone);

  EXPECT_TRUE(Classify(Answered(Stage::kAuth, 535)).login);
  EXPECT_FALSE(Classify(Local(Stage::kStartTls, Fault::kCertificate)).login);
}

// A limit of the account's is never the recipient's trouble, wherever the server tells it.
TEST(PolicyTest, LimitsBlameNobody) {
  const struct {
    Complaint complaint;
    int code;
    Action action;
    Limit limit;
    bool close_connection;
  } rows[] = {
      {Complaint::kRate, 454, Action::kRequeue, Limit::kRate, false},
      {Complaint::kRate, 421, Action::kRequeue, Limit::kRate, false},
      {Complaint::kRate, 550, Action::kRequeue, Limit::kRate, false},
      {Complaint::kConcurrency, 432, Action::kRequeue, Limit::kConcurrency, false},
      {Complaint::kUnsolicited, 421, Action::kRequeue, Limit::kRest, true},
      {Complaint::kUnsolicited, 550, Action::kDisableServer, Limit::kNone, false},
      {Complaint::kQuota, 454, Action::kDisableServer, Limit::kQuota, false},
      {Complaint::kQuota, 552, Action::kDisableServer, Limit::kQuota, false},
      {Complaint::kSender, 550, Action::kDisableServer, Limit::kNone, false},
      {Complaint::kSender, 450, Action::kRequeue, Limit::kRest, true},
      {Complaint::kLogin, 550, Action::kDisableServer, Limit::kNone, true},
  };
  for (const auto& row : rows) {
    for (const Stage stage : {Stage::kMail, Stage::kRcpt, Stage::kData, Stage::kEndOfData}) {
      for (const bool delivered_before : {false, true}) {
        Failure failure = Answered(stage, row.code);
        failure.complaint = row.complaint;
        failure.delivered_before = delivered_before;
        const Disposition disposition = Classify(failure);
        const std::string where =
            StageName(stage) + std::string(" ") + std::to_string(static_cast<int>(row.complaint));
        EXPECT_EQ(disposition.action, row.action) << where;
        EXPECT_EQ(disposition.limit, row.limit) << where;
        EXPECT_EQ(disposition.close_connection, row.close_connection) << where;
        EXPECT_EQ(disposition.login, row.complaint == Complaint::kLogin) << where;
      }
    }
  }

  Failure lost = Answered(Stage::kMail, 421);
  lost.complaint = Complaint::kUnsolicited;
  lost.head_of_line = false;
  EXPECT_EQ(Classify(lost).limit, Limit::kNone) << "told by the one that the server answered";

  for (const Stage stage : {Stage::kConnect, Stage::kGreeting, Stage::kEhlo, Stage::kReset}) {
    Failure resting = Answered(stage, 421);
    resting.complaint = Complaint::kUnsolicited;
    EXPECT_EQ(Classify(resting).limit, Limit::kRest) << StageName(stage);
  }
  Failure crowd = Answered(Stage::kGreeting, 554);
  crowd.complaint = Complaint::kConcurrency;
  EXPECT_EQ(Classify(crowd).limit, Limit::kConcurrency);

  Failure at_login = Answered(Stage::kAuth, 535);
  at_login.complaint = Complaint::kQuota;
  EXPECT_FALSE(Classify(at_login).login) << "the password is not wrong";
}

// Whatever a server may answer anywhere: it is never sent again once it may have been accepted, and
// never given up for a reason that passes.
TEST(PolicyTest, NoCodeFallsThrough) {
  for (int stage = 0; stage <= static_cast<int>(Stage::kQuit); ++stage) {
    for (int code = 400; code < 600; ++code) {
      const Disposition disposition = Classify(Answered(static_cast<Stage>(stage), code));
      EXPECT_NE(disposition.action, Action::kUnknown) << stage << " " << code;
      if (code < 500) {
        EXPECT_NE(disposition.action, Action::kBounce) << stage << " " << code;
        EXPECT_NE(disposition.action, Action::kDisableServer) << stage << " " << code;
      }
    }
    for (int fault = 1; fault <= static_cast<int>(Fault::kTls); ++fault) {
      const Stage at = static_cast<Stage>(stage);
      if (at < Stage::kMail || at > Stage::kEndOfData) continue;
      EXPECT_EQ(Classify(Local(at, static_cast<Fault>(fault), true)).action, Action::kUnknown);
    }
  }
}

}  // namespace
}  // namespace vespro::engine
