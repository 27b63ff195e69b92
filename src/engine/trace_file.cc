#include "engine/trace_file.h"

#include <cstdio>
#include <ctime>

#include "base/text.h"

namespace vespro::engine {
namespace {

constexpr std::size_t kMaxLineBytes = 4000;

std::string TimeText(std::chrono::system_clock::time_point now) {
  const auto milliseconds =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
  const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
  const std::tm* utc = std::gmtime(&seconds);
  char date[32] = "";
  if (utc != nullptr) std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", utc);
  char text[48];
  std::snprintf(text, sizeof text, "%s.%03d", date, static_cast<int>(milliseconds % 1000));
  return text;
}

}  // namespace

Result<TraceFile> TraceFile::Open(const std::filesystem::path& path, bool with_data,
                                  const Clock& clock) {
  Result<File> file = File::Open(path, File::Mode::kAppend, Access::kPrivate);
  if (!file.ok()) return file.status();
  return TraceFile(std::move(file).value(), with_data, clock);
}

void TraceFile::Write(std::uint64_t connection, TraceKind kind, std::string_view text) {
  const std::string head = TimeText(clock_->Now()) +
                           (connection > 0 ? " #" + std::to_string(connection) : std::string()) +
                           ' ' + static_cast<char>(kind) + ' ';
  // A line that was cut off by a full disk has no end.
  lines_ = gap_ ? "\n" + head + "(lines are missing here)\n" : std::string();
  for (std::string_view line : ModText::Split(text, '\n')) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    // A server's bytes must not reach a terminal as they are.
    lines_ += head + ModText::Printable(line, kMaxLineBytes) + '\n';
  }
  Status written = file_.Write(lines_);
  gap_ = !written.ok();
  if (gap_ && status_.ok()) status_ = std::move(written);
}

}  // namespace vespro::engine
