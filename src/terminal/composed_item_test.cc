#include "terminal/composed_item.h"

#include <gtest/gtest.h>

#include "base/testing.h"
#include "base/text.h"

namespace vespro {
namespace {

class ComposedItemTest : public testing::Test {
 protected:
  std::unique_ptr<ComposedItem> Compose() {
    Result<std::unique_ptr<ComposedItem>> item = ComposedItem::Compose(request, randomness);
    EXPECT_TRUE(item.ok()) << item.status().text();
    return item.ok() ? std::move(item).value() : nullptr;
  }
  Status Failure() { return ComposedItem::Compose(request, randomness).status(); }
  // The attachment list's files: name and bytes.
  static std::vector<std::string> Attached(const ComposedItem& item) {
    std::vector<std::string> files;
    for (const std::string_view piece : ModText::Split(item.attachment_list(), ',')) {
      if (piece.empty()) continue;
      const auto path = ModFiles::FromUtf8(piece);
      Result<std::string> bytes = ModFiles::ReadAll(path);
      EXPECT_TRUE(bytes.ok()) << bytes.status().text();
      files.push_back(ModFiles::ToUtf8(path.filename()) + "=" + (bytes.ok() ? bytes.value() : ""));
    }
    return files;
  }

  TemporaryFolder folder;
  SystemRandomness randomness;
  ComposeRequest request;
};

TEST_F(ComposedItemTest, BodiesOfEveryEncoding) {
  const struct {
    const char* name;
    std::string bytes;
    const char* text;
  } rows[] = {
      {"utf8.txt",
       "Gr\xC3\xBC\xC3\x9F"
       "e",
       "Gr\xC3\xBC\xC3\x9F"
       "e"},
      {"bom.txt", "\xEF\xBB\xBFGr\xC3\xBC", "Gr\xC3\xBC"},
      {"latin.txt",
       "Gr\xFC\xDF"
       "e",
       "Gr\xC3\xBC\xC3\x9F"
       "e"},
      {"utf16.txt", std::string("\xFF\xFEG\0r\0\xFC\0", 8), "Gr\xC3\xBC"},
  };
  for (const auto& row : rows) {
    request.text_file = folder.Write(row.name, row.bytes);
    EXPECT_EQ(Compose()->Body(), row.text) << row.name;
  }
  request.html_file = folder.Write("p.html",
                                   "<meta charset=\"iso-8859-2\"><p>\xB3\xF3"
                                   "d\xBC</p>");
  EXPECT_EQ(Compose()->HtmlBody(),
            "<meta charset=\"iso-8859-2\"><p>\xC5\x82\xC3\xB3"
            "d\xC5\xBA</p>");
  EXPECT_EQ(Compose()->editor(), EditorType::kHtml);
}

TEST_F(ComposedItemTest, WhatCannotBeSentIsNamed) {
  const auto text = folder.Write("a.txt", "text");
  const auto missing = folder / "missing.pdf";
  const auto binary = folder.Write("binary.txt", std::string("a\0b", 3));
  const auto again = folder.Write("dir.txt", "x");
  const struct {
    ComposeRequest request;
    Code code;
    const char* word;
  } rows[] = {
      {{}, Code::kUsage, "--text"},
      {{.text_file = missing}, Code::kNotFound, "missing.pdf"},
      {{.text_file = folder.path()}, Code::kBadInput, "folder"},
      {{.text_file = binary}, Code::kBadInput, "binary.txt"},
      {{.text_file = text, .attach = {missing}}, Code::kNotFound, "missing.pdf"},
      {{.text_file = text, .attach = {folder.path()}}, Code::kBadInput, "folder"},
      {{.text_file = text, .embed = {text}}, Code::kUsage, "--html"},
      {{.html_file = text, .embed = {missing}}, Code::kNotFound, "missing.pdf"},
      {{.html_file = text, .embed = {text, text}}, Code::kUsage, "a.txt"},
      {{.text_file = text, .eml_file = text}, Code::kUsage, "--eml"},
      {{.eml_file = again}, Code::kBadInput, "dir.txt"},
      {{.text_file = folder.Write("empty.txt", "")}, Code::kBadInput, "empty"},
  };
  for (const auto& row : rows) {
    request = row.request;
    const Status status = Failure();
    EXPECT_EQ(status.code(), row.code) << status.text();
    EXPECT_NE(status.text().find(row.word), std::string::npos) << status.text();
  }
}

TEST_F(ComposedItemTest, APathWithACommaIsStaged) {
  request.text_file = folder.Write("a.txt", "text");
  ASSERT_TRUE(ModFiles::EnsureFolder(folder / "Smith, John"));
  request.attach = {folder.Write("plain.bin", "1"), folder.Write("Smith, John/cv.bin", "2"),
                    folder.Write("one,two.bin", "3")};
  std::string staged;
  {
    const auto item = Compose();
    EXPECT_EQ(Attached(*item),
              (std::vector<std::string>{"plain.bin=1", "cv.bin=2", "one_two.bin=3"}));
    ASSERT_EQ(item->remarks().size(), 1U);
    EXPECT_NE(item->remarks()[0].find("one,two.bin"), std::string::npos);
    staged = ModText::Split(item->attachment_list(), ',')[2];
  }
  EXPECT_FALSE(ModFiles::IsFile(ModFiles::FromUtf8(staged)));
  EXPECT_EQ(folder.Read("Smith, John/cv.bin"), "2");
}

TEST_F(ComposedItemTest, EmbeddedFilesAreTheItemsAttachments) {
  request.html_file = folder.Write("a.html", "<img src=\"cid:p.png\">");
  request.embed = {folder.Write("p.png", "picture")};
  const auto item = Compose();
  ASSERT_EQ(item->AttachmentCount(), 1U);
  EXPECT_EQ(item->AttachmentFileName(0), "p.png");
  ASSERT_TRUE(item->SaveAttachment(0, folder / "copy.png").ok());
  EXPECT_EQ(folder.Read("copy.png"), "picture");
}

TEST_F(ComposedItemTest, ASavedMessageIsTakenApart) {
  request.eml_file = folder.Write(
      "m.eml",
      "From: someone@example.org\r\n"
      "Subject: =?utf-8?Q?Gr=C3=BC=C3=9Fe?=\r\n"
      "X-Mailer: Whatever\r\n"
      "MIME-Version: 1.0\r\n"
      "Content-Type: multipart/mixed; boundary=m\r\n\r\n"
      "--m\r\nContent-Type: multipart/related; boundary=r\r\n\r\n"
      "--r\r\nContent-Type: multipart/alternative; boundary=a\r\n\r\n"
      "--a\r\nContent-Type: text/plain; charset=iso-8859-1\r\n\r\nSch\xF6n\r\n"
      "--a\r\nContent-Type: text/html; charset=utf-8\r\n\r\n"
      "<img src='cid:i1@x'><img src=\"CID:i10%40x\"><td background=cid:i1@x>\r\n"
      "--a--\r\n"
      "--r\r\nContent-Type: image/png\r\nContent-ID: <i1@x>\r\n"
      "Content-Disposition: inline; filename=p.png\r\n\r\nfirst\r\n"
      "--r\r\nContent-Type: image/png; name=\"../p.png\"\r\nContent-ID: <i10@x>\r\n\r\nsecond\r\n"
      "--r--\r\n"
      "--m\r\nContent-Type: application/pdf\r\n"
      "Content-Disposition: attachment; filename=\"Smith, J.pdf\"\r\n"
      "Content-Transfer-Encoding: base64\r\n\r\nJVBERg==\r\n"
      "--m\r\nContent-Type: text/plain\r\nContent-Disposition: attachment\r\n\r\nnotes\r\n"
      "--m--\r\n");
  const auto item = Compose();
  EXPECT_EQ(item->Subject(),
            "Gr\xC3\xBC\xC3\x9F"
            "e");
  EXPECT_EQ(item->Body(), "Sch\xC3\xB6n");
  EXPECT_EQ(item->HtmlBody(),
            "<img src='cid:p.png'><img src=\"CID:2-p.png\"><td background=cid:p.png>");
  ASSERT_EQ(item->AttachmentCount(), 2U);
  ASSERT_TRUE(item->SaveAttachment(1, folder / "copy").ok());
  EXPECT_EQ(folder.Read("copy"), "second");
  EXPECT_EQ(Attached(*item), (std::vector<std::string>{"Smith_ J.pdf=%PDF", "part1.txt=notes"}));
}

TEST_F(ComposedItemTest, ASubjectOnTheCommandLineWins) {
  request.eml_file = folder.Write("m.eml", "Subject: old\r\nMIME-Version: 1.0\r\n\r\nHello\r\n");
  request.subject = "new";
  EXPECT_EQ(Compose()->Subject(), "old");
  request.has_subject = true;
  EXPECT_EQ(Compose()->Subject(), "new");
  EXPECT_EQ(Compose()->editor(), EditorType::kPlainText);
}

}  // namespace
}  // namespace vespro
