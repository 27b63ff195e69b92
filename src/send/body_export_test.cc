#include "send/body_export.h"

#include <set>

#include "mime/reader.h"
#include "send/send_test_host.h"

namespace vespro {
namespace {

using testing::Test;

class BodyExportTest : public SendTestHost {
 protected:
  std::string Export() {
    StringSink sink;
    const Status status = ModBodyExport::Export(context, folder / "outbox", sink);
    EXPECT_TRUE(status.ok()) << status.text();
    EXPECT_FALSE(ModFiles::IsFolder(folder / "outbox")) << "the scratch folder is left behind";
    return sink.text;
  }

  // The parts that hold something, in order, as "type/subtype disposition name <content id>".
  static void Describe(const MimePart& part, std::string& out) {
    if (part.children.empty()) {
      out += part.type + "/" + part.subtype + " " + part.disposition + " " + part.file_name + " <" +
             part.content_id + ">\n";
    }
    for (const MimePart& child : part.children) Describe(child, out);
  }
  static std::string Describe(const std::string& mime) {
    Result<MimePart> root = ParseMime(mime);
    EXPECT_TRUE(root.ok()) << root.status().text();
    std::string out;
    if (root.ok()) Describe(root.value(), out);
    return out;
  }
};

TEST_F(BodyExportTest, NothingWithoutAMailClient) {
  host.body = "text";
  add_in.mail_client = nullptr;
  EXPECT_EQ(Export(), "");
}

TEST_F(BodyExportTest, APlainTextIsOnePart) {
  host.body = "Hello";
  EXPECT_EQ(Describe(Export()), "text/plain   <>\n");
}

TEST_F(BodyExportTest, InAnHtmlEditorTheItemsAttachmentsAreEmbedded) {
  host.editor = EditorType::kHtml;
  host.body = "Hello";
  host.html_body = "<img src=\"cid:logo one.png\"><img src=\"cid:elsewhere\">";
  host.attachments = {{"logo one.png", "picture"}};
  window.attachment_list = ",,," + ModFiles::ToUtf8(folder.Write("rules.pdf", "%PDF"));
  const std::string mime = Export();
  EXPECT_EQ(Describe(mime),
            "text/plain   <>\n"
            "text/html   <>\n"
            "image/png inline logo one.png <logo_20one.png>\n"
            "application/pdf attachment rules.pdf <>\n");
  EXPECT_NE(mime.find("cid:logo_20one.png"), std::string::npos);
  EXPECT_NE(mime.find("cid:elsewhere"), std::string::npos);
}

TEST_F(BodyExportTest, InAPlainEditorTheItemsAttachmentsAreOrdinary) {
  host.body = "Hello";
  host.attachments = {{"a.txt", "1"}, {"b.bin", "2"}};
  EXPECT_EQ(Describe(Export()),
            "text/plain   <>\n"
            "text/plain attachment a.txt <>\n"
            "application/octet-stream attachment b.bin <>\n");
}

TEST_F(BodyExportTest, NoAttachmentIsLostForItsName) {
  host.body = "Hello";
  host.attachments = {{"x.pdf", "1"},     {"x.pdf", "2"},   {"X.PDF", "3"}, {"../../escape", "4"},
                      {"..", "5"},        {"", "6"},        {"NUL", "7"},   {"a:b.png", "8"},
                      {"C:\\x.pdf", "9"}, {"2-x.pdf", "10"}};
  const char* const names[] = {"x.pdf",      "x.pdf", "X.PDF",   "escape", "attachment",
                               "attachment", "NUL",   "a:b.png", "x.pdf",  "2-x.pdf"};
  for (const EditorType editor : {EditorType::kPlainText, EditorType::kHtml}) {
    host.editor = editor;
    host.html_body = editor == EditorType::kHtml ? "<img src=\"cid:x.pdf\">" : "";
    const std::string exported = Export();  // the parts point into it
    Result<MimePart> root = ParseMime(exported);
    ASSERT_TRUE(root.ok());
    const std::vector<MimePart>& parts =
        editor == EditorType::kHtml ? root->children.back().children : root->children;
    ASSERT_EQ(parts.size(), 11U);
    std::set<std::string> ids;
    for (std::size_t i = 0; i < 10; ++i) {
      EXPECT_EQ(parts[i + 1].file_name, names[i]);
      EXPECT_EQ(DecodedBytes(parts[i + 1]).value(), host.attachments[i].second);
      ids.insert(parts[i + 1].content_id);
    }
    if (editor == EditorType::kPlainText) continue;
    EXPECT_EQ(ids.size(), 10U);
    EXPECT_EQ(parts[1].content_id, "x.pdf");
  }
}

TEST_F(BodyExportTest, WhatCannotBeHadIsLeftOutAndLogged) {
  host.body = "Hello";
  host.attachments = {{"ok.txt", "y"}};
  window.attachment_list = "," + ModFiles::ToUtf8(folder / "missing.pdf");
  EXPECT_EQ(Describe(Export()), "text/plain   <>\ntext/plain attachment ok.txt <>\n");
  std::string log;
  for (const std::string& event : host.events) log += event + "\n";
  EXPECT_NE(log.find("missing.pdf"), std::string::npos) << log;
}

TEST(PrepareHtmlTest, References) {
  const auto embedded = [](const std::string& name) -> std::string {
    return name == "a.png" || name == "b c.png" || name == "d:e.png"
               ? ModBodyExport::ContentIdOf(name)
               : "";
  };
  const struct {
    const char* html;
    const char* prepared;
  } rows[] = {
      {"", ""},
      {"<img src=\"cid:a.png\">", "<img src=\"cid:a.png\">"},
      {"<img src=\"cid:b c.png\"> <img src=\"cid:b%20c.png\">",
       "<img src=\"cid:b_20c.png\"> <img src=\"cid:b_20c.png\">"},
      {"<img src=\"cid:../a.png\">", "<img src=\"cid:../a.png\">"},
      {"<body background=cid:a.png><td background=cid:a.png>",
       "<body background=\"cid:a.png\"><td background=\"cid:a.png\">"},
      {"<img src='cid:b c.png'><img src='cid:no'><p title=\"\">",
       "<img src='cid:b_20c.png'><img src='cid:no'><p title=\"\">"},
      {"<img src=cid:a.png><img src=cid:b%20c.png alt=x><img src=\"CID:a.png\">",
       "<img src=cid:a.png><img src=cid:b_20c.png alt=x><img src=\"cid:a.png\">"},
      {"<img src=\"cid:d:e.png\"> <p style='x: url(cid:d:e.png)'>",
       "<img src=\"cid:d_3Ae.png\"> <p style='x: url(cid:d_3Ae.png)'>"},
      {"<td background=cid:b%20c.png width=1>", "<td background=cid:b_20c.png width=1>"},
      {"acid: a word, cid:", "acid: a word, cid:"},
      {"cid:cid:\"", "cid:cid:\""},
      {"cid:a.png", "cid:a.png"},
  };
  for (const auto& row : rows) {
    int turns = 0;
    EXPECT_EQ(ModBodyExport::PrepareHtml(row.html, embedded, [&turns] { ++turns; }), row.prepared)
        << row.html;
  }
}

}  // namespace
}  // namespace vespro
