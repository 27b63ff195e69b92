#include "engine/template.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

#include "base/code_page.h"
#include "base/lines.h"
#include "base/testing.h"
#include "base/text.h"
#include "merge/custom_words.h"
#include "mime/base64.h"
#include "mime/reader.h"

namespace vespro::engine {
namespace {

const FixedClock kClock{std::chrono::system_clock::time_point(std::chrono::seconds(1'700'000'000))};

struct Made {
  CountingRandomness randomness;
  std::unique_ptr<Template> message;
};

std::unique_ptr<Made> Prepare(std::string_view bytes, std::string_view first_row = {},
                              int bcc_mode = 0) {
  auto made = std::make_unique<Made>();
  Result<std::unique_ptr<Template>> prepared = Template::Prepare(
      std::string(bytes), {bcc_mode, std::string(first_row)}, kClock, made->randomness);
  EXPECT_TRUE(prepared.ok()) << prepared.status().text();
  if (prepared.ok()) made->message = std::move(prepared).value();
  return made;
}

std::string Joined(const RenderedMessage& message) {
  std::string text;
  for (std::string_view piece : message.pieces) text += piece;
  EXPECT_EQ(text.size(), message.bytes);
  return text;
}

std::string Render(Made& made, std::string_view row, std::string_view address = "ann@example.org") {
  RenderedMessage message;
  const Recipient recipient{2, std::string(address), std::string(row)};
  made.message->Render({&recipient, 1}, message);
  return Joined(message);
}

// What holds for every message that leaves: CR LF only, no long line, ASCII, no NUL.
void ExpectFitForTheWire(const std::string& message) {
  std::size_t line = 0;
  for (std::size_t i = 0; i < message.size(); ++i) {
    const char c = message[i];
    ASSERT_TRUE(c != '\0' && (static_cast<unsigned char>(c) & 0x80) == 0) << "byte " << i;
    ASSERT_EQ(c == '\n', i > 0 && message[i - 1] == '\r') << "byte " << i << " of\n" << message;
    line = c == '\n' ? 0 : line + 1;
    ASSERT_LE(line, 998u + 1u);
  }
  ASSERT_TRUE(message.ends_with("\r\n"));
}

MimePart Parse(const std::string& message) {
  Result<MimePart> root = ParseMime(message);
  EXPECT_TRUE(root.ok()) << root.status().text();
  return root.ok() ? std::move(root).value() : MimePart();
}

std::string TextOf(const MimePart& part) {
  Result<std::string> text = DecodedText(part);
  EXPECT_TRUE(text.ok()) << text.status().text();
  return text.ok() ? text.value() : std::string();
}

std::string SubjectOf(const MimePart& root) {
  return ModHeader::Decode(vespro::HeaderValue(root, "Subject"));
}

// The date is the machine's local time.
std::string WithoutDate(std::string message) {
  const std::size_t start = message.find("Date: ");
  return start == std::string::npos ? message
                                    : message.erase(start, message.find("\r\n", start) + 2 - start);
}

// What the list in a compose window offers must be what the engine puts values in for.
TEST(TemplateTest, EveryWordThatIsOfferedIsReplaced) {
  const std::string header =
      "\xEF\xBB\xBF"
      "e-mail, First Name,First,'Gr\xC3\xB6\xC3\x9F"
      "e',,city,CITY,a&b<c>,tab\there";
  const std::string row = "x@y.org,Ann Lee,Ann,38,nobody,Bonn,Kiel,amp,tabbed";
  const std::vector<std::string> custom = {"Best  regards", "\xC3\x84rger & <Co>", "city"};
  const struct {
    const char* entry;
    const char* value;
  } offered[] = {
      {"E-MAIL", "x@y.org"},
      {"FIRST_NAME", "Ann Lee"},
      {"FIRST", "Ann"},
      {"GR\xC3\x96\xC3\x9F"
       "E",
       "38"},
      {"CITY", "Bonn"},
      {"A&B<C>", "amp"},
      {"TAB_HERE", "tabbed"},
      {"Best  regards", "Best  regards"},
      {"\xC3\x84rger & <Co>", "\xC3\x84rger & <Co>"},
  };
  std::set<std::string> names = {"Best  regards", "\xC3\x84rger & <Co>"};
  for (const auto& field : ModMailMerge::FieldNames(header)) names.insert(field.name);
  EXPECT_EQ(names.size(), std::size(offered)) << "none is forgotten here";

  const MergeWords words(ModMailMerge::FieldNames(header), custom);
  const auto merged = [&](const MergeText& text, Place place) {
    const auto cells = ModText::Split(row, ',');
    std::string out = text.statics[0];
    for (std::size_t i = 0; i < text.slots.size(); ++i) {
      AppendValue(out, cells[text.slots[i].column], place);
      out += text.statics[i + 1];
    }
    return out;
  };
  for (const auto& one : offered) {
    const std::string word = ModMailMerge::MergeWordOf(one.entry);
    EXPECT_EQ(merged(words.SplitPlain("<" + word + ">, " + word), Place::kPlain),
              "<" + std::string(one.value) + ">, " + one.value)
        << word;
    // As it comes back from an HTML editor.
    const std::string html = ModText::EscapeHtml(word);
    EXPECT_EQ(
        merged(words.SplitHtml("<p>" + html + ", " + html + "</p>"), Place::kHtml),
        "<p>" + ModText::EscapeHtml(one.value) + ", " + ModText::EscapeHtml(one.value) + "</p>")
        << word;
  }
  const auto html = [&](const char* text) { return merged(words.SplitHtml(text), Place::kHtml); };
  EXPECT_EQ(html("#GR&Ouml;&szlig;E. #GR&#214;&#xDF;E!"), "38. 38!");
  EXPECT_EQ(html("#CITY&auml;, #CITY&amp;, &#CITY;"), "#CITY&auml;, Bonn&amp;, &#CITY;");
  EXPECT_EQ(html("#BEST&nbsp; REGARDS, #BEST\r\nREGARDS, #BESTREGARDS, #BEST REGARDSX"),
            "Best  regards, Best  regards, #BESTREGARDS, #BEST REGARDSX");
  EXPECT_EQ(html("#\xC3\x84RGER&nbsp;&amp; &lt;CO&gt;</p>"), "\xC3\x84rger &amp; &lt;Co&gt;</p>");
  EXPECT_EQ(html("<a title=#BEST href='#BEST REGARDS'>#\xC3\x84RGER &amp; &lt;CO&gt;</a>"),
            "<a title=#BEST href='Best%20%20regards'>\xC3\x84rger &amp; &lt;Co&gt;</a>");
  EXPECT_EQ(merged(words.SplitPlain("#BEST\r\nREGARDS #BEST\xC2\xA0REGARDS"), Place::kPlain),
            "Best  regards Best  regards");
}

// A value must neither end a link nor become another part of it.
TEST(TemplateTest, ValuesInLinks) {
  const MergeWords words(ModMailMerge::FieldNames("Name,Page,Mail,Site"), {"A & B"});
  const std::string cells[] = {"A&B C/\xC3\xA4?", "news/spring 26.html", " ann+x@a.example ",
                               "https://a.example/x?a=1&b=%20 #y"};
  const auto merged = [&](const char* html) {
    const MergeText text = words.SplitHtml(html);
    std::string out = text.statics[0];
    for (std::size_t i = 0; i < text.slots.size(); ++i) {
      const MergeSlot& slot = text.slots[i];
      AppendValue(out, LinkValue(cells[slot.column], slot.link), slot.place);
      out += text.statics[i + 1];
    }
    return out;
  };
  const struct {
    const char* html;
    const char* merged;
  } cases[] = {
      {"<a href=\"https://x.example/?n=#NAME&amp;m=#MAIL\">#NAME</a>",
       "<a href=\"https://x.example/?n=A%26B%20C%2F%C3%A4%3F&amp;m=ann%2Bx%40a.example\">"
       "A&amp;B C/\xC3\xA4?</a>"},
      {"<a href='https://x.example/#PAGE'>", "<a href='https://x.example/news/spring%2026.html'>"},
      {"<img src=pic/#PAGE?#NAME>",
       "<img src=pic/news&#47;spring&#37;2026&#46;html?A&#37;26B&#37;"
       "20C&#37;2F&#37;C3&#37;A4&#37;3F>"},
      {"<a href=\"mailto:#MAIL?subject=#NAME\">",
       "<a href=\"mailto:ann%2Bx@a.example?subject=A%26B%20C%2F%C3%A4%3F\">"},
      {"<a href=\"#SITE\">", "<a href=\"https://a.example/x?a=1&amp;b=%20%20#y\">"},
      {"<a href=#SITE>", "<a href=\"https://a.example/x?a=1&amp;b=%20%20#y\">"},
      {"<a href=\"#SITE/#PAGE\">",
       "<a href=\"https://a.example/x?a=1&amp;b=%20%20#y/news/spring%2026.html\">"},
      {"<a HREF=\"https://#PAGE/x\">", "<a HREF=\"https://news%2Fspring%2026.html/x\">"},
      {"<a href=\"https://x.example/a#top-#PAGE\">",
       "<a href=\"https://x.example/a#top-news%2Fspring%2026.html\">"},
      {"<a href='/&#x61;/#PAGE'>", "<a href='/&#x61;/news/spring%2026.html'>"},
      {"<a href='/?c=#A &amp; B' title='#A & B'>", "<a href='/?c=A%20%26%20B' title='A &amp; B'>"},
      {"<p title=\"#NAME\">", "<p title=\"A&amp;B C/\xC3\xA4?\">"},
  };
  for (const auto& one : cases) EXPECT_EQ(merged(one.html), one.merged);
}

TEST(MergeWordsTest, EachHashThatWasLookedAtIsTold) {
  const MergeWords words(ModMailMerge::FieldNames("City"));
  std::string told;
  const OnHash on_hash = [&told](const HashSign& sign) {
    told += NameAfter(sign) + (sign.word.empty() ? "" : "=" + std::string(sign.word)) +
            (sign.in_link ? " in a link" : "") + (sign.at == 0 ? " first" : "") + "; ";
  };
  words.SplitPlain("#CITY, #TO-WN. ##", on_hash);
  EXPECT_EQ(told, "CITY=CITY first; TO-WN; ; ; ");
  told.clear();
  words.SplitHtml(
      "<p title='a#X' bgcolor=#FFF style='color:#FFF'>#GR&Ouml;SSE&nbsp;<a HREF=#TOP>&#65;#CITY</a>"
      "<style>#no { }</style>",
      on_hash);
  EXPECT_EQ(told, "X; GR\xC3\x96SSE first; TOP in a link first; CITY=CITY; ");
}

TEST(TemplateTest, WholePersonalisedMessage) {
  const auto made = Prepare(
      "TO: \r\n"
      "FROM: \"Ann \"The Boss\" Lee\"<ann@club.example>\r\n"
      "REPLY-TO: office@club.example\r\n"
      "Received: from laptop.local\r\n"
      "X-Mailer: something 1.0\r\n"
      "Bcc: secret@example.com\r\n"
      "Message-ID: <old@laptop.local>\r\n"
      "Date: Thu, 1 Jan 1970 00:00:00 +0000\r\n"
      "MIME-Version: 1.0\r\n"
      "Subject: News for #FIRST_NAME\r\n"
      "Content-Type: multipart/mixed; boundary=\"b1\"\r\n"
      "\r\n"
      "preamble\r\n"
      "--b1\r\n"
      "Content-Type: text/plain; charset=iso-8859-1\r\n"
      "X-Part: gone\r\n"
      "\r\n"
      "Dear #FIRST_NAME #LAST,\r\n"
      "#FIRST_NAMES and #FIRST stay, #CITY.\r\n"
      "--b1\r\n"
      "Content-Type: image/png; name=\"a.png\"\r\n"
      "Content-Transfer-Encoding: base64\r\n"
      "Content-Disposition: attachment; filename=\"a.png\"\r\n"
      "\r\n"
      "I0xBU1Q=\r\n"
      "--b1--\r\n",
      "e-mail,First Name,Last,'City'");
  ASSERT_TRUE(made->message);
  EXPECT_EQ(made->message->sender(), "ann@club.example");
  EXPECT_EQ(made->message->recipients_per_message(), 1u);
  const std::string message = Render(*made, "ann@example.org, Zo\xC3\xAB ,\"O'Brien\",");
  ExpectFitForTheWire(message);
  EXPECT_EQ(WithoutDate(message),
            "From: \"Ann \\\"The Boss\\\" Lee\" <ann@club.example>\r\n"
            "Reply-To: office@club.example\r\n"
            "To: ann@example.org\r\n"
            "Subject: =?UTF-8?Q?News_for_Zo=C3=AB?=\r\n"
            "Message-ID: <30000000000000004000000000000000@club.example>\r\n"
            "MIME-Version: 1.0\r\n"
            "Content-Type: multipart/mixed;\r\n"
            " boundary=\"=_10000000000000002000000000000000\"\r\n"
            "\r\n"
            "--=_10000000000000002000000000000000\r\n"
            "Content-Type: text/plain; charset=utf-8\r\n"
            "Content-Transfer-Encoding: quoted-printable\r\n"
            "\r\n"
            "Dear=20Zo=C3=AB=20O'Brien,\r\n"
            "#FIRST_NAMES and #FIRST stay,=20=2E\r\n"
            "--=_10000000000000002000000000000000\r\n"
            "Content-Type: image/png;\r\n name=a.png\r\n"
            "Content-Transfer-Encoding: base64\r\n"
            "Content-Disposition: attachment;\r\n filename=a.png\r\n"
            "\r\n"
            "I0xBU1Q=\r\n"
            "--=_10000000000000002000000000000000--\r\n");
}

TEST(TemplateTest, ContentIdsGetTheSendersDomain) {
  const auto message = [](const std::string& from) {
    return "TO: \r\nFROM: " + from +
           "\r\nSubject: s\r\n"
           "Content-Type: multipart/related; boundary=b; start=\"<page>\"\r\n\r\n"
           "--b\r\nContent-Type: text/html; charset=us-ascii\r\nContent-ID: <page>\r\n\r\n"
           "<img src=\"cid:a%20b.png\"><p style='background: url(CID:c.png)'>"
           "<img src=cid:d@e.example><img src='cid:none.png'>\r\n"
           "--b\r\nContent-Type: image/png\r\nContent-ID: <a b.png>\r\n\r\nA\r\n"
           "--b\r\nContent-Type: image/png\r\nContent-ID: <c.png>\r\n\r\nC\r\n"
           "--b\r\nContent-Type: image/png\r\nContent-ID: <d@e.example>\r\n\r\nD\r\n--b--\r\n";
  };
  const auto made = Prepare(message("me@club.example"));
  const std::string sent = Render(*made, "");
  const MimePart root = Parse(sent);
  ASSERT_EQ(root.children.size(), 4u);
  std::vector<std::string> ids;
  for (const MimePart& part : root.children) ids.push_back(part.content_id);
  EXPECT_EQ(ids, (std::vector<std::string>{"page@club.example", "a b.png@club.example",
                                           "c.png@club.example", "d@e.example"}));
  EXPECT_EQ(TextOf(root.children[0]),
            "<img src=\"cid:a%20b.png@club.example\"><p style='background: "
            "url(CID:c.png@club.example)'><img src=cid:d@e.example><img src='cid:none.png'>");
  EXPECT_NE(sent.find("start=\"<page@club.example>\""), std::string::npos) << sent;

  // A domain that can't be in an id.
  const auto other = Prepare(message("me@caf\xC3\xA9.example"));
  EXPECT_EQ(Parse(Render(*other, "")).children[2].content_id, "c.png");
}

TEST(TemplateTest, WholeTurboMessage) {
  const auto made = Prepare(
      "TO: Friends of the club, all of them\r\nFROM: ann@club.example\r\n"
      "Subject: #NAME\r\n\r\nDear #NAME\r\n",
      "e-mail,Name", 50);
  ASSERT_TRUE(made->message);
  EXPECT_EQ(made->message->recipients_per_message(), 50u);
  EXPECT_EQ(WithoutDate(Render(*made, "ann@example.org,Ann")),
            "From: ann@club.example\r\n"
            "To: \"Friends of the club, all of them\":;\r\n"
            "Subject: #NAME\r\n"
            "Message-ID: <10000000000000002000000000000000@club.example>\r\n"
            "MIME-Version: 1.0\r\n"
            "Content-Type: text/plain; charset=us-ascii\r\n"
            "Content-Transfer-Encoding: 7bit\r\n"
            "\r\n"
            "Dear #NAME\r\n");
}

TEST(TemplateTest, TheCommonToIsAlwaysAValidField) {
  const struct {
    std::string line, field;
  } rows[] = {
      {"", "To: undisclosed-recipients:;\r\n"},
      {"   ", "To: undisclosed-recipients:;\r\n"},
      {"club@example.org", "To: club@example.org\r\n"},
      {" Club <club@example.org>, b@example.org ",
       "To: Club <club@example.org>,\r\n b@example.org\r\n"},
      {"The club", "To: The club:;\r\n"},
      {"a@b@c:;<", "To: \"a@b@c:;<\":;\r\n"},
      {"Gr\xC3\xBC\xC3\x9F"
       "e",
       "To: =?UTF-8?B?R3LDvMOfZQ==?=:;\r\n"},
  };
  for (const auto& row : rows) {
    const auto made = Prepare(
        "TO: " + ModCodePage::FromUtf8(row.line) + "\r\nFROM: a@b.example\r\n\r\nx\r\n", {}, 1);
    ASSERT_TRUE(made->message);
    const std::string message = Render(*made, "");
    EXPECT_NE(message.find("\r\n" + row.field), std::string::npos) << row.line << "\n" << message;
  }
}

TEST(TemplateTest, BadMessageFilesAreRefusedWithTheReason) {
  const struct {
    std::string bytes, reason;
  } rows[] = {
      {"", "FROM:"},
      {"TO: \r\nSubject: x\r\n\r\nx", "FROM:"},
      {"TO: \r\nFROM: nobody\r\n\r\nx", "FROM:"},
      {"TO: \r\nFROM: \"x\"<a b@c.example>\r\n\r\nx", "FROM:"},
      {"TO: \r\nFROM: a@b.example>\r\n\r\nx", "FROM:"},
      {"TO: \r\nFROM: a@b.example\r\nREPLY-TO: who\r\n\r\nx", "REPLY-TO:"},
      {"TO: \r\nFROM: a@b.example\r\nContent-Type: multipart/mixed\r\n\r\nx", "boundary"},
      {"TO: \r\nFROM: a@b.example\r\nContent-Type: x/y\r\nContent-Transfer-Encoding: "
       "rot13\r\n\r\nx",
       "rot13"},
  };
  for (const auto& row : rows) {
    CountingRandomness randomness;
    const auto prepared = Template::Prepare(row.bytes, {}, kClock, randomness);
    ASSERT_FALSE(prepared.ok()) << row.bytes;
    EXPECT_EQ(prepared.status().code(), Code::kBadInput);
    EXPECT_NE(prepared.status().text().find(row.reason), std::string::npos)
        << prepared.status().text();
  }
}

constexpr std::string_view kAlternative =
    "TO: \r\nFROM: \"Club\"<club@example.org>\r\n"
    "Subject: For #V, yours\r\n"
    "Content-Type: multipart/alternative; boundary=b\r\n\r\n"
    "--b\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n[#V]\r\n.\r\nend #V\r\n"
    "--b\r\nContent-Type: text/html; charset=utf-8\r\n\r\n"
    "<a title='#V' id=#V name=x#V>#V</a>\r\n--b--\r\n";

std::string Unescaped(std::string text) {
  for (const auto& [from, to] : {std::pair<std::string_view, std::string_view>{"&lt;", "<"},
                                 {"&gt;", ">"},
                                 {"&quot;", "\""},
                                 {"&#39;", "'"},
                                 {"&amp;", "&"}}) {
    text = ModText::ReplaceAll(text, from, to);
  }
  return text;
}

// Whatever a list holds, it arrives as text and as nothing else.
TEST(TemplateTest, HostileValues) {
  const auto made = Prepare(kAlternative, "mail,V");
  ASSERT_TRUE(made->message);
  const struct {
    std::string value, body, header;
  } rows[] = {
      {"<script>alert(1)</script>", {}, {}},
      {"a & b = \"c\" 'd'", {}, {}},
      {"=3D=\t=20", {}, "=3D= =20"},
      {"=?utf-8?Q?x?=", {}, {}},
      {".", {}, {}},
      {"--b--", {}, {}},
      {"\xF0\x9F\x98\x80 \xE2\x82\xAC", {}, {}},
      {std::string(5000, 'x'), {}, {}},
      {std::string(300, ' ') + "x", "x", "x"},
      {"a\r\nBcc: evil@example.com\r\n\r\nowned", "a\r\nBcc: evil@example.com\r\n\r\nowned",
       "a Bcc: evil@example.com owned"},
      {"a\rb\nc", "a\r\nb\r\nc", "a b c"},
      {std::string("nul\0del\x7F"
                   "bell\a!",
                   14),
       "nuldelbell!", "nul del bell !"},
      {"\xFF\xFE latin", "\xC3\xBF\xC3\xBE latin", "\xC3\xBF\xC3\xBE latin"},
      {"", "", ""},
  };
  for (const auto& row : rows) {
    const std::string body = row.body.empty() ? row.value : row.body;
    const std::string header = row.header.empty() ? row.value : row.header;
    const std::string message = Render(*made, "a@b.example," + row.value);
    SCOPED_TRACE(row.value.substr(0, 40));
    ExpectFitForTheWire(message);
    const MimePart root = Parse(message);
    EXPECT_EQ(root.headers.size(), 7u);
    EXPECT_EQ(SubjectOf(root), "For " + header + ", yours");
    ASSERT_EQ(root.children.size(), 2u);
    EXPECT_EQ(TextOf(root.children[0]), "[" + body + "]\r\n.\r\nend " + body);
    const std::string html = TextOf(root.children[1]);
    const std::size_t id = html.find("' id="), text = html.find('>', id);
    ASSERT_TRUE(id != std::string::npos && text != std::string::npos);
    EXPECT_EQ(Unescaped(html.substr(0, id)), "<a title='" + body);
    EXPECT_EQ(Unescaped(html.substr(text)), ">" + body + "</a>");
    // An unquoted attribute ends at none of these; one that is all value gets its quotes.
    const std::string unquoted = html.substr(id + 5, text - id - 5);
    const std::size_t whole = unquoted.find(" name=");
    ASSERT_NE(whole, std::string::npos) << unquoted;
    EXPECT_EQ(Unescaped(unquoted.substr(0, whole)), '"' + body + '"');
    EXPECT_EQ(unquoted.find_first_of(" \t\r\n\"'=<>`", whole + 6), std::string::npos) << unquoted;
  }
}

TEST(TemplateTest, AttachmentsArriveByteForByte) {
  std::string bytes;
  for (int i = 0; i < 70'000; ++i) bytes += static_cast<char>(i * 7 + i / 251);
  std::string encoded;
  ModBase64::AppendLines(encoded, bytes);
  const std::string ascii = "#V,1\r\n" + std::string(990, 'c') + "\r\n.\r\n";
  const std::string beyond = std::string("#V \xE4 caf\xE9\r\n") + std::string(2000, 'z');
  const auto part = [](std::string_view head, std::string_view body) {
    return "--b\r\n" + std::string(head) + "\r\n\r\n" + std::string(body) + "\r\n";
  };
  const auto made = Prepare(
      "TO: \r\nFROM: a@b.example\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n" +
          part("Content-Type: application/pdf\r\nContent-Transfer-Encoding: base64", encoded) +
          part("Content-Type: text/csv\r\nContent-Disposition: attachment", ascii) +
          part("Content-Type: text/plain\r\nContent-Disposition: attachment\r\n"
               "Content-Transfer-Encoding: 8bit",
               beyond) +
          part("Content-Type: message/rfc822", "Subject: #V\r\n\r\n#V") + "--b--\r\n",
      "mail,V");
  ASSERT_TRUE(made->message);
  const std::string message = Render(*made, "a@b.example,replaced");
  ExpectFitForTheWire(message);
  const MimePart root = Parse(message);
  ASSERT_EQ(root.children.size(), 4u);
  const std::string wanted[] = {bytes, ascii, beyond, "Subject: #V\r\n\r\n#V"};
  for (std::size_t i = 0; i < 4; ++i) {
    Result<std::string> got = DecodedBytes(root.children[i]);
    ASSERT_TRUE(got.ok());
    EXPECT_TRUE(got.value() == wanted[i]) << i;
  }
}

TEST(TemplateTest, AMessageInAMessageIsNotEncoded) {
  const std::string inner = "Subject: x\r\n\r\ncaf\xC3\xA9";
  const auto made = Prepare(
      "TO: \r\nFROM: a@b.example\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n"
      "--b\r\nContent-Type: message/rfc822\r\n\r\n" +
          inner + "\r\n--b--\r\n",
      "mail");
  ASSERT_TRUE(made->message);
  const std::string message = Render(*made, "a@b.example");  // which the parts point into
  const MimePart root = Parse(message);
  ASSERT_EQ(root.children.size(), 1u);
  EXPECT_EQ(root.children[0].encoding, "8bit");
  EXPECT_EQ(root.encoding, "8bit") << "so is what it stands in";
  EXPECT_EQ(DecodedBytes(root.children[0]).value(), inner);
}

TEST(TemplateTest, WordsInHtmlButNotInItsStyle) {
  const auto made = Prepare(
      "TO: \r\nFROM: a@b.example\r\nContent-Type: text/html; charset=utf-8\r\n\r\n"
      "<STYLE>a{color:#FED}</STYLE><style>#FED{}</style><script>'#FED'</script>"
      "<body text=#FED link='#FED' bgcolor=\"#FED\"><font color=#FED style='x:#FED' face='#FED'>"
      "<!--[if mso]><td bordercolor='#FED'>#FED<![endif]-->"
      "&#FED; #FED; a#FED##FED #FED\xC3\xA9 #FED\xE2\x80\x94 #R&amp;D #FED<b>x</b> <i "
      "fill='#FED'\r\n",
      "FED,R&D");
  ASSERT_TRUE(made->message);
  EXPECT_EQ(TextOf(Parse(Render(*made, "<1>,2&"))),
            "<STYLE>a{color:#FED}</STYLE><style>#FED{}</style><script>'#FED'</script>"
            "<body text=#FED link='#FED' bgcolor=\"#FED\"><font color=#FED style='x:#FED' "
            "face='&lt;1&gt;'>"
            "<!--[if mso]><td bordercolor='#FED'>&lt;1&gt;<![endif]-->"
            "&#FED; &lt;1&gt;; a&lt;1&gt;#&lt;1&gt; #FED\xC3\xA9 &lt;1&gt;\xE2\x80\x94 2&amp; "
            "&lt;1&gt;<b>x</b> <i fill='#FED'\r\n");
}

TEST(TemplateTest, TheLongestNameWinsAndShortRowsGiveNothing) {
  const auto made = Prepare(
      "TO: \r\nFROM: a@b.example\r\nSubject: s\r\n\r\n#A #AB #AB_C #ABC #A_ #A-B #a #A1 #A. "
      "##A\r\n",
      "A,AB,AB_C,A-B");
  ASSERT_TRUE(made->message);
  EXPECT_EQ(TextOf(Parse(Render(*made, "1,\"2\",\"\"3\"\""))),
            "1 2 \"3\" #ABC #A_  #a #A1 1. #1\r\n");
  EXPECT_EQ(TextOf(Parse(Render(*made, ""))), "   #ABC #A_  #a #A1 . #\r\n");
}

// The prepared pieces give what substitution in the plain text and a fresh encoding would.
TEST(TemplateTest, RendersWhatTheSlowWayWould) {
  std::mt19937 random(20'231);
  const auto pick = [&random](std::size_t n) { return static_cast<std::size_t>(random() % n); };
  const std::string_view bits[] = {"word ",
                                   "#V",
                                   "#W",
                                   "\r\n",
                                   "=",
                                   ". ",
                                   " ",
                                   "\t",
                                   "\xC3\xA9",
                                   "From ",
                                   "longlonglonglong",
                                   "\xF0\x9F\x98\x80",
                                   ".",
                                   "x"};
  for (int round = 0; round < 400; ++round) {
    const bool cyrillic = round % 4 == 0;  // goes out as Base64
    std::string text;
    for (std::size_t i = pick(120); i-- > 0;) {
      text += cyrillic && pick(2) == 0 ? "\xD0\xB6\xD0\xB6" : bits[pick(std::size(bits))];
    }
    std::string v, w;
    for (std::size_t i = pick(60); i-- > 0;) v += bits[pick(3) == 0 ? 8 : 10];
    for (std::size_t i = pick(90); i-- > 0;) w += static_cast<char>('!' + pick(90));
    std::erase(w, ',');
    if (w.size() >= 2 && w.front() == '"' && w.back() == '"') w += 'x';
    const auto made = Prepare(
        "TO: \r\nFROM: a@b.example\r\nSubject: #W\r\n"
        "Content-Type: text/plain; charset=utf-8\r\n"
        "Content-Transfer-Encoding: base64\r\n\r\n" +
            ModBase64::Encode(text),
        "V,W");
    ASSERT_TRUE(made->message);
    const std::string message = Render(*made, v + "," + w);
    ExpectFitForTheWire(message);
    std::string wanted = text;
    // One value may hold the other's word; what was put in is not looked at again.
    const MergeText split = MergeWords({{0, "V"}, {1, "W"}}).SplitPlain(text);
    if (!split.slots.empty()) {
      wanted = split.statics[0];
      for (std::size_t i = 0; i < split.slots.size(); ++i) {
        wanted += (split.slots[i].column == 0 ? v : w) + split.statics[i + 1];
      }
    }
    const MimePart root = Parse(message);
    std::string got = TextOf(root);
    if (got == wanted + "\r\n") got = wanted;  // the message's own last line end
    ASSERT_EQ(got, wanted) << message;
    ASSERT_EQ(SubjectOf(root), w.empty() ? "" : w);
    std::string_view body = root.body, line;
    while (NextLine(body, line)) ASSERT_LE(line.size(), 76u) << message;
  }
}

}  // namespace
}  // namespace vespro::engine
