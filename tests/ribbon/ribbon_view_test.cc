#include "ribbon/ribbon_view.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "addin/my_addin.h"
#include "base/text.h"

namespace vespro {
namespace {

bool HasAll(const std::string&) { return true; }

std::string Described(const char* content) {
  return std::string(
             "<customUI xmlns=\"http://schemas.microsoft.com/office/2009/07/customui\" "
             "onLoad=\"Load\"><ribbon><tabs><tab idMso=\"TabMail\">"
             "<group id=\"G\" label=\"Group\" getVisible=\"Visible\">") +
         content + "</group></tab></tabs></ribbon></customUI>";
}

TEST(MarkupTest, WhatHasAFaultIsRefused) {
  EXPECT_TRUE(
      ParseRibbon(Described("<button id='A' label=\"a &lt;&amp;&#10;\"/>"), "TabMail", HasAll)
          .ok());
  const std::pair<const char*, std::string> rows[] = {
      {"empty", ""},
      {"text", "nothing"},
      {"cut", Described("<button id=\"A\"/>").substr(0, 200)},
      {"not closed", Described("<menu id=\"M\">")},
      {"not nested", Described("<menu id=\"M\"></group>")},
      {"text inside", Described("hello")},
      {"not quoted", Described("<button id=A/>")},
      {"not parted", Described("<button id=\"A\"label=\"a\"/>")},
      {"a bare &", Described("<button id=\"A\" label=\"View & Refresh\"/>")},
      {"a bare <", Described("<button id=\"A\" label=\"<\"/>")},
      {"an attribute twice", Described("<button id=\"A\" id=\"B\"/>")},
      {"more after it", Described("") + "<customUI/>"},
      {"no id", Described("<button label=\"a\"/>")},
      {"an id twice", Described("<button id=\"A\"/><button id=\"A\"/>")},
      {"the group's id", Described("<button id=\"G\"/>")},
      {"an unknown element", Described("<knob id=\"A\"/>")},
      {"a box in a menu", Described("<menu id=\"M\"><comboBox id=\"A\"/></menu>")},
      {"a size in a menu", Described("<menu id=\"M\"><button id=\"A\" size=\"large\"/></menu>")},
      {"an unknown attribute", Described("<button id=\"A\" colour=\"red\"/>")},
      {"no such size", Described("<button id=\"A\" size=\"huge\"/>")},
      {"an empty label", Described("<button id=\"A\" label=\"\"/>")},
      {"a long label",
       Described(("<button id=\"A\" label=\"" + std::string(1025, 'x') + "\"/>").c_str())},
      {"another language", ModText::ReplaceAll(Described(""), "2009/07", "2006/01")},
      {"another window's tab", ModText::ReplaceAll(Described(""), "TabMail", "TabCalendar")},
  };
  for (const auto& [why, xml] : rows) {
    EXPECT_EQ(ParseRibbon(xml, "TabMail", HasAll).status().code(), Code::kBadInput) << why;
  }
  const auto lacks = [](const std::string& name) { return name != "Visible"; };
  EXPECT_FALSE(ParseRibbon(Described(""), "TabMail", lacks).ok());
}

TEST(RibbonViewTest, AsksOnceUntilItIsInvalidated) {
  const auto markup = std::make_shared<const RibbonNode>(
      ParseRibbon(Described("<button id=\"A\" label=\"&amp;One &amp;&amp; two\" onAction=\"Do\"/>"
                            "<comboBox id=\"B\" label=\"Box\" getItemCount=\"Count\" "
                            "getItemLabel=\"Label\" getText=\"Text\" onChange=\"Change\"/>"),
                  "TabMail", HasAll)
          .value());
  std::vector<std::string> asked;
  bool visible = true;
  RibbonView view(markup,
                  [&](const std::string& name, const std::string& id,
                      const std::vector<RibbonAnswer>& more) -> Result<RibbonAnswer> {
                    asked.push_back(name + " " + id + (more.empty() ? "" : "+"));
                    if (name == "Visible") return RibbonAnswer(visible);
                    if (name == "Count") return RibbonAnswer(1);
                    if (name == "Label") return RibbonAnswer(std::string("entry"));
                    if (name == "Text") return RibbonAnswer(std::string());
                    return RibbonAnswer();
                  });
  const auto taken = [&] { return std::exchange(asked, {}); };
  using Lines = std::vector<std::string>;
  EXPECT_EQ(taken(), (Lines{"Visible G", "Text B", "Count B", "Label B+"}));
  EXPECT_EQ(view.Looks().front().path, "Group / One & two");
  EXPECT_TRUE(view.Click("One & two").ok());
  EXPECT_EQ(view.Click("One").code(), Code::kNotFound);
  EXPECT_TRUE(view.Choose("entry").ok());
  EXPECT_TRUE(view.Choose("entry").ok()) << "it is there already";
  EXPECT_EQ(taken(), (Lines{"Do A", "Change B+"}));
  view.InvalidateControl("B");
  EXPECT_TRUE(view.Choose("entry").ok());
  EXPECT_EQ(taken(), (Lines{"Count B", "Label B+", "Text B", "Change B+"}));
  visible = false;
  EXPECT_TRUE(view.Click("One & two").ok()) << "as far as it knows";
  view.Invalidate();
  EXPECT_EQ(view.Click("One & two").code(), Code::kNotFound);
  EXPECT_TRUE(view.Looks().empty());
}

// Our own, by the words that people know from the menu and the bar.
TEST(RibbonXmlTest, HasTheCommandsOfMenuAndBar) {
  const auto labels = [&](RibbonKind kind, const char* tab) {
    Result<RibbonNode> markup = ParseRibbon(RibbonXml(kind, MyAddIn::Commands()), tab, HasAll);
    EXPECT_TRUE(markup.ok()) << markup.status().text();
    if (!markup.ok()) return std::vector<std::string>();
    RibbonView view(std::make_shared<const RibbonNode>(std::move(markup).value()),
                    [](const std::string& name, const std::string& id,
                       const std::vector<RibbonAnswer>&) -> Result<RibbonAnswer> {
                      if (name == ribbon_callback::kGetImage)
                        return RibbonAnswer("picture of " + id);
                      return RibbonAnswer(true);
                    });
    std::vector<std::string> lines;
    for (const RibbonControlLook& look : view.Looks()) {
      lines.push_back(look.path + (look.picture.empty() ? "" : ", " + look.picture) +
                      (look.labelled ? "" : ", no label") +
                      (look.tooltip.empty() ? "" : ", '" + look.tooltip + "'"));
    }
    return lines;
  };
  EXPECT_EQ(labels(RibbonKind::kMainWindow, "TabMail"),
            (std::vector<std::string>{
                "Vespro / Vespro, picture of VesproMenu",
                "Vespro / Vespro / Distribution File",
                "Vespro / Vespro / Options ...",
                "Vespro / Vespro / Delivery Reports",
                "Vespro / Vespro / Delivery Reports / View & Refresh",
                "Vespro / Vespro / Delivery Reports / Purge All",
                "Vespro / Vespro / Delivery Reports / Entries per report page",
                "Vespro / Vespro / Help File",
                "Vespro / Vespro / Tech Support ...",
                "Vespro / Vespro / About",
            }));
  EXPECT_EQ(
      labels(RibbonKind::kComposeWindow, "TabNewMailMessage"),
      (std::vector<std::string>{
          "Vespro / Vespro, picture of VesproMenu",
          "Vespro / Vespro / Distribution File",
          "Vespro / Vespro / Insert Attachment, picture of CmdAttachFile, 'HTML mail can attach "
          "file here\r\nThe usual Outlook Insert File will not work'",
          "Vespro / Vespro / Options ...",
          "Vespro / Vespro / Help File",
          "Vespro / Vespro / Tech Support ...",
          "Vespro / Vespro / About",
          "Vespro / Vespro Attach, picture of CmdPaperClip, no label, 'Vespro attachments for "
          "HTML email'",
          "Vespro / Send Vespro, picture of CmdSend",
          "Vespro / MailMerge with Vespro",
      }));
}

}  // namespace
}  // namespace vespro
