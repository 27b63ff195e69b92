// base/files.h - files and folders. Paths are std::filesystem::path inside, UTF-8 at the edges, and
// wide on Windows, so every name works. A failure's text names the file and the system's reason:
// kNotFound when something can't be read, kCannotWrite when it can't be written, kBadInput when it
// is there but is no file of bytes (a folder, a device). One thread per object.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "base/random.h"
#include "base/status.h"

namespace vespro {

// Where finished bytes go. Write either takes all of them or fails.
class ByteSink {
 public:
  virtual ~ByteSink() = default;
  virtual Status Write(std::string_view bytes) = 0;
};

class StringSink final : public ByteSink {
 public:
  Status Write(std::string_view bytes) override {
    text.append(bytes);
    return {};
  }
  std::string text;
};

// Who may read a new file: what the user's umask says, or the user alone (0600; on Windows the
// per-user folder's inherited list).
enum class Access { kShared, kPrivate };

// An open file of the system. Closed when destroyed.
class File {
 public:
  enum class Mode {
    kRead,       // regular files only
    kReplace,    // made, or emptied
    kCreateNew,  // fails when something of that name is there
    kAppend,     // made, or written to after its end
  };
  static Result<File> Open(const std::filesystem::path& path, Mode mode,
                           Access access = Access::kShared);
  // kAppend, locked against every other OpenLocked until it is closed; readers and other writers
  // are not hindered. kResumable while another holds it. Its name can still be removed or given to
  // another file, see IsInPlace; Windows refuses that.
  static Result<File> OpenLocked(const std::filesystem::path& path,
                                 Access access = Access::kShared);

  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File();

  // The number of bytes read; 0 at the end of the file.
  Result<std::size_t> Read(char* buffer, std::size_t size);
  // The same from `offset` on, which the next Read goes on from on some systems.
  Result<std::size_t> ReadAt(std::uint64_t offset, char* buffer, std::size_t size);
  Status Write(std::string_view bytes);
  // Waits until the bytes are on the disk.
  Status Sync();
  // Reports what a plain close would swallow. Nothing may be called afterwards.
  Status Close();
  Result<std::uint64_t> Size() const;
  // Whether it is still what its path leads to: another program may have replaced it.
  bool IsInPlace() const;

 private:
  File(std::intptr_t handle, std::filesystem::path path)
      : handle_(handle), path_(std::move(path)) {}
  std::intptr_t handle_;
  std::filesystem::path path_;
};

// A buffer in front of a File. Flush before the File is used or closed; the destructor does not.
class BufferedWriter final : public ByteSink {
 public:
  explicit BufferedWriter(File& file) : file_(file) {}
  Status Write(std::string_view bytes) override;
  Status Flush();

 private:
  File& file_;
  std::string buffer_;
};

// A file that is replaced whole or not at all: the bytes go to a temporary file in the same folder,
// which Commit flushes to the disk and renames. An existing file's permissions are kept, access
// lists included, a symbolic link is followed. A file that may not be written is refused. Without
// Commit nothing has happened and the temporary file is gone.
class AtomicFile final : public ByteSink {
 public:
  static Result<AtomicFile> Create(const std::filesystem::path& path,
                                   Access access = Access::kShared);
  AtomicFile(AtomicFile&&) noexcept;
  AtomicFile& operator=(AtomicFile&&) = delete;
  ~AtomicFile() override;

  Status Write(std::string_view bytes) override;
  // `check` is asked when all is on the disk, right before the old file goes; its failure keeps it.
  Status Commit(const std::function<Status()>& check = {});

 private:
  struct State;
  explicit AtomicFile(std::unique_ptr<State> state);
  // A failure of the temporary file, said of the one that the caller knows.
  Status Named(const Status& failure) const;
  std::unique_ptr<State> state_;
};

// A lock between processes, held while the object lives. The lock file stays, empty.
class FileLock {
 public:
  enum class Wait { kUntilFree, kNo };
  // kResumable when Wait::kNo and somebody else holds it.
  static Result<FileLock> Take(const std::filesystem::path& path, Wait wait);
  // A folder itself, which stays locked whatever is removed from it or renamed in it. Holds nothing
  // where the system has no such locks: on Windows and on some network file systems. kResumable
  // when somebody else holds it; kNotFound when there is no such folder.
  static Result<FileLock> TakeFolder(const std::filesystem::path& folder);
  FileLock(FileLock&& other) noexcept;
  FileLock& operator=(FileLock&&) = delete;
  ~FileLock();

 private:
  explicit FileLock(std::intptr_t handle) : handle_(handle) {}
  std::intptr_t handle_;
};

namespace ModFiles {

std::filesystem::path FromUtf8(std::string_view path);
std::string ToUtf8(const std::filesystem::path& path);
// What a name from a message may be called in a list of attachments: its last component without
// control characters; empty where nothing but dots and blanks is left.
std::string LastName(std::string_view name);
// The same as a name that every file system takes: UTF-8, at most 200 bytes, none of :*?"<>|, no
// device of Windows, no dot or blank at its end. Never empty.
std::string SafeName(std::string_view name);
// The same for two spellings of a path where the system takes them for one: on Windows letters of
// either case, and "/" for "\\". For comparing only.
std::string PathKey(std::string_view path);
// The path from the root on, without "." and, unless a link would lead elsewhere then, "..".
std::filesystem::path FullPath(const std::filesystem::path& path);

// A whole regular file. kBadInput when it is larger than `max_bytes`.
Result<std::string> ReadAll(const std::filesystem::path& path,
                            std::uint64_t max_bytes = std::uint64_t{1} << 40);
// AtomicFile in one call.
Status ReplaceWith(const std::filesystem::path& path, std::string_view bytes,
                   Access access = Access::kShared);

bool IsFile(const std::filesystem::path& path);
bool IsFolder(const std::filesystem::path& path);

// What is at a path itself: a link is neither file nor folder.
struct Entry {
  bool is_file = false;
  bool is_folder = false;
  // When it was made; nothing where the file system keeps no such time.
  std::optional<std::chrono::system_clock::time_point> created;
};
// Nothing there, or not to be seen: an Entry that is neither.
Entry EntryAt(const std::filesystem::path& path);
// What is directly in a folder, in the file system's order. Where it can't be read on, `error` (if
// wanted) says why, and the rest is missing.
std::vector<std::filesystem::path> PathsIn(const std::filesystem::path& folder,
                                           std::error_code* error = nullptr);

// Makes the folder (not its parents) unless it is there; then says whether it is. An empty name
// does nothing and gives false. kPrivate folders are 0700.
bool EnsureFolder(const std::filesystem::path& path, Access access = Access::kPrivate);
// True when this very call has made the folder; false when it was there or can't be made.
bool MakeNewFolder(const std::filesystem::path& path, Access access = Access::kPrivate);
// EnsureFolder for the whole way down.
Status MakeFolders(const std::filesystem::path& path, Access access = Access::kPrivate);
// Removes a file, or a folder with everything in it; links are removed, not followed. Nothing there
// is no failure.
Status Remove(const std::filesystem::path& path);
Status Rename(const std::filesystem::path& from, const std::filesystem::path& to);
// Waits until the folder's entries - what was made, renamed or removed in it - are on the disk,
// where the system has a way to say so.
Status SyncFolder(const std::filesystem::path& folder);

// Sets the hidden attribute and clears all others. Where a file's name alone decides what is hidden
// there is no such attribute, and nothing is done.
Status SetHidden(const std::filesystem::path& path);

// The running program's file.
std::filesystem::path ProgramPath();
// The variable's value as UTF-8; empty when it is not set.
std::string Environment(const char* name);

}  // namespace ModFiles
}  // namespace vespro
