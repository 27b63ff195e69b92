// terminal/composed_item.h - a mail composed from files: what a compose window would hold.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "base/random.h"
#include "base/status.h"
#include "host/mail_client.h"

namespace vespro {

// What the command line was given. Paths as the user wrote them; empty where nothing was said.
struct ComposeRequest {
  std::string subject = {};
  bool has_subject = false;
  std::filesystem::path text_file = {};
  std::filesystem::path html_file = {};
  std::vector<std::filesystem::path> attach = {};  // ordinary attachments
  std::vector<std::filesystem::path> embed =
      {};                                // pictures, referenced as "cid:" and the file's name
  bool make_text = false;                // of the HTML, where there is no plain text
  std::filesystem::path eml_file = {};   // a whole message instead of the bodies
  std::vector<std::string> fields = {};  // further header fields, "Name: value", UTF-8
};

class ComposedItem final : public MailItem {
 public:
  // Reads the bodies, checks that every file can be read, and stages what the attachment list can't
  // name (a path with a comma, an attachment inside a message) in a private folder that is gone
  // with the object. Fails with the name of the first file that can't be used.
  static Result<std::unique_ptr<ComposedItem>> Compose(const ComposeRequest& request,
                                                       Randomness& randomness);
  ~ComposedItem() override;

  EditorType editor() const { return html_.empty() ? EditorType::kPlainText : EditorType::kHtml; }
  // As a compose window keeps it: "," and a full path for each file.
  const std::string& attachment_list() const { return attachment_list_; }
  // What the user should know though it stops nothing, such as an attachment's changed name.
  const std::vector<std::string>& remarks() const { return remarks_; }

  std::string Subject() const override { return subject_; }
  std::string Body() const override { return text_; }
  std::string HtmlBody() const override { return html_; }
  std::string AuthorFields() const override { return fields_; }
  // The command line keeps no sent copy: these succeed and do nothing.
  Status SetTo(std::string_view) override { return {}; }
  Status SetSentOnBehalfOfName(std::string_view) override { return {}; }
  Status CloseAndSave() override { return {}; }
  Status MoveToSentFolder() override { return {}; }

  std::size_t AttachmentCount() const override { return embedded_.size(); }
  std::string AttachmentFileName(std::size_t index) const override { return embedded_[index].name; }
  Status SaveAttachment(std::size_t index, const std::filesystem::path& path) override;

 private:
  struct Embedded {
    std::string name;
    std::filesystem::path source;
  };
  class EmlReader;

  explicit ComposedItem(Randomness& randomness) : randomness_(randomness) {}
  Status ReadBodies(const ComposeRequest& request);
  Status Attach(const std::filesystem::path& file);
  Status Embed(const std::filesystem::path& file);
  // A path for a new file of this name in the staging folder; the name loses what no path of the
  // attachment list may hold.
  Result<std::filesystem::path> Stage(std::string name);
  void AddToList(const std::filesystem::path& path);

  Randomness& randomness_;
  std::string subject_, text_, html_;
  std::string fields_;  // whole ones, with their CR LF
  std::vector<Embedded> embedded_;
  std::string attachment_list_;
  std::vector<std::string> remarks_;
  std::filesystem::path staging_;
  int staged_ = 0;
};

}  // namespace vespro
