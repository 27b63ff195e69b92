#include "engine/smtp/confirmation.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/smtp/pending_replies.h"

namespace vespro::engine {
namespace {

Reply ReplyOf(int code) {
  Reply reply;
  reply.code = code;
  reply.text = std::to_string(code);
  return reply;
}

// A transaction that was answered so. `data` 0: sent by BDAT.
struct Answers {
  int mail;
  std::vector<int> recipients;
  int data, end;
};

class Answered {
 public:
  explicit Answered(const Answers& answers)
      : recipients_(answers.recipients.size(), Recipient{1, "a@x", ""}) {
    message_.pieces = {"text\r\n"};
    message_.bytes = 6;
    transaction.Begin({"s@x", recipients_, &message_}, extensions_);
    std::string command;
    transaction.SendMail(extensions_, command);
    for (std::size_t index = 0; transaction.SendRecipient(command, index);) {
    }
    transaction.SendBody();
    transaction.OnMailReply(ReplyOf(answers.mail), "mail");
    for (std::size_t i = 0; i < recipients_.size(); ++i) {
      transaction.OnRecipientReply(i, ReplyOf(answers.recipients[i]), "rcpt");
    }
    if (answers.data != 0 && !transaction.OnDataReply(ReplyOf(answers.data), "data")) return;
    transaction.BodySent(1);
    transaction.OnEndReply(ReplyOf(answers.end), "end");
  }
  Transaction transaction;
  Transaction::Circumstances circumstances{.may_have_ended = true};

 private:
  std::vector<Recipient> recipients_;
  RenderedMessage message_;
  Extensions extensions_;
};

const Answers kAccepted{250, {250}, 0, 250};

TEST(ConfirmationTest, HoldsWhatCouldSendAgainOrGiveTheServerUp) {
  const struct {
    const char* why;
    Answers answers;
    bool held;
  } rows[] = {
      {"everybody accepted", {250, {250, 250}, 0, 250}, false},
      {"refused at the end, which may turn out to be the account's trouble",
       {250, {250}, 0, 554},
       true},
      {"deferred at the end", {250, {250}, 0, 451}, true},
      {"deferred at the end, after a 354", {250, {250}, 354, 451}, true},
      {"one deferred, the other accepted", {250, {450, 250}, 0, 250}, true},
      {"the same before a 354, which confirms it", {250, {450, 250}, 354, 250}, false},
      {"one refused, the other accepted", {250, {550, 250}, 0, 250}, false},
      {"DATA deferred: nothing was sent, the next attempt is the first",
       {250, {250}, 451, 0},
       false},
      {"the sender is refused, and the server given up", {550, {503}, 503, 0}, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    Confirmation confirmation;
    Answered before(kAccepted), oldest(row.answers);
    confirmation.OnBegun(1);
    EXPECT_FALSE(confirmation.Check(before.transaction, before.circumstances).held);
    confirmation.OnBegun(2);
    EXPECT_EQ(confirmation.Check(oldest.transaction, oldest.circumstances).held, row.held);
    EXPECT_EQ(confirmation.holds(), row.held);
    EXPECT_EQ(confirmation.IsSought(), row.held);
  }
}

TEST(ConfirmationTest, NothingButRefusalsNeedsNone) {
  Confirmation confirmation;
  for (int i = 0; i < 3; ++i) {
    Answered refused({250, {450}, 503, 0});
    confirmation.OnBegun(1);
    EXPECT_FALSE(confirmation.Check(refused.transaction, refused.circumstances).held);
  }
  Answered deferred({250, {250}, 0, 451});
  EXPECT_TRUE(confirmation.Check(deferred.transaction, deferred.circumstances).held);

  // Since the last confirmation, that is; one in flight may be anything.
  Answered disabled({550, {503}, 503, 0});
  confirmation.OnConfirmed(0);
  confirmation.Restart(0, 0);
  confirmation.OnBegun(1);
  EXPECT_FALSE(confirmation.Check(disabled.transaction, disabled.circumstances).held);
  confirmation.Restart(1, 1);
  confirmation.OnBegun(1);
  EXPECT_TRUE(confirmation.Check(disabled.transaction, disabled.circumstances).held);

  // A single message has nobody else's answers, however odd they are.
  Confirmation first;
  Answered odd({550, {250}, 503, 0});
  first.OnBegun(1);
  EXPECT_FALSE(first.Check(odd.transaction, odd.circumstances).held);
  first.OnBegun(1);
  EXPECT_TRUE(first.Check(odd.transaction, odd.circumstances).held);
}

TEST(ConfirmationTest, AnAnswerThatEndsTheSessionIsTold) {
  Confirmation confirmation;
  confirmation.OnBegun(1);
  Answered accepted(kAccepted), closing({250, {250, 250}, 0, 421}), later({250, {250}, 0, 451});
  confirmation.Check(accepted.transaction, accepted.circumstances);
  EXPECT_FALSE(confirmation.Check(later.transaction, later.circumstances).last);
  const Confirmation::Hold hold = confirmation.Check(closing.transaction, closing.circumstances);
  EXPECT_TRUE(hold.held);
  ASSERT_TRUE(hold.last);
  EXPECT_EQ(hold.last->failure.code, 421);
}

TEST(ConfirmationTest, WhatIsConfirmedIsNotHeld) {
  Answered deferred({250, {250}, 0, 451}), accepted(kAccepted);
  const auto held = [](Confirmation& confirmation, Answered& answered) {
    return confirmation.Check(answered.transaction, answered.circumstances).held;
  };
  Confirmation confirmation;
  EXPECT_FALSE(confirmation.OnCompleted(0));
  confirmation.OnConfirmed(2);
  EXPECT_FALSE(held(confirmation, deferred));
  EXPECT_FALSE(confirmation.OnCompleted(2)) << "the third one was not";
  EXPECT_TRUE(confirmation.OnCompleted(0));
  EXPECT_TRUE(confirmation.OnCompleted(0));
  EXPECT_FALSE(confirmation.OnCompleted(0));
  EXPECT_TRUE(held(confirmation, deferred));

  confirmation.HoldAll();
  EXPECT_TRUE(held(confirmation, accepted));
  confirmation.GiveUp();
  EXPECT_FALSE(confirmation.holds());
  EXPECT_FALSE(held(confirmation, deferred)) << "there will be none";
}

TEST(ConfirmationTest, IsSoughtNowAndThen) {
  Confirmation messages, recipients;
  for (int i = 0; i < 99; ++i) messages.OnBegun(1);
  recipients.OnBegun(999);
  EXPECT_FALSE(messages.IsSought());
  EXPECT_FALSE(recipients.IsSought());
  messages.OnBegun(1);
  recipients.OnBegun(1);
  EXPECT_TRUE(messages.IsSought());
  EXPECT_TRUE(recipients.IsSought());

  // Another 354 may be on its way, which would be taken for the next DATA's.
  messages.OnDataRefused();
  for (int i = 0; i < 39; ++i) messages.OnCommand();
  EXPECT_FALSE(messages.IsSought());
  messages.OnCommand();
  EXPECT_TRUE(messages.IsSought());
  messages.OnDataRefused();
  messages.OnConfirmed(1);
  EXPECT_TRUE(messages.IsSought()) << "and it is not, after a confirmation";
  messages.Restart(16, 16);
  EXPECT_FALSE(messages.IsSought());
}

TEST(PendingRepliesTest, AReplyIsDueWhenItsCommandWasHandedOver) {
  PendingReplies pending;
  EXPECT_FALSE(pending.IsDue(0)) << "nothing was asked";
  pending.Expect({Stage::kMail, 3, 0, 10});
  pending.Expect({Stage::kRcpt, 3, 1, 25});
  EXPECT_FALSE(pending.IsDue(9));
  EXPECT_TRUE(pending.IsDue(10));
  const PendingReply mail = pending.Take(10);
  EXPECT_EQ(mail.stage, Stage::kMail);
  EXPECT_EQ(mail.slot, 3U);
  EXPECT_FALSE(pending.IsDue(24));
  pending.PutBack(mail);
  EXPECT_EQ(pending.next().due, 10U);
  EXPECT_TRUE(pending.OnWritten(10));
}

TEST(PendingRepliesTest, AWriteThatWasUnderWayShowsWhetherAReplyCameTooEarly) {
  for (const std::uint64_t written : {24U, 25U}) {
    PendingReplies pending;
    pending.Expect({Stage::kMail, 0, 0, 10});
    pending.Expect({Stage::kRcpt, 0, 0, 25});
    pending.Take(5);
    pending.Take(5);  // the later one counts
    pending.ReliesOn(8, 5);
    EXPECT_EQ(pending.OnWritten(written), written == 25U);
  }
}

}  // namespace
}  // namespace vespro::engine
