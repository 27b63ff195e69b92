#include "base/files.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <system_error>
#include <utility>

#include "base/files_platform.h"
#include "base/text.h"

namespace vespro {
namespace fs = std::filesystem;
namespace platform = ModFiles::platform;

namespace {
constexpr std::size_t kBufferBytes = 256 * 1024;
constexpr std::size_t kMaxNameBytes = 200;  // file systems take 255
}  // namespace

File::File(File&& other) noexcept : handle_(other.handle_), path_(std::move(other.path_)) {
  other.handle_ = platform::kClosed;
}

File& File::operator=(File&& other) noexcept {
  std::swap(handle_, other.handle_);
  std::swap(path_, other.path_);
  return *this;
}

Status BufferedWriter::Write(std::string_view bytes) {
  if (buffer_.size() + bytes.size() > kBufferBytes) {
    if (Status flushed = Flush(); !flushed.ok()) return flushed;
    if (bytes.size() >= kBufferBytes) return file_.Write(bytes);
  }
  buffer_.append(bytes);
  return {};
}

Status BufferedWriter::Flush() {
  if (buffer_.empty()) return {};
  Status written = file_.Write(buffer_);
  buffer_.clear();
  return written;
}

struct AtomicFile::State {
  State(File opened, fs::path to, fs::path temporary)
      : file(std::move(opened)),
        writer(file),
        target(std::move(to)),
        temporary_path(std::move(temporary)) {}
  File file;
  BufferedWriter writer;
  fs::path target;
  fs::path temporary_path;
  bool committed = false;
};

AtomicFile::AtomicFile(std::unique_ptr<State> state) : state_(std::move(state)) {}
AtomicFile::AtomicFile(AtomicFile&&) noexcept = default;

Result<AtomicFile> AtomicFile::Create(const fs::path& path, Access access) {
  std::error_code error;
  fs::path target = path;
  if (fs::is_symlink(path, error)) {
    if (fs::path real = fs::weakly_canonical(path, error); !error) target = real;
  }
  if (fs::is_directory(target, error)) {
    return Status(Code::kCannotWrite,
                  "cannot write '" + ModFiles::ToUtf8(path) + "': it is a folder");
  }
  // What is protected stays, even where its folder lets another file take its place.
  const bool is_new = !fs::is_regular_file(target, error);
  if (!is_new) {
    Result<File> writable = File::Open(target, File::Mode::kAppend);
    if (!writable.ok()) return writable.status();
  }
  SystemRandomness randomness;
  std::array<char, 32> suffix;
  std::snprintf(suffix.data(), suffix.size(), ".tmp-%016llx",
                static_cast<unsigned long long>(randomness.Next()));
  // Beside the target and called like it, as far as a name may be long.
  fs::path::string_type name = target.filename().native();
  name.resize(std::min(name.size(), kMaxNameBytes));
  fs::path temporary = target.parent_path() / name;
  temporary += suffix.data();
  // Nobody else reads it before it has the old one's permissions.
  Result<File> file =
      File::Open(temporary, File::Mode::kCreateNew, is_new ? access : Access::kPrivate);
  if (!file.ok()) {
    return platform::Failure(Code::kCannotWrite, "cannot write", path, file.status().native());
  }
  if (!is_new) platform::CopyPermissions(target, temporary);
  return AtomicFile(
      std::make_unique<State>(std::move(file).value(), std::move(target), std::move(temporary)));
}

AtomicFile::~AtomicFile() {
  if (!state_ || state_->committed) return;
  // Closed first: Windows does not delete an open file.
  state_->file.Close().Ignore();  // the bytes are not wanted any more
  std::error_code error;
  fs::remove(state_->temporary_path, error);
}

Status AtomicFile::Named(const Status& failure) const {
  return platform::Failure(failure.code(), "cannot write", state_->target, failure.native());
}

Status AtomicFile::Write(std::string_view bytes) {
  const Status written = state_->writer.Write(bytes);
  return written.ok() ? written : Named(written);
}

Status AtomicFile::Commit(const std::function<Status()>& check) {
  if (Status status = state_->writer.Flush(); !status.ok()) return Named(status);
  if (Status status = state_->file.Sync(); !status.ok()) return Named(status);
  if (Status status = state_->file.Close(); !status.ok()) return Named(status);
  if (Status status = check ? check() : Status(); !status.ok()) return status;
  Status replaced = platform::ReplaceByRename(state_->temporary_path, state_->target);
  if (!replaced.ok()) return replaced;
  state_->committed = true;
  // The new file is there, whatever a power cut leaves.
  ModFiles::SyncFolder(state_->target.parent_path()).Ignore();
  return {};
}

namespace ModFiles {

std::string LastName(std::string_view name) {
  const std::size_t slash = name.find_last_of("/\\");
  if (slash != std::string_view::npos) name.remove_prefix(slash + 1);
  std::string last(name);
  std::erase_if(last, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; });
  return last.find_first_not_of(". ") == std::string::npos ? std::string() : last;
}

std::string SafeName(std::string_view name) {
  std::string safe = LastName(name).substr(0, kMaxNameBytes);
  for (char& c : safe) {
    if (std::string_view(":*?\"<>|").find(c) != std::string_view::npos) c = '_';
  }
  while (!ModText::IsUtf8(safe)) safe.pop_back();  // cut inside a character
  while (!safe.empty() && (safe.back() == '.' || safe.back() == ' ')) safe.pop_back();
  if (safe.empty()) return "attachment";
  const std::string stem = ModText::LowerAscii(safe.substr(0, safe.find('.')));
  const bool port = stem.size() == 4 && (stem.starts_with("com") || stem.starts_with("lpt")) &&
                    stem[3] >= '0' && stem[3] <= '9';
  const bool device = port || stem == "con" || stem == "nul" || stem == "aux" || stem == "prn";
  return device ? "_" + safe : safe;
}

fs::path FromUtf8(std::string_view path) {
  return fs::path(std::u8string(path.begin(), path.end()));
}

std::string ToUtf8(const fs::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

fs::path FullPath(const fs::path& path) {
  std::error_code error;
  fs::path full = fs::absolute(path, error);
  fs::path normal = full.lexically_normal();
  const bool elsewhere = fs::exists(full, error) && !fs::equivalent(full, normal, error);
  return elsewhere ? full : normal;
}

Result<std::string> ReadAll(const fs::path& path, std::uint64_t max_bytes) {
  Result<File> file = File::Open(path, File::Mode::kRead);
  if (!file.ok()) return file.status();
  Result<std::uint64_t> size = file->Size();
  if (!size.ok()) return size.status();
  if (size.value() > max_bytes) {
    return Status(Code::kBadInput, "'" + ToUtf8(path) + "' is too large (" +
                                       std::to_string(size.value()) + " bytes, at most " +
                                       std::to_string(max_bytes) + ")");
  }
  // One byte more than promised, so that the last read finds the end without growing the buffer.
  std::string bytes(static_cast<std::size_t>(size.value()) + 1, '\0');
  std::size_t filled = 0;
  for (;;) {
    if (filled == bytes.size()) bytes.resize(filled + filled / 2 + 1);
    Result<std::size_t> count = file->Read(bytes.data() + filled, bytes.size() - filled);
    if (!count.ok()) return count.status();
    if (count.value() == 0) break;
    filled += count.value();
    if (filled > max_bytes) {
      return Status(Code::kBadInput, "'" + ToUtf8(path) + "' grew while it was read");
    }
  }
  bytes.resize(filled);
  return bytes;
}

Status ReplaceWith(const fs::path& path, std::string_view bytes, Access access) {
  Result<AtomicFile> file = AtomicFile::Create(path, access);
  if (!file.ok()) return file.status();
  if (Status status = file->Write(bytes); !status.ok()) return status;
  return file->Commit();
}

std::vector<fs::path> PathsIn(const fs::path& folder, std::error_code* error) {
  std::error_code failed;
  std::vector<fs::path> paths;
  for (fs::directory_iterator entry(folder, failed), end; !failed && entry != end;
       entry.increment(failed)) {
    paths.push_back(entry->path());
  }
  if (error != nullptr) *error = failed;
  return paths;
}

bool IsFile(const fs::path& path) {
  std::error_code error;
  return fs::is_regular_file(path, error);
}

bool IsFolder(const fs::path& path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

bool EnsureFolder(const fs::path& path, Access access) {
  if (path.empty()) return false;
  if (!IsFolder(path)) platform::MakeFolder(path, access == Access::kPrivate);
  return IsFolder(path);
}

bool MakeNewFolder(const fs::path& path, Access access) {
  return platform::MakeFolder(path, access == Access::kPrivate);
}

Status MakeFolders(const fs::path& path, Access access) {
  if (IsFolder(path)) return {};
  if (path.has_parent_path() && path.parent_path() != path) {
    if (Status status = MakeFolders(path.parent_path(), access); !status.ok()) return status;
  }
  if (EnsureFolder(path, access)) return {};
  const std::uint32_t native = platform::LastError();
  std::error_code error;
  if (fs::exists(path, error)) {
    return Status(Code::kCannotWrite,
                  "cannot make the folder '" + ToUtf8(path) + "': a file of that name is there");
  }
  return platform::Failure(Code::kCannotWrite, "cannot make the folder", path, native);
}

Status Remove(const fs::path& path) {
  std::error_code error;
  fs::remove_all(path, error);
  if (!error) return {};
  return Status(Code::kCannotWrite, "cannot remove '" + ToUtf8(path) + "': " + error.message(),
                static_cast<std::uint32_t>(error.value()));
}

Status Rename(const fs::path& from, const fs::path& to) {
  return platform::ReplaceByRename(from, to);
}

Status platform::Failure(Code code, const std::string& what, const fs::path& path,
                         std::uint32_t native) {
  std::string text = what + " '" + ToUtf8(path) + "'";
  if (native != 0) text += ": " + platform::ErrorText(native);
  return Status(code, std::move(text), native);
}

}  // namespace ModFiles
}  // namespace vespro
