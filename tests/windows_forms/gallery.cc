#include "windows_forms/gallery.h"

namespace vespro {

frmGallery::frmGallery(int page) : Form("frmGallery", "Gallery - Ünïcödé Łódź"), first_page_(page) {
  LabelHelp.set_caption(
      "A text of several lines is broken where its columns end, and keeps its own line "
      "breaks.\r\nTom && Jerry.");
  LabelHelp.set_size(60);
  TextName.set_text("Żółta łódź");
  TextName.set_tooltip("A tooltip");
  TextPassword.set_text("secret");
  TextOff.set_text("silver");
  TextOff.set_enabled(false);
  TextOff.set_background(Background::kSilver);
  CheckLog.set_checked(true);
  CheckOff.set_enabled(false);
  CmdOff.set_enabled(false);
  TextNote.set_size(24, 3);
  TextNote.set_text("First line\nSecond line");
  TextTerms.set_size(24, 3);
  TextTerms.set_text("This can be read and copied, not changed.");
  ListFiles.set_size(0, 6);
  ListWords.set_size(16, 4);
  set_default(CmdOk);
  set_cancel(CmdClose);
  TabPages.OnClick([this] { ShowPage(); });
  CmdOk.OnClick([this] { Unload(); });
  CmdClose.OnClick([this] { Unload(); });
}

Layout frmGallery::Arrange() {
  const Layout people = Rows({Columns({ImageServer, Fill(LabelHelp)}),
                              Grid(4, {LabelName, Fill(TextName), LabelPassword, Fill(TextPassword),
                                       LabelAccount, Fill(ComboAccount), LabelOff, Fill(TextOff)}),
                              Columns({Fill(Inside(FrameMode, Rows({OptionOne, OptionTwo}))),
                                       Fill(Rows({CheckLog, CheckOff}))}),
                              Columns({Fill(TextNote), Fill(TextTerms)})});
  const Layout files = Rows({ListFiles, Columns({ListWords, ImageTip, ImageConnection, ImageInfo,
                                                 ImageInbox, ImageClip, ImageVespro})});
  return Rows({Inside(TabPages, Pages({Inside(FramePeople, people), Inside(FrameFiles, files)})),
               Columns({LabelWeb, Space(), CmdOk, CmdMore, CmdOff, CmdClose})});
}

void frmGallery::Form_Load() {
  TabPages.AddTab("People");
  TabPages.AddTab("Files");
  TabPages.Select(first_page_);
  ShowPage();
  OptionOne.Choose();
  ComboAccount.AddItem("smtp.example.org");
  ComboAccount.AddItem("mail.example.net");
  for (const char* name : {"letter.txt", "picture.png", "people.csv", "manual.pdf"}) {
    ListFiles.AddRow({name,
                      {"12 KB", "C:\\Lists"},
                      name,
                      std::string("All of ") + name,
                      {Icon::Kind::kFileType, name}});
  }
  ListFiles.Select(1);
  for (const char* word : {"#NAME", "#CITY", "a word that is longer than the list is wide"}) {
    ListWords.AddItem(word);
  }
}

void frmGallery::ShowPage() {
  FramePeople.set_visible(TabPages.selected() == 0);
  FrameFiles.set_visible(TabPages.selected() == 1);
}

}  // namespace vespro
