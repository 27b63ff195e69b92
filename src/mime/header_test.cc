#include "mime/header.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "mime/testing.h"

namespace vespro {
namespace {

// What a reader makes of a field: unfolded, the name and the blanks around the value gone, decoded.
std::string ReadBack(const std::string& field) {
  const std::string line = ModText::ReplaceAll(field, "\r\n", "");
  return ModHeader::Decode(ModText::Trim(std::string_view(line).substr(line.find(':') + 1)));
}

TEST(HeaderTest, FieldKnowsThreeForms) {
  const std::string words = "0123456789 0123456789 0123456789 0123456789 0123456789 0123456789 123";
  const struct {
    std::string text;
    std::string field;
  } rows[] = {
      {"", "Subject: \r\n"},
      {"Hello  world", "Subject: Hello  world\r\n"},
      {words, "Subject: " + words.substr(0, 65) + "\r\n 123\r\n"},
      {"Gr\xC3\xBC\xC3\x9F"
       "e",
       "Subject: =?UTF-8?B?R3LDvMOfZQ==?=\r\n"},
      {"Caf\xC3\xA9 and tea", "Subject: =?UTF-8?Q?Caf=C3=A9_and_tea?=\r\n"},
      {"not =?one?=", "Subject: =?UTF-8?B?bm90ID0/b25lPz0=?=\r\n"},
      {std::string("a\r\nBcc: b\0c", 11), "Subject: aBcc: bc\r\n"},
      {" a", "Subject: =?UTF-8?Q?_a?=\r\n"},
  };
  for (const auto& row : rows) EXPECT_EQ(ModHeader::Field("Subject", row.text), row.field);
}

TEST(HeaderTest, EveryTextReadsBackWithinTheLines) {
  std::vector<std::string> texts = {std::string(900, 'w'), "short " + std::string(300, ' ') + "x",
                                    std::string(50, 'w') + " " + std::string(90, 'w')};
  for (std::uint64_t seed = 0; seed < 500; ++seed) {
    TestNumbers numbers(seed);
    texts.push_back(numbers.Text(numbers.Below(120)));
  }
  for (const std::string& text : texts) {
    for (const char* name :
         {"Subject", "X-A-Very-Long-Name-Of-A-Field-That-Leaves-Little-Room-For-Text"}) {
      const std::string field = ModHeader::Field(name, text);
      EXPECT_LE(LongestLine(field), 76U) << field;
      EXPECT_EQ(ReadBack(field), text);
    }
  }
}

// Each encoded word is valid by itself: no UTF-8 character is split over two.
TEST(HeaderTest, EncodedWordsHoldWholeCharacters) {
  std::string text;
  for (int i = 0; i < 60; ++i) text += i % 2 != 0 ? "\xF0\x9F\x8E\x89" : "\xE2\x82\xAC";
  for (const std::string& sample : {text, "a" + text, text + std::string(300, 'a')}) {
    const std::string field = ModHeader::Field("Subject", sample);
    std::size_t words = 0;
    for (std::string_view line : ModText::Split(std::string_view(field).substr(9), '\n')) {
      if (line.empty()) continue;
      ++words;
      EXPECT_EQ(ModHeader::Decode(line).find("\xEF\xBF\xBD"), std::string::npos) << line;
    }
    EXPECT_GT(words, 5U);
  }
}

TEST(HeaderTest, Mailboxes) {
  const struct {
    const char* name;
    const char* mailbox;
  } rows[] = {
      {"", "a@b.de"},
      {"Ann Lee", "Ann Lee <a@b.de>"},
      {"Lee, Ann", "\"Lee, Ann\" <a@b.de>"},
      {"Ann \"A\" Lee\\", "\"Ann \\\"A\\\" Lee\\\\\" <a@b.de>"},
      {"Ann\r\nBcc: x", "\"AnnBcc: x\" <a@b.de>"},
      {"\xC3\x85sa", "=?UTF-8?Q?=C3=85sa?= <a@b.de>"},
      {"=?utf-8?q?x?=", "=?UTF-8?B?PT91dGYtOD9xP3g/PQ==?= <a@b.de>"},
  };
  for (const auto& row : rows) EXPECT_EQ(ModHeader::Mailbox(row.name, "a@b.de", 4), row.mailbox);
  // Its quotes would take the name over the line.
  EXPECT_LE(LongestLine(ModHeader::Mailbox(std::string(50, '\\'), "a@b.de", 4)), 72U);
  const std::string far = ModHeader::Mailbox(std::string(200, 'n'), "a@b.de", 60);
  EXPECT_LE(LongestLine(std::string(60, ' ') + far), 76U) << far;
  EXPECT_EQ(ModHeader::Mailbox("", "a@b.de\r\nBcc: c@d.de", 0), "a@b.deBcc: c@d.de");
}

TEST(HeaderTest, DecodesWhatOthersWrite) {
  const struct {
    std::string value;
    std::string text;
  } rows[] = {
      {"=?ISO-8859-1?Q?Gr=FC=DFe_x?=",
       "Gr\xC3\xBC\xC3\x9F"
       "e x"},
      {"=?utf-8?B?w7w=?=   =?utf-8?B?w7w=?=", "\xC3\xBC\xC3\xBC"},
      {"=?utf-8?B?ww==?= =?UTF-8?B?vA==?=", "\xC3\xBC"},  // a character split over two words
      {"=?utf-8?Q?a?= b =?utf-8?Q?c?=", "a b c"},
      {"x =?koi8-r*ru?q?=F0?= y", "x \xD0\x9F y"},
      {"=?utf-8?q?a b?=", "a b"},
      {"=?utf-8?x?a?= =?utf-8?q?a =?q?", "=?utf-8?x?a?= =?utf-8?q?a =?q?"},
      {"raw \xFC", "raw \xC3\xBC"},
      {"=?=?utf-8?q?b?=", "=?b"},
      {"=?utf-8?q?"
       "?=x",
       "x"},
      {"=?", "=?"},
  };
  for (const auto& row : rows) EXPECT_EQ(ModHeader::Decode(row.value), row.text) << row.value;
}

TEST(HeaderTest, ReadsParameters) {
  const struct {
    const char* value;
    const char* type;
    const char* name;
    const char* wanted;
  } rows[] = {
      {"Text/HTML; CharSet=\"utf-8\"", "text/html", "charset", "utf-8"},
      {"text/plain (a \\) ; (b)) ; charset=us-ascii (Plain)", "text/plain", "charset", "us-ascii"},
      {"a/b; boundary=\"x;\\\"y\\\\ \" ;z", "a/b", "boundary", "x;\"y\\ "},
      {"attachment; filename=my file.txt ; size=3", "attachment", "filename", "my file.txt"},
      {"attachment; filename*=iso-8859-1'de'%FC%2Ex", "attachment", "filename", "\xC3\xBC.x"},
      {"attachment; filename*1=b; filename*0*=utf-8''%61; filename*2*=%63", "attachment",
       "filename", "abc"},
      {"attachment; filename*0=a; filename*2=c", "attachment", "filename", "a"},
      {"attachment; filename=old; filename*=utf-8''new", "attachment", "filename", "new"},
      {"a/b; name=\"=?utf-8?Q?=C3=BC?=\"", "a/b", "name", "\xC3\xBC"},
      {"a/b; name*=%41%zz%4", "a/b", "name", "A%zz%4"},
      {";;=;a;=b; c=d", "", "c", "d"},
      {"x (unclosed; c=d", "x", "c", ""},
      {"x; c=\"unclosed; d", "x", "c", "unclosed; d"},
  };
  for (const auto& row : rows) {
    const ParameterizedValue parsed = ModHeader::ParseParameters(row.value);
    EXPECT_EQ(parsed.value, row.type) << row.value;
    EXPECT_EQ(parsed.Parameter(row.name), row.wanted) << row.value;
  }
}

TEST(HeaderTest, WrittenParametersReadBack) {
  EXPECT_EQ(ModHeader::Parameter("filename", "a.pdf"), ";\r\n filename=a.pdf");
  EXPECT_EQ(ModHeader::Parameter("filename", "a \"b\".pdf"), ";\r\n filename=\"a \\\"b\\\".pdf\"");
  EXPECT_EQ(ModHeader::Parameter("filename", "\xC3\xBC"), ";\r\n filename*=UTF-8''%C3%BC");
  for (std::uint64_t seed = 0; seed < 300; ++seed) {
    TestNumbers numbers(seed);
    const std::string value = numbers.Text(1 + numbers.Below(seed % 2 != 0 ? 10 : 150));
    const std::string field =
        "attachment" + ModHeader::Parameter("filename", value) + ModHeader::Parameter("size", "12");
    EXPECT_LE(LongestLine(field), 76U) << field;
    const ParameterizedValue parsed =
        ModHeader::ParseParameters(ModText::ReplaceAll(field, "\r\n", ""));
    EXPECT_EQ(parsed.Parameter("filename"), value) << field;
    EXPECT_EQ(parsed.Parameter("size"), "12");
  }
}

}  // namespace
}  // namespace vespro
