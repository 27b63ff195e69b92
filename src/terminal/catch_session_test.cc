#include "terminal/catch_session.h"

#include <gtest/gtest.h>

namespace vespro {
namespace {

// A session with its messages; what is said to it may come in pieces of any size.
class Talk {
 public:
  explicit Talk(CatchRules rules = {})
      : rules_(std::move(rules)), session_(rules_, deferred_, [this](const CaughtMessage& message) {
          messages.push_back(message);
          return verdict;
        }) {}

  std::string Say(std::string_view bytes, std::size_t piece = 1 << 20) {
    std::string out;
    for (; !bytes.empty(); bytes.remove_prefix(std::min(piece, bytes.size()))) {
      session_.Receive(bytes.substr(0, piece), out);
    }
    return out;
  }
  // The reply codes only, "250 354 ...", continuation lines left out.
  std::string Codes(std::string_view bytes, std::size_t piece = 1 << 20) {
    std::string codes;
    std::string out = Say(bytes, piece);
    for (std::size_t i = 0; i < out.size(); i = out.find('\n', i) + 1) {
      if (out[i + 3] != ' ') continue;
      codes += (codes.empty() ? "" : " ") + out.substr(i, 3);
    }
    return codes;
  }
  bool finished() const { return session_.finished(); }

  std::vector<CaughtMessage> messages;
  Status verdict;

 private:
  CatchRules rules_;
  CatchDeferred deferred_;
  CatchSession session_;
};

constexpr std::string_view kEnvelope =
    "EHLO me.example\r\nMAIL FROM:<a@example.org>\r\nRCPT TO:<b@example.org>\r\n";

std::string Begin(std::string_view rest) { return std::string(kEnvelope) + std::string(rest); }

TEST(CatchSessionTest, GivesBackTheMessageExactlyHoweverItIsSplit) {
  const struct {
    std::string_view sent, kept;
  } rows[] = {
      {".\r\n", ""},
      {"a\r\n.\r\n", "a\r\n"},
      {"..\r\n..a\r\n.b\r\n.\r\n", ".\r\n.a\r\nb\r\n"},
      {"\r\n\r\n.\r\n", "\r\n\r\n"},
      {"a\n.\nb\r.\rc\r\n.\r\n", "a\n.\nb\r.\rc\r\n"},  // lone CR and LF end no line
      {"a\n.\r\nb\r\n.\r\n", "a\n.\r\nb\r\n"},          // nor make a dot the end
      {"a\r\n..\rb\r\n.\r\n", "a\r\n.\rb\r\n"},
      {"a\r\n.\r\r\nb\r\n.\r\n", "a\r\n\r\r\nb\r\n"},
      {std::string_view("\0\xFF\r\r\n.\r\n", 8), std::string_view("\0\xFF\r\r\n", 5)},
  };
  for (const auto& row : rows) {
    for (std::size_t piece : {1u, 2u, 3u, 1000u}) {
      Talk talk;
      const std::string said = Begin("DATA\r\n") + std::string(row.sent) + "QUIT\r\n";
      EXPECT_EQ(talk.Codes(said, piece), "250 250 250 354 250 221") << row.sent;
      ASSERT_EQ(talk.messages.size(), 1u) << row.sent;
      EXPECT_EQ(talk.messages[0].bytes, row.kept) << "pieces of " << piece;
      EXPECT_TRUE(talk.finished());
    }
  }
}

TEST(CatchSessionTest, TakesChunksByTheirSizeAlone) {
  for (std::size_t piece : {1u, 4u, 1000u}) {
    Talk talk;
    const std::string said =
        Begin("BDAT 7\r\n\r\n.\r\nQ\nBDAT 0\r\nBDAT 3 LAST\r\n..\r") +
        "MAIL FROM:<> BODY=8BITMIME\r\nRCPT TO:<c@example.org>\r\nBDAT 4\r\nQUITBDAT 0 LAST\r\n";
    EXPECT_EQ(talk.Codes(said, piece), "250 250 250 250 250 250 250 250 250 250");
    ASSERT_EQ(talk.messages.size(), 2u);
    EXPECT_EQ(talk.messages[0].bytes, "\r\n.\r\nQ\n..\r");
    EXPECT_EQ(talk.messages[1].bytes, "QUIT");
    EXPECT_EQ(talk.messages[1].sender, "");
    EXPECT_EQ(talk.messages[1].recipients, std::vector<std::string>{"c@example.org"});
  }
}

TEST(CatchSessionTest, AnswersEveryCommandByItself) {
  const struct {
    std::string_view said, codes;
  } rows[] = {
      // Out of place.
      {"MAIL FROM:<a@b>\r\nRCPT TO:<a@b>\r\nDATA\r\nBDAT 2 LAST\r\nxyNOOP\r\n",
       "503 503 503 503 250"},
      {"EHLO x\r\nMAIL FROM:<a@b>\r\nMAIL FROM:<a@b>\r\nDATA\r\n", "250 250 503 554"},
      {"EHLO x\r\nMAIL FROM:<a@b>\r\nBDAT 4\r\nQUITBDAT 1 LAST\r\n\nRSET\r\n",
       "250 250 554 503 250"},
      {"HELO x\r\nMAIL FROM:<a@b>\r\nRCPT TO:<a@b>\r\nRSET\r\nDATA\r\n", "250 250 250 250 503"},
      {"EHLO x\r\nMAIL FROM:<a@b>\r\nRCPT TO:<a@b>\r\nBDAT 1\r\nxDATA\r\nRCPT TO:<c@d>\r\n",
       "250 250 250 250 503 503"},
      // Not understood.
      {"NONSENSE\r\n\r\nEHLO\r\nSTARTTLS\r\nVRFY x\r\nnoop x\r\n", "500 500 501 500 252 250"},
      {"NOOP\nNOOP\r\n", "500 250"},
      {"NO\rOP\r\nNOOP\r\n", "500 250"},
      {"EHLO x\r\nBDAT x\r\nBDAT 1 FIRST\r\nBDAT 99999999999999999999\r\n", "250 501 501 501"},
      // Addresses and parameters.
      {"EHLO x\r\nMAIL FROM:a@b\r\nMAIL FROM:<a>\r\nMAIL FROM:<a@b\r\nMAIL TO:<a@b>\r\n",
       "250 501 501 501 501"},
      {"EHLO x\r\nMAIL FROM:<a@b>SIZE=1\r\nMAIL FROM:<a@b> SIZE=x\r\nMAIL FROM:<a@b> TURBO\r\n",
       "250 501 501 555"},
      {"EHLO x\r\nMAIL FROM:<a@b> SIZE=99999999999\r\nMAIL FROM:<a@b> size=9 Body=8bitMIME\r\n",
       "250 552 250"},
      {"EHLO x\r\nMAIL FROM:<\xC3\xA4@b>\r\nMAIL FROM:<\xC3\xA4@b> SMTPUTF8\r\n", "250 553 250"},
      {"EHLO x\r\nMAIL FROM:<a@b>\r\nRCPT TO:<>\r\nRCPT TO:<\"a> b\\\"\"@c>\r\nRCPT TO:<a b@c>\r\n",
       "250 250 501 250 501"},
      {"EHLO x\r\nMAIL FROM:<a@b>\r\nRCPT TO:<Postmaster>\r\nRCPT TO:<\xC3\xA4@b>\r\n",
       "250 250 250 553"},
      // Logins: any will do, but the dialogue has to be right.
      {"AUTH PLAIN AGEAYg==\r\nEHLO x\r\nAUTH PLAIN AGEAYg==\r\nAUTH PLAIN AGEAYg==\r\n",
       "503 250 235 503"},
      {"EHLO x\r\nAUTH PLAIN\r\n*\r\nAUTH PLAIN\r\nno base 64\r\nAUTH LOGIN\r\nYQ==\r\nYg==\r\n",
       "250 334 501 334 501 334 334 235"},
      {"EHLO x\r\nAUTH LOGIN YQ==\r\nYg==\r\nAUTH CRAM-MD5\r\n", "250 334 235 503"},
      {"EHLO x\r\nAUTH CRAM-MD5\r\n", "250 504"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Talk().Codes(row.said), row.codes) << row.said;
    EXPECT_EQ(Talk().Codes(row.said, 1), row.codes) << "byte by byte: " << row.said;
  }
}

TEST(CatchSessionTest, KeepsItsLimitsAndGoesOn) {
  CatchRules rules;
  rules.max_message_bytes = 10;
  rules.max_recipients = 2;
  rules.max_line_bytes = 64;
  const std::string eleven(11, 'x');
  Talk talk(rules);
  EXPECT_EQ(talk.Codes(Begin("RCPT TO:<c@d>\r\nRCPT TO:<e@f>\r\nDATA\r\n") + eleven + "\r\n.\r\n"),
            "250 250 250 250 452 354 552");
  EXPECT_EQ(talk.Codes(Begin("BDAT 6\r\nabcdefBDAT 6\r\nghijklBDAT 1 LAST\r\nm")),
            "250 250 250 250 552 503");
  EXPECT_EQ(talk.Codes(Begin("BDAT 11 LAST\r\n") + eleven), "250 250 250 552");
  EXPECT_EQ(talk.Codes("NOOP " + std::string(10000, 'x') + "\r\nNOOP\r\n", 7), "500 250");
  EXPECT_TRUE(talk.messages.empty());
  EXPECT_EQ(talk.Codes(Begin("BDAT 10 LAST\r\n0123456789")), "250 250 250 250");
  ASSERT_EQ(talk.messages.size(), 1u);
  EXPECT_EQ(talk.messages[0].bytes, "0123456789");
}

TEST(CatchSessionTest, RefusesAndDefersWhatItIsToldTo) {
  CatchRules rules;
  rules.refuse = {"@gone."};
  rules.defer = {"grey"};
  Talk talk(rules);
  EXPECT_EQ(talk.Codes(Begin("RCPT TO:<a@GONE.example>\r\nRCPT TO:<Grey@d>\r\nRCPT TO:<Grey@d>\r\n"
                             "RCPT TO:<grey2@d>\r\nDATA\r\n.\r\n")),
            "250 250 250 550 450 250 450 354 250");
  ASSERT_EQ(talk.messages.size(), 1u);
  EXPECT_EQ(talk.messages[0].recipients, (std::vector<std::string>{"b@example.org", "Grey@d"}));
}

TEST(CatchSessionTest, TellsTheClientThatAMessageWasNotStored) {
  Talk talk;
  talk.verdict = Status(Code::kCannotWrite, "disk\r\nfull");
  const std::string out = talk.Say(Begin("DATA\r\n.\r\n"));
  EXPECT_TRUE(out.ends_with("451 4.3.0 disk??full\r\n")) << out;
  EXPECT_EQ(talk.Codes("MAIL FROM:<a@b>\r\n"), "250");
}

}  // namespace
}  // namespace vespro
