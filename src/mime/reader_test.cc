#include "mime/reader.h"

#include <gtest/gtest.h>

#include "base/text.h"

namespace vespro {
namespace {

MimePart Parsed(std::string_view bytes) {
  Result<MimePart> parsed = ParseMime(bytes);
  EXPECT_TRUE(parsed.ok()) << parsed.status().text();
  return parsed.ok() ? parsed.value() : MimePart();
}

constexpr std::string_view kMail =
    "Subject: =?iso-8859-1?Q?Gr=FC=DFe?=\r\n"
    "Received: one\r\n"
    "RECEIVED : two\r\n"
    "\tmore\r\n"
    "Content-Type: multipart/mixed; boundary=\"a b\"\r\n"
    "\r\n"
    "preamble\r\n"
    "--a b \r\n"
    "\r\n"
    "first --a b\r\n"
    "--a bc\r\n"
    "--a b\r\n"
    "Content-Type: multipart/alternative; boundary=\"a\"\r\n"
    "\r\n"
    "--a\r\n"
    "Content-Type: text/plain; charset=windows-1252\r\n"
    "Content-Transfer-Encoding: Quoted-Printable\r\n"
    "\r\n"
    "5 =80\r\n"
    "\r\n"
    "--a--\r\n"
    "epilogue\r\n"
    "--a b\r\n"
    "Content-Type: application/pdf; name=x.pdf\r\n"
    "Content-Disposition: attachment; filename=\"C:\\\\dir\\\\..\\\\y\x01.pdf\"\r\n"
    "Content-ID: <id@x>\r\n"
    "Content-Transfer-Encoding: base64 (as ever)\r\n"
    "\r\n"
    "Zm9v\r\n"
    "--a b\r\n"
    "Content-Type: message/rfc822\r\n"
    "\r\n"
    "Content-Type: multipart/mixed; boundary=inner\r\n"
    "\r\n"
    "--inner--\r\n"
    "--a b--\r\n"
    "--a b\r\n"
    "behind the end\r\n";

TEST(ReaderTest, ReadsATree) {
  const std::string lf_only = ModText::ReplaceAll(kMail, "\r\n", "\n");
  for (const std::string_view bytes : {kMail, std::string_view(lf_only)}) {
    const std::string line_end = bytes == kMail ? "\r\n" : "\n";
    const MimePart mail = Parsed(bytes);
    EXPECT_EQ(ModHeader::Decode(HeaderValue(mail, "subject")),
              "Gr\xC3\xBC\xC3\x9F"
              "e");
    EXPECT_EQ(HeaderValue(mail, "Received"), "one");
    EXPECT_EQ(mail.headers.at(2).value, "two\tmore");
    EXPECT_EQ(Find(mail, "Date"), nullptr);
    EXPECT_EQ(mail.head, bytes.substr(0, mail.head.size()));
    EXPECT_EQ(mail.head.size() + line_end.size() + mail.body.size(), bytes.size());
    ASSERT_EQ(mail.children.size(), 4U);
    EXPECT_TRUE(mail.children[0].Is("text", "plain"));
    EXPECT_EQ(mail.children[0].body, "first --a b" + line_end + "--a bc");
    ASSERT_EQ(mail.children[1].children.size(), 1U);
    EXPECT_EQ(DecodedText(mail.children[1].children[0]).value(), "5 \xE2\x82\xAC" + line_end);
    const MimePart& file = mail.children[2];
    EXPECT_EQ(file.file_name, "y.pdf");
    EXPECT_EQ(file.disposition, "attachment");
    EXPECT_EQ(file.content_id, "id@x");
    EXPECT_EQ(DecodedBytes(file).value(), "foo");
    EXPECT_TRUE(mail.children[3].Is("message", "rfc822"));
    EXPECT_TRUE(mail.children[3].children.empty());
  }
}

// Wherever a message is cut: no failure but a missing boundary parameter, and no text that was not
// there. Whole parts in front of the cut are read as ever.
TEST(ReaderTest, CutAnywhere) {
  const std::size_t second = kMail.find("--a b\r\nContent-Type: multipart/alternative");
  for (std::size_t size = 0; size < kMail.size(); ++size) {
    const std::string bytes(
        kMail.substr(0, size));  // its own memory, so that a sanitizer sees overruns
    Result<MimePart> parsed = ParseMime(bytes);
    if (!parsed.ok()) {
      EXPECT_NE(parsed.status().text().find("boundary"), std::string::npos) << size;
      continue;
    }
    if (size > second + 5 && parsed->IsMultipart()) {
      ASSERT_GE(parsed->children.size(), 1U) << size;
      EXPECT_EQ(parsed->children[0].body, "first --a b\r\n--a bc") << size;
    }
  }
}

TEST(ReaderTest, OddHeads) {
  const struct {
    const char* bytes;
    std::size_t fields;
    const char* body;
  } rows[] = {
      {"", 0, ""},
      {"\r\nbody", 0, "body"},
      {"just a text\r\nof lines", 0, "just a text\r\nof lines"},
      {"A: b", 1, ""},
      {"A: b\r\nno field\r\n\r\nx", 1, "no field\r\n\r\nx"},
      {"From ann Thu Jan  1\r\nA: b\r\n\r\nx", 1, "x"},
      {" leading\r\nA: b\r\n", 0, " leading\r\nA: b\r\n"},
      {": x\r\n\r\ny", 0, ": x\r\n\r\ny"},
      {"A:\r\n \r\n b\r\n\r\nx", 1, "x"},
  };
  for (const auto& row : rows) {
    const MimePart mail = Parsed(row.bytes);
    EXPECT_EQ(mail.headers.size(), row.fields) << row.bytes;
    EXPECT_EQ(mail.body, row.body);
    EXPECT_TRUE(mail.Is("text", "plain"));
  }
}

TEST(ReaderTest, TextsOfOtherPrograms) {
  const struct {
    const char* head;
    std::string body;
    const char* text;
  } rows[] = {
      {"Content-Type: text/plain; charset=iso-8859-1", "\xFC", "\xC3\xBC"},
      {"Content-Type: text/plain", "\xFC", "\xC3\xBC"},
      {"Content-Type: text", "\xC3\xBC", "\xC3\xBC"},
      {"Content-Type: text/plain; charset=utf-16\r\nContent-Transfer-Encoding: base64",
       "//5hAA==", "a"},
      {"Content-Type: text/plain; format=flowed", "a \r\nb", "a \r\nb"},
      {"Content-Transfer-Encoding: 8BIT", "\xE2\x82\xAC", "\xE2\x82\xAC"},
  };
  for (const auto& row : rows) {
    const std::string bytes = std::string(row.head) + "\r\n\r\n" + row.body;
    EXPECT_EQ(DecodedText(Parsed(bytes)).value(), row.text) << row.head;
  }
  const MimePart odd = Parsed("Content-Transfer-Encoding: x-uuencode\r\n\r\nbegin");
  EXPECT_EQ(DecodedText(odd).status().code(), Code::kBadInput);
  EXPECT_EQ(DecodedBytes(Parsed(kMail)).status().code(), Code::kBadInput);
}

TEST(ReaderTest, RefusesWithAReason) {
  std::string deep;
  for (int i = 0; i < 60; ++i) {
    const std::string boundary = "b" + std::to_string(i) + "_";
    deep +=
        "Content-Type: multipart/mixed; boundary=" + boundary + "\r\n\r\n--" + boundary + "\r\n";
  }
  std::string wide = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
  for (int i = 0; i < 1500; ++i) wide += "--b\r\n\r\nx\r\n";
  const struct {
    std::string bytes;
    const char* reason;
  } rows[] = {
      {"Content-Type: multipart/mixed\r\n\r\n--x\r\n", "boundary"},
      {"Content-Type: multipart/mixed; boundary=\"\"\r\n\r\n--\r\n", "boundary"},
      {"Content-Type: multipart/x; boundary=" + std::string(300, 'b') + "\r\n\r\n", "boundary"},
      {deep, "levels"},
      {wide, "parts"},
  };
  for (const auto& row : rows) {
    Result<MimePart> parsed = ParseMime(row.bytes);
    ASSERT_FALSE(parsed.ok()) << row.reason;
    EXPECT_EQ(parsed.status().code(), Code::kBadInput);
    EXPECT_NE(parsed.status().text().find(row.reason), std::string::npos) << parsed.status().text();
  }
}

TEST(ReaderTest, TellsTheSameMessageFromAnotherOne) {
  const auto message = [](const std::string& outer, const std::string& inner, const char* text) {
    return "Subject: S\r\nContent-Type: multipart/mixed; boundary=\"" + outer + "\"\r\n\r\n--" +
           outer + "\r\nContent-Type: multipart/alternative;\r\n boundary=\"" + inner +
           "\"\r\n\r\n--" + inner + "\r\n\r\n" + text + "\r\n--" + inner + "--\r\n--" + outer +
           "--\r\n";
  };
  const std::string one = message("=_1", "=_2", "Hello");
  EXPECT_TRUE(SameButForBoundaries(one, one));
  EXPECT_TRUE(SameButForBoundaries(one, message("=_7", "=_8", "Hello")));
  EXPECT_FALSE(SameButForBoundaries(one, message("=_7", "=_8", "Hallo")));
  EXPECT_FALSE(SameButForBoundaries(one, "Subject: S\r\n\r\nHello\r\n"));
}

}  // namespace
}  // namespace vespro
