#include "mime/author_fields.h"

#include <gtest/gtest.h>

namespace vespro {
namespace {

TEST(AuthorFieldsTest, WhoseAFieldIs) {
  for (const char* name : {"Reply-To", "LIST-UNSUBSCRIBE", "List-Id", "Precedence",
                           "auto-submitted", "Feedback-ID", "X-Campaign", "x-priority"}) {
    EXPECT_TRUE(ModAuthorFields::IsAuthors(name)) << name;
  }
  for (const char* name :
       {"From", "Bcc", "Cc", "Received", "Return-Path", "DKIM-Signature", "Date", "Content-Type",
        "X-Mailer", "X-Originating-IP", "x-mozilla-status", "X-MS-Exchange-Organization-SCL",
        "Resent-From", "Message-ID", "Thread-Index"}) {
    EXPECT_FALSE(ModAuthorFields::IsAuthors(name)) << name;
  }
}

TEST(AuthorFieldsTest, ListIds) {
  const struct {
    const char* text;
    const char* field;  // empty: refused
  } rows[] = {
      {"news.example.org", "List-Id: <news.example.org>"},
      {" Club news  <news.example.org> ", "List-Id: Club news <news.example.org>"},
      {"<a-1.b_2.c>", "List-Id: <a-1.b_2.c>"},
      {"news", ""},
      {"news..org", ""},
      {"news@example.org", ""},
      {"a <b> <news.example.org", ""},
      {"x\r\nBcc: y@z.org <news.example.org>", ""},
      {"", ""},
  };
  for (const auto& row : rows) {
    const Result<std::string> field = ModAuthorFields::ListId(row.text);
    EXPECT_EQ(field.ok() ? field.value() : "", row.field) << row.text;
  }
  for (const std::string_view field : ModAuthorFields::kNoAutoReplies) {
    EXPECT_TRUE(ModAuthorFields::Check(field).ok()) << field;
  }
}

TEST(AuthorFieldsTest, WhatCanBeAdded) {
  for (const char* field :
       {"", "Precedence", ": bulk", "X-A:", "X A: b", "X-A: b\r\nBcc: c@d.org", "X-A: \x01",
        "Bcc: c@d.org", "From: x@y.org", "X-\xC3\xA4: b", "X-A: \xFF"}) {
    EXPECT_EQ(ModAuthorFields::Check(field).code(), Code::kUsage) << field;
  }
  const struct {
    const char* field;
    std::string text;
  } rows[] = {
      {"Precedence:bulk", "Precedence: bulk\r\n"},
      {"List-Unsubscribe: <mailto:leave@x.org?subject=leave>",
       "List-Unsubscribe: <mailto:leave@x.org?subject=leave>\r\n"},
      {"X-Group: Fr\xC3\xBChling", "X-Group: =?UTF-8?B?RnLDvGhsaW5n?=\r\n"},
      {"X-Long: aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb c",
       "X-Long: aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\r\n bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb "
       "c\r\n"},
  };
  for (const auto& row : rows) {
    EXPECT_TRUE(ModAuthorFields::Check(row.field).ok()) << row.field;
    EXPECT_EQ(ModAuthorFields::Format(row.field), row.text);
  }
  EXPECT_EQ(ModAuthorFields::Folded("X-A", std::string(1000, 'a')), "");
}

}  // namespace
}  // namespace vespro
