#include "mime/html_text.h"

#include <gtest/gtest.h>

#include "mime/html_tokens.h"

namespace vespro {
namespace {

TEST(HtmlTextTest, PagesAsText) {
  const struct {
    const char *html, *text, *why;
  } kCases[] = {
      {"<html><head><title>News</title><style>p { color: #AA3311 }</style></head><body>\n"
       "<h1>Dear #NAME,</h1>\n<p>one\n two</p><p>three</p></body></html>",
       "Dear #NAME,\n\none two\n\nthree\n", "paragraphs; no title, no style; merge words stay"},
      {"a<br>b<br><br>c<div>d</div>e", "a\nb\n\nc\nd\ne\n", "line breaks"},
      {"a<br><br><br><br><br><br>b", "a\n\n\nb\n", "spacing made of line breaks"},
      {"<ul><li>one<li>two</ul><ol><li>x</li><li>y</li></ol>z", "- one\n- two\n\n1. x\n2. y\n\nz\n",
       "lists"},
      {"<table><tr><td>Mon</td><td>7 pm</td></tr><tr><td>Tue</td></tr></table>", "Mon 7 pm\nTue\n",
       "cells are apart"},
      {"See <a href=\"https://example.org/?a=1&amp;b=#NO\">our page</a>.",
       "See our page (https://example.org/?a=1&b=#NO).\n", "where a link leads"},
      {"<a href='mailto:a@b.org'>a@b.org</a> <a href=\"#top\">up</a> <a>x</a>", "a@b.org up x\n",
       "nothing twice, and no place in the page"},
      {"<a href='https://example.org/'><img src=x alt='Our logo'></a>",
       "Our logo (https://example.org/)\n", "a picture's text"},
      {"5 &lt; 6 &amp;&nbsp;7 &ndash; caf&#233; &unknown; a<b",
       "5 < 6 & 7 \xE2\x80\x93 caf\xC3\xA9 &unknown; a", "references"},
      {"<pre>a  b\n c</pre>d", "a  b\n c\n\nd\n", "what is laid out by hand"},
      {"<!-- no -->a<script>if (a<b) x('</p>')</script>b<!-- never ends", "ab\n",
       "comments and scripts"},
      {"a < b, 1<2 <3", "a < b, 1<2 <3\n", "no tags"},
      {"<p title='x > y'>a</p", "a\n", "a quoted > and a tag that never ends"},
      {"<img src='a.png'>", "", "no text"},
      {"", "", "nothing"},
  };
  for (const auto& c : kCases) {
    std::string expected = c.text;
    // The one whose last tag swallows what follows.
    if (!expected.empty() && !expected.ends_with('\n')) expected += "\n";
    EXPECT_EQ(HtmlToText(c.html), expected) << c.why;
  }
}

// Cut off at each byte, a page neither hangs nor reads beyond its end.
TEST(HtmlTextTest, CutOffPages) {
  const std::string page =
      "<!doctype html><p class=\"a\" x='y' z=1 / >t&auml;&#x41;<a href=https://e.org/>l</a><!-- c "
      "--><style>s</style>";
  for (std::size_t size = 0; size <= page.size(); ++size) {
    EXPECT_LE(HtmlToText(std::string(page, 0, size)).size(), page.size() + 2) << size;
  }
}

TEST(HtmlTokensTest, AttributesInTheirForms) {
  HtmlTokens tokens("<IMG SRC = 'a&amp;b.png' alt=x=y disabled data-x=\"1\"/><a href=b/c>");
  HtmlToken token;
  ASSERT_TRUE(tokens.Next(token));
  EXPECT_EQ(token.name, "img");
  EXPECT_EQ(token.Value("src"), "a&b.png");
  EXPECT_EQ(token.Value("alt"), "x=y");
  EXPECT_EQ(token.Value("data-x"), "1");
  EXPECT_EQ(token.attributes.size(), 4U);
  ASSERT_TRUE(tokens.Next(token));
  EXPECT_EQ(token.Value("href"), "b/c");
  EXPECT_FALSE(tokens.Next(token));
}

}  // namespace
}  // namespace vespro
