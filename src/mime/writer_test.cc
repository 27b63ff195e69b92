#include "mime/writer.h"

#include <gtest/gtest.h>

#include "base/testing.h"
#include "base/text.h"
#include "mime/reader.h"
#include "mime/testing.h"

namespace vespro {
namespace {

std::string Written(const Composition& composition) {
  CountingRandomness randomness;
  StringSink sink;
  Status status = WriteMime(composition, randomness, sink);
  EXPECT_TRUE(status.ok()) << status.text();
  EXPECT_LE(LongestLine(sink.text), 76U);
  return sink.text;
}

// The types of a part and of what is in it: "alternative(plain html)".
std::string Shape(const MimePart& part) {
  std::string shape = part.subtype;
  if (!part.IsMultipart()) return shape;
  shape += '(';
  for (const MimePart& child : part.children) {
    if (&child != &part.children.front()) shape += ' ';
    shape += Shape(child);
  }
  return shape + ')';
}

TEST(WriterTest, ATextAlone) {
  Composition mail;
  mail.subject = "Hello";
  mail.text = "One\nTwo";
  EXPECT_EQ(Written(mail),
            "MIME-Version: 1.0\r\n"
            "Subject: Hello\r\n"
            "Content-Type: text/plain; charset=UTF-8\r\n"
            "Content-Transfer-Encoding: 7bit\r\n"
            "\r\n"
            "One\r\nTwo\r\n");
}

TEST(WriterTest, EverythingAtOnce) {
  TemporaryFolder folder;
  Composition mail;
  mail.text = "T";
  mail.html = "<img src=\"cid:dot\">";
  mail.has_html = true;
  mail.related = {{folder.Write("dot", "GIF89a"), "dot.gif", "dot", ""}};
  mail.attachments = {{folder.Write("a", std::string("\0\xFF", 2)), "a.bin", "", ""}};
  EXPECT_EQ(Written(mail),
            "MIME-Version: 1.0\r\n"
            "Subject: \r\n"
            "Content-Type: multipart/mixed;\r\n"
            " boundary=\"=_00000000000000010000000000000002\"\r\n"
            "\r\n"
            "--=_00000000000000010000000000000002\r\n"
            "Content-Type: multipart/alternative;\r\n"
            " boundary=\"=_00000000000000030000000000000004\"\r\n"
            "\r\n"
            "--=_00000000000000030000000000000004\r\n"
            "Content-Type: text/plain; charset=UTF-8\r\n"
            "Content-Transfer-Encoding: 7bit\r\n"
            "\r\n"
            "T\r\n"
            "--=_00000000000000030000000000000004\r\n"
            "Content-Type: multipart/related;\r\n"
            " type=\"text/html\";\r\n"
            " boundary=\"=_00000000000000050000000000000006\"\r\n"
            "\r\n"
            "--=_00000000000000050000000000000006\r\n"
            "Content-Type: text/html; charset=UTF-8\r\n"
            "Content-Transfer-Encoding: 7bit\r\n"
            "\r\n"
            "<img src=\"cid:dot\">\r\n"
            "--=_00000000000000050000000000000006\r\n"
            "Content-Type: image/gif;\r\n"
            " name=dot.gif\r\n"
            "Content-Transfer-Encoding: base64\r\n"
            "Content-ID: <dot>\r\n"
            "Content-Disposition: inline;\r\n"
            " filename=dot.gif\r\n"
            "\r\n"
            "R0lGODlh\r\n"
            "\r\n"
            "--=_00000000000000050000000000000006--\r\n"
            "\r\n"
            "--=_00000000000000030000000000000004--\r\n"
            "\r\n"
            "--=_00000000000000010000000000000002\r\n"
            "Content-Type: application/octet-stream;\r\n"
            " name=a.bin\r\n"
            "Content-Transfer-Encoding: base64\r\n"
            "Content-Disposition: attachment;\r\n"
            " filename=a.bin\r\n"
            "\r\n"
            "AP8=\r\n"
            "\r\n"
            "--=_00000000000000010000000000000002--\r\n");
}

TEST(WriterTest, TheShapeFollowsWhatThereIs) {
  TemporaryFolder folder;
  const MimeFile file{folder.Write("f.txt", "x"), "f.png", "f", ""};
  const struct {
    const char* text;
    bool has_html;
    bool related;
    bool attachment;
    const char* shape;
  } rows[] = {
      {"", false, false, false, "plain"},
      {"t", true, false, false, "alternative(plain html)"},
      {"", true, false, false, "html"},
      {"", true, true, false, "related(html png)"},
      {"t", true, true, false, "alternative(plain related(html png))"},
      {"", false, false, true, "mixed(plain png)"},
      {"t", true, false, true, "mixed(alternative(plain html) png)"},
      {"", true, true, true, "mixed(related(html png) png)"},
      {"t", false, true, true, "mixed(plain png png)"},  // no HTML to be related to
  };
  for (const auto& row : rows) {
    Composition mail;
    mail.text = row.text;
    mail.has_html = row.has_html;
    if (row.related) mail.related = {file};
    if (row.attachment) mail.attachments = {file};
    const std::string written = Written(mail);
    Result<MimePart> parsed = ParseMime(written);
    ASSERT_TRUE(parsed.ok());
    EXPECT_EQ(Shape(parsed.value()), row.shape);
  }
}

TEST(WriterTest, EachTextTakesTheEncodingThatFits) {
  const struct {
    std::string text;
    const char* encoding;
  } rows[] = {
      {"plain", "7bit"},
      {"two\r\nlines\twith a tab\r\n", "7bit"},
      {std::string(76, 'x'), "7bit"},
      {std::string(77, 'x'), "quoted-printable"},
      {"a line of an ordinary length, and then one\r\n.\r\n", "quoted-printable"},
      {"From the start of a line of an ordinary length", "quoted-printable"},
      {"ordinary text with a blank at the end \r\nof a line", "quoted-printable"},
      {"ordinary text with a boundary: --=_0000 in it", "quoted-printable"},
      {"ordinary text and Gr\xC3\xBC\xC3\x9F"
       "e",
       "quoted-printable"},
      {"\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82", "base64"},
  };
  for (const auto& row : rows) {
    Composition mail;
    mail.html = row.text;
    mail.has_html = true;
    mail.text = row.text;
    const std::string written = Written(mail);
    Result<MimePart> parsed = ParseMime(written);
    ASSERT_TRUE(parsed.ok());
    for (const MimePart& part : parsed->children) {
      EXPECT_EQ(part.encoding, row.encoding) << row.text;
      EXPECT_EQ(DecodedText(part).value(), row.text);
    }
  }
}

TEST(WriterTest, AMessageInAMessageGoesAsPlainBytes) {
  TemporaryFolder folder;
  Composition mail;
  const std::filesystem::path path =
      folder.Write("m", "Subject: x\n\n\xFF" + std::string(2000, 'x'));
  for (const char* type : {"message/rfc822", "Multipart/mixed", "text/plain\r\nX: y", "text"}) {
    mail.attachments.push_back({path, "saved.eml", "", type});
  }
  const std::string written = Written(mail);
  Result<MimePart> parsed = ParseMime(written);
  ASSERT_TRUE(parsed.ok());
  for (std::size_t i = 1; i < 5; ++i) {
    EXPECT_TRUE(parsed->children[i].Is("application", "octet-stream")) << i;
    EXPECT_EQ(DecodedBytes(parsed->children[i]).value(), folder.Read("m"));
  }
}

TEST(WriterTest, RefusesBeforeTheFirstByte) {
  TemporaryFolder folder;
  const std::filesystem::path good = folder.Write("good", "x");
  const struct {
    MimeFile file;
    Code code;
    const char* named;
  } rows[] = {
      {{folder / "gone.pdf", "gone.pdf", "", ""}, Code::kNotFound, "gone.pdf"},
      {{folder.path(), "folder", "", ""}, Code::kBadInput, "a folder"},
      {{good, "a", "x>\r\nBcc: y", ""}, Code::kUsage, "Bcc"},
      {{good, "a", "two words", ""}, Code::kUsage, "two words"},
  };
  for (const auto& row : rows) {
    for (const bool related : {false, true}) {
      Composition mail;
      mail.has_html = true;
      (related ? mail.related : mail.attachments) = {{good, "good", "", ""}, row.file};
      SystemRandomness randomness;
      StringSink sink;
      Status status = WriteMime(mail, randomness, sink);
      EXPECT_EQ(status.code(), row.code) << status.text();
      EXPECT_NE(status.text().find(row.named), std::string::npos) << status.text();
      EXPECT_EQ(sink.text, "");
    }
  }
}

// A sink that takes so many bytes and then is full.
class SmallSink final : public ByteSink {
 public:
  explicit SmallSink(std::size_t room) : room_(room) {}
  Status Write(std::string_view bytes) override {
    if (bytes.size() > room_) return Status(Code::kCannotWrite, "full");
    room_ -= bytes.size();
    return {};
  }

 private:
  std::size_t room_;
};

TEST(WriterTest, AFullDiskIsReportedWhereverItFills) {
  TemporaryFolder folder;
  Composition mail;
  mail.text = "t";
  mail.has_html = true;
  mail.related = {{folder.Write("r", "r"), "r.png", "r", ""}};
  mail.attachments = {{folder.Write("a", std::string(300, 'a')), "a.pdf", "", ""}};
  const std::size_t size = Written(mail).size();
  for (std::size_t room = 0; room < size; ++room) {
    CountingRandomness randomness;
    SmallSink sink(room);
    EXPECT_EQ(WriteMime(mail, randomness, sink).code(), Code::kCannotWrite) << room;
  }
}

TEST(WriterTest, RandomMailsReadBack) {
  TemporaryFolder folder;
  for (std::uint64_t seed = 0; seed < 60; ++seed) {
    TestNumbers numbers(seed);
    Composition mail;
    mail.subject = numbers.Text(numbers.Below(60));
    mail.text = "t" + numbers.Text(numbers.Below(300)) + "\r\n" + numbers.Text(numbers.Below(300));
    mail.html = numbers.Text(numbers.Below(300));
    mail.has_html = true;
    const std::string bytes = numbers.Bytes(numbers.Below(5000));
    mail.attachments = {{folder.Write("a", bytes), numbers.Text(numbers.Below(30)) + "z", "", ""}};
    const std::string written = Written(mail);
    Result<MimePart> parsed = ParseMime(written);
    ASSERT_TRUE(parsed.ok());
    const MimePart& texts = parsed->children.at(0);
    EXPECT_EQ(ModHeader::Decode(HeaderValue(parsed.value(), "subject")), mail.subject);
    EXPECT_EQ(DecodedText(texts.children.at(0)).value(), mail.text);
    EXPECT_EQ(DecodedText(texts.children.at(1)).value(), mail.html);
    EXPECT_EQ(DecodedBytes(parsed->children.at(1)).value(), bytes);
    std::string name = mail.attachments[0].name;  // the reader gives a name, never a path
    name = name.substr(name.find_last_of("/\\") + 1);
    std::erase(name, '\t');
    std::erase(name, '\x7F');
    EXPECT_EQ(parsed->children.at(1).file_name, name);
  }
}

TEST(WriterTest, ContentTypes) {
  EXPECT_EQ(ContentTypeOfName("a.b.PDF"), "application/pdf");
  EXPECT_EQ(ContentTypeOfName("photo.Jpg"), "image/jpeg");
  EXPECT_EQ(ContentTypeOfName("pdf"), "application/octet-stream");
  EXPECT_EQ(ContentTypeOfName("a."), "application/octet-stream");
  EXPECT_EQ(ContentTypeOfName("m.eml"), "application/octet-stream");
}

}  // namespace
}  // namespace vespro
