// Writes one message with one attachment, as the add-in does for a job, and ends: bench/message
// times the whole program.
//
//   bench_message ATTACHMENT MESSAGE-FILE
#include <cstdio>
#include <string>

#include "base/files.h"
#include "mime/writer.h"

namespace vespro {
namespace {

Status WriteMessage(const std::filesystem::path& attachment, const std::filesystem::path& to) {
  Composition mail;
  mail.subject = "A large attachment";
  mail.text = "See the attached file.\r\n";
  mail.attachments = {{attachment, "attachment.bin", "", ""}};
  Result<File> file = File::Open(to, File::Mode::kReplace);
  if (!file.ok()) return file.status();
  BufferedWriter writer(file.value());
  SystemRandomness randomness;
  if (Status status = WriteMime(mail, randomness, writer); !status.ok()) return status;
  if (Status status = writer.Flush(); !status.ok()) return status;
  return file->Close();
}

}  // namespace
}  // namespace vespro

int main(int count, char** arguments) {
  if (count != 3) {
    std::fprintf(stderr, "usage: bench_message ATTACHMENT MESSAGE-FILE\n");
    return 2;
  }
  vespro::Status status = vespro::WriteMessage(vespro::ModFiles::FromUtf8(arguments[1]),
                                               vespro::ModFiles::FromUtf8(arguments[2]));
  if (status.ok()) return 0;
  std::fprintf(stderr, "%s\n", status.text().c_str());
  return 1;
}
