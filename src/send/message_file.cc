#include "send/message_file.h"

#include "base/code_page.h"
#include "base/files.h"
#include "base/text.h"
#include "host/tell_user.h"
#include "merge/custom_words.h"
#include "send/body_export.h"

namespace vespro::ModSend {
namespace {

constexpr char kAskSender[] =
    "Enter your email address given by your ISP.\r\n"
    "This setting will be saved in Sender Info section of Vespro Options.";
constexpr char kAskSenderTitle[] = " - Sender's Email Address Required";
constexpr char kSenderRequired[] =
    "Sender's email address is required.\r\n"
    "This setting is configurable from Sender Info section within Vespro Options menu";

// The stored address, or the one that the user gives now; empty when there is none.
std::string SenderEmail(SendContext& context) {
  std::string address = context.settings.Read(setting::kSenderEmail);
  if (!address.empty()) return address;
  address = ModText::Trim(
      context.desktop().InputBox(kAskSender, std::string(kModuleName) + kAskSenderTitle, ""));
  if (address.empty()) {
    TellUser(context.desktop(), kSenderRequired, MessageIcon::kExclamation);
    return address;
  }
  // A failed write only means that the question comes again next time.
  context.settings.Write(setting::kSenderEmail, address).Ignore();
  return address;
}

// Counts what passes through.
class CountingSink final : public ByteSink {
 public:
  explicit CountingSink(ByteSink& next) : next_(next) {}
  Status Write(std::string_view bytes) override {
    count += bytes.size();
    return next_.Write(bytes);
  }
  std::uint64_t count = 0;

 private:
  ByteSink& next_;
};

std::string HeaderLines(SendContext& context, std::string_view sender, std::int16_t bcc_mode) {
  std::string to = bcc_mode < 1 ? "" : context.settings.Read(setting::kCommonToField);
  const std::string reply_to = context.settings.Read(setting::kReplyEmail);
  std::string lines = "TO: " + OneLine(to) + "\r\nFROM: " + OneLine(sender) + "\r\n";
  if (!reply_to.empty()) lines += "REPLY-TO: " + OneLine(reply_to) + "\r\n";
  return ModCodePage::FromUtf8(lines);
}

// The user's own merge words, beside the message.
Status SaveWords(SendContext& context, const std::string& session_folder) {
  std::vector<std::string> words;
  for (const std::string_view name :
       {setting::kCustomWord1, setting::kCustomWord2, setting::kCustomWord3}) {
    words.push_back(context.settings.Read(name));
  }
  return ModMailMerge::SaveCustomWords(ModFiles::FromUtf8(session_folder), words);
}

}  // namespace

std::string OneLine(std::string_view value) {
  std::string line(value);
  for (char& c : line) {
    if (c == '\r' || c == '\n' || c == '\0') c = ' ';
  }
  return line;
}

Result<std::string> CreateEmlFile(SendContext& context, const std::string& session_folder,
                                  std::int16_t bcc_mode) {
  context.desktop().DoEvents();
  const std::string path = session_folder + "/" + kModuleName + ".eml";
  const std::string name = context.settings.Read(setting::kSenderName);
  const std::string address = SenderEmail(context);
  if (address.empty()) return std::string();
  const std::string sender = name.empty() ? address : "\"" + name + "\"<" + address + ">";

  if (const auto inspector = context.window.inspector) {
    if (const auto item = inspector->CurrentItem()) {
      // Not the form of the FROM line: the mail client wants it like this.
      item->SetSentOnBehalfOfName("\"" + name + "\"" + address).Ignore();  // only for the sent copy
    }
  }

  Result<File> file = File::Open(ModFiles::FromUtf8(path), File::Mode::kReplace, Access::kPrivate);
  if (!file.ok()) return file.status();
  BufferedWriter writer(file.value());
  if (Status s = writer.Write(HeaderLines(context, sender, bcc_mode)); !s.ok()) return s;
  CountingSink body(writer);
  const std::string outbox = session_folder + "/outbox";
  if (Status s = ModBodyExport::Export(context, ModFiles::FromUtf8(outbox), body); !s.ok()) {
    return s;
  }
  if (body.count > 0) {
    if (Status s = writer.Write("\r\n"); !s.ok()) return s;
  }
  if (Status s = writer.Flush(); !s.ok()) return s;
  if (Status s = file->Close(); !s.ok()) return s;
  if (bcc_mode < 1) {
    if (Status s = SaveWords(context, session_folder); !s.ok()) return s;
  }
  return body.count > 0 ? path : std::string();
}

}  // namespace vespro::ModSend
