#include <gtest/gtest.h>

#include <random>

#include "base/text.h"
#include "engine/smtp/client.h"
#include "mime/base64.h"

namespace vespro::engine {
namespace {

class TraceText final : public Trace {
 public:
  explicit TraceText(bool data) : data_(data) {}
  void Write(std::uint64_t connection, TraceKind kind, std::string_view line) override {
    EXPECT_EQ(connection, 3U);
    text += static_cast<char>(kind);
    text.append(" ").append(line).append("\n");
  }
  bool with_data() const override { return data_; }
  std::string text;

 private:
  bool data_;
};

class Ignored final : public ClientEvents {
 public:
  void OnRecipient(std::size_t, std::size_t, const Answer&) override {}
  void OnConfirmed() override {}
  void OnFinished(std::size_t) override {}
  void OnSessionFailed(const Failure&, const Disposition&, const std::string&) override {}
};

// A session with a server that offers `mechanism` and adds `echo` to each of its replies, in which
// "{said}" is what the client said last. Gives the trace.
std::string Session(const Credentials& credentials, std::string_view mechanism,
                    const std::string& echo, bool data = false) {
  TraceText trace(data);
  Ignored events;
  ClientOptions options;
  options.credentials = credentials;
  options.trace = &trace;
  options.connection = 3;
  SmtpClient client(options, events);
  const std::vector<Recipient> people = {{1, "ann@example.org", ""}};
  RenderedMessage message;
  message.pieces = {"Subject: x\r\n\r\n", "The text.\r\n"};
  message.bytes = 25;
  client.Connected("[127.0.0.1]", true);
  client.Received("220 mx ready\r\n");
  for (int step = 0; step < 12 && !client.over(); ++step) {
    std::string said;
    for (WireBytes wire; client.TakeOutput(wire);) {
      for (const std::string_view piece : wire.pieces) said += piece;
      client.Written(said.size());
    }
    while (!said.empty() && said.back() < ' ') said.pop_back();
    std::string words = echo;
    if (const std::size_t at = words.find("{said}"); at != std::string::npos) {
      words.replace(at, 6, said);
    }
    std::string reply = "250 " + words;
    if (said.starts_with("EHLO")) reply = "250-" + words + "\r\n250 AUTH " + std::string(mechanism);
    const bool auth = said.starts_with("AUTH ");
    if (auth && said.find(' ', 5) == std::string::npos) {
      reply = "334 " + (mechanism == "CRAM-MD5" ? ModBase64::Encode("<1@mx>") : words);
    } else if (auth || (!client.ready() && !said.starts_with("EHLO"))) {
      reply = step % 2 == 0 && mechanism == "LOGIN" ? "334 " + words : "235 " + words;
    }
    if (said == "DATA") reply = "354 " + words;
    client.Received(reply + "\r\n");
    if (client.CanBegin() && step < 10) {
      client.Begin(client.FreeSlot(), {"me@example.org", people, &message});
    }
  }
  return trace.text;
}

TEST(SmtpTraceTest, ShowsTheDialogueAndTheMessageOnDemand) {
  const std::string trace = Session({"me", "open sesame"}, "PLAIN", "fine");
  EXPECT_NE(trace.find("= greeting and login\n< 220 mx ready\n> EHLO [127.0.0.1]\n"
                       "< 250-fine\n250 AUTH PLAIN\n> AUTH PLAIN (login left out)\n< 235 fine\n"
                       "= ready\n> MAIL FROM:<me@example.org>\n< 250 fine\n"
                       "> RCPT TO:<ann@example.org>\n< 250 fine\n> DATA\n< 354 fine\n"
                       "> (a message of 25 bytes)\n< 250 fine\n"),
            std::string::npos)
      << trace;
  EXPECT_EQ(trace.find("The text."), std::string::npos);
  EXPECT_NE(Session({"me", "open sesame"}, "PLAIN", "fine", true).find("The text."),
            std::string::npos);
}

// Whatever a server repeats, in whatever form: no trace of the password.
TEST(SmtpTraceTest, HoldsNoSecretInAnyForm) {
  std::mt19937 random(7);
  for (int round = 0; round < 300; ++round) {
    std::string secret;
    const std::size_t size = 12 + random() % 30;
    while (secret.size() < size) secret += static_cast<char>('!' + random() % 94);
    std::string hex;
    for (const char c : secret) {
      char two[3];
      std::snprintf(two, sizeof two, "%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
      hex += two;
    }
    // Each alignment that base64 can have, without what depends on its neighbours.
    std::vector<std::string> forms = {secret, hex};
    for (const std::size_t before : {0U, 1U, 2U}) {
      const std::string text = ModBase64::Encode(std::string(before, 'x') + secret + "xx");
      forms.push_back(text.substr(before + 1, (secret.size() * 8) / 6 - 3));
    }
    std::vector<std::string> echoes = {"bad: {said}", "{said}"};
    for (const std::string& form : forms) echoes.push_back("you said " + form);
    for (const std::string_view mechanism : {"PLAIN", "LOGIN", "CRAM-MD5", "XOAUTH2"}) {
      for (const std::string& echo : echoes) {
        const std::string trace =
            ModText::LowerAscii(Session({"me", secret, mechanism == "XOAUTH2"}, mechanism, echo));
        ASSERT_NE(trace.find("= ready"), std::string::npos) << mechanism << "\n" << trace;
        for (const std::string& form : forms) {
          ASSERT_EQ(trace.find(ModText::LowerAscii(form)), std::string::npos)
              << mechanism << ", " << echo << "\n"
              << trace;
        }
      }
    }
  }
}

}  // namespace
}  // namespace vespro::engine
