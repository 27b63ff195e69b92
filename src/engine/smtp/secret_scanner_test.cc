#include "engine/smtp/secret_scanner.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "base/text.h"
#include "mime/base64.h"

namespace vespro::engine {
namespace {

TEST(SecretScannerTest, FindsWhatRepeatsASecret) {
  const SecretScanner scanner({"correct horse battery staple", "s3cret", "abc", ""});
  const struct {
    const char* text;
    bool found;
  } rows[] = {{"5.7.8 no such user", false},
              {"bad password: correct horse battery staple", true},
              {"over two lines: correcthorsebat\nterystaple", true},
              {"cut off: ect horse batter", true},
              {"a word of it: horse", false},
              {"s3cret", true},
              {"S3CRET", true},
              {"s3-cret", false},
              {"s3c ret", true},
              {"a short one as a word: (ABC)", true},
              {"and within one: abcd", false},
              {"of a link: s%33cret", true},
              {"half an escape: %4", false},
              {"", false}};
  for (const auto& row : rows) EXPECT_EQ(scanner.FoundIn(row.text), row.found) << row.text;
  EXPECT_FALSE(SecretScanner().FoundIn("anything"));
}

std::string Escaped(std::string_view text, const char* format) {
  std::string escaped;
  for (const char c : text) {
    char one[16];
    std::snprintf(one, sizeof one, format, static_cast<unsigned>(static_cast<unsigned char>(c)));
    escaped += one;
  }
  return escaped;
}

// Random secrets of printable characters, in every form in which servers and what is between
// have been seen to repeat them; and nothing is found in the words of everyday.
TEST(SecretScannerTest, FindsEveryFormOfRandomSecrets) {
  const std::pair<const char*, std::function<std::string(const std::string&)>> forms[] = {
      {"as it is", [](const std::string& s) { return s; }},
      {"capitals",
       [](const std::string& s) {
         std::string text = s;
         for (char& c : text) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
         return text;
       }},
      {"base64", [](const std::string& s) { return ModBase64::Encode(s); }},
      {"base64 after one", [](const std::string& s) { return ModBase64::Encode("=" + s + "\n"); }},
      {"base64 after two", [](const std::string& s) { return ModBase64::Encode("p=" + s + "\n"); }},
      {"base64 twice",
       [](const std::string& s) { return ModBase64::Encode(ModBase64::Encode(s)); }},
      {"hexadecimal", [](const std::string& s) { return Escaped(s, "%02x"); }},
      {"a link", [](const std::string& s) { return Escaped(s, "%%%02X"); }},
      {"quoted-printable", [](const std::string& s) { return Escaped(s, "=%02X"); }},
      {"JSON", [](const std::string& s) { return Escaped(s, "\\u%04x"); }},
      {"XML", [](const std::string& s) { return Escaped(s, "&#%u;"); }},
      {"C", [](const std::string& s) { return Escaped(s, "\\x%02x"); }}};
  const char* const everyday[] = {"250 2.1.0 Ok", "250-PIPELINING", "550 5.1.1 no such mailbox",
                                  "235 2.7.0 Authentication successful",
                                  "421 4.7.0 Try again later, closing connection. (MAIL)"};
  std::mt19937 random(1);
  for (int round = 0; round < 2000; ++round) {
    std::string secret;
    const std::size_t size = 6 + random() % 40;
    while (secret.size() < size) secret += static_cast<char>('!' + random() % 94);
    const SecretScanner scanner({secret, ModBase64::Encode(secret)});
    for (const auto& [name, form] : forms) {
      EXPECT_TRUE(scanner.FoundIn("535 wrong: '" + form(secret) + "' x")) << name << " " << secret;
    }
    for (const char* text : everyday) EXPECT_FALSE(scanner.FoundIn(text)) << secret;
  }
}

}  // namespace
}  // namespace vespro::engine
