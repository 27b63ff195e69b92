#include "engine/journal.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "base/text.h"
#include "engine/hash.h"

namespace vespro::engine {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kFirstLine = "vespro-journal 1";
// A row of the list may be a mebibyte, and twice that when all of it is escaped.
constexpr std::size_t kMaxLineBytes = 4 * 1024 * 1024;
constexpr std::uint64_t kMaxNumber = std::uint64_t{1} << 62;
constexpr auto kSyncEvery = std::chrono::seconds(1);
constexpr std::size_t kMostGathered = 256 * 1024;  // bytes

constexpr std::array<std::string_view, kStates> kStateNames = {"sent", "refused", "failed",
                                                               "skipped", "unknown"};

// FNV-1a: shows a torn or damaged line; it guards against no one.
std::uint32_t Checksum(std::string_view bytes) {
  std::uint32_t sum = 2166136261u;
  for (char c : bytes) sum = (sum ^ static_cast<unsigned char>(c)) * 16777619u;
  return sum;
}

std::array<char, 8> Hex(std::uint32_t number) {
  std::array<char, 8> text{};
  for (std::size_t i = text.size(); i-- > 0; number >>= 4)
    text[i] = "0123456789abcdef"[number & 15];
  return text;
}

// Puts one line together at the end of a buffer.
class LineWriter {
 public:
  LineWriter(std::string& out, char kind) : out_(out), start_(out.size()) { out_ += kind; }
  ~LineWriter() {
    out_ += '\t';
    const auto sum = Hex(Checksum(std::string_view(out_).substr(start_)));
    out_.append(sum.data(), sum.size()) += '\n';
  }
  LineWriter(const LineWriter&) = delete;
  LineWriter& operator=(const LineWriter&) = delete;

  LineWriter& Number(std::uint64_t number) {
    out_ += '\t';
    out_ += std::to_string(number);
    return *this;
  }
  LineWriter& Hash(std::uint64_t hash) {
    const auto high = Hex(static_cast<std::uint32_t>(hash >> 32));
    const auto low = Hex(static_cast<std::uint32_t>(hash));
    ((out_ += '\t').append(high.data(), high.size())).append(low.data(), low.size());
    return *this;
  }
  LineWriter& Text(std::string_view text) {
    out_ += '\t';
    for (char c : text) {
      switch (c) {
        case '\\':
          out_ += "\\\\";
          break;
        case '\t':
          out_ += "\\t";
          break;
        case '\r':
          out_ += "\\r";
          break;
        case '\n':
          out_ += "\\n";
          break;
        default:
          out_ += c;
      }
    }
    return *this;
  }

 private:
  std::string& out_;
  std::size_t start_;
};

std::string Unescape(std::string_view field) {
  std::string text;
  text.reserve(field.size());
  for (std::size_t i = 0; i < field.size(); ++i) {
    if (field[i] != '\\' || i + 1 == field.size()) {
      text += field[i];
      continue;
    }
    const char c = field[++i];
    text += c == 't' ? '\t' : c == 'r' ? '\r' : c == 'n' ? '\n' : c;
  }
  return text;
}

bool Number(std::string_view field, std::uint64_t& number) {
  return ModText::ParseUnsigned(field, kMaxNumber, &number);
}

bool TakeHash(std::string_view field, std::uint64_t& hash) {
  const char* end = field.data() + field.size();
  const auto read = std::from_chars(field.data(), end, hash, 16);
  return read.ec == std::errc() && read.ptr == end;
}

bool TakeTime(std::string_view field, std::int64_t& time) {
  std::uint64_t seconds = 0;
  if (!Number(field, seconds)) return false;
  time = static_cast<std::int64_t>(seconds);
  return true;
}

bool TakeState(std::string_view field, State& state) {
  const auto* found = std::find(kStateNames.begin(), kStateNames.end(), field);
  if (found == kStateNames.end()) return false;
  state = static_cast<State>(found - kStateNames.begin());
  return true;
}

// The fields of a line after its kind, checksum taken off. False when the line is damaged.
bool ParseFields(char kind, const std::vector<std::string_view>& fields, JournalEvent& event) {
  using Kind = JournalEvent::Kind;
  const std::size_t count = fields.size();
  Recipient& who = event.recipient;
  switch (kind) {
    case 'L':
      event.kind = Kind::kList;
      return count == 3 && Number(fields[0], event.list.bytes) &&
             Number(fields[1], event.list.lines) && TakeHash(fields[2], event.list.hash);
    case 'R':
      event.kind = Kind::kRun;
      return count == 2 && TakeTime(fields[0], event.time) && TakeHash(fields[1], event.message);
    case 'E':
      event.kind = Kind::kEnd;
      if (count != 2 || !TakeTime(fields[0], event.time)) return false;
      event.reason = Unescape(fields[1]);
      return true;
    case 'I':
      event.kind = Kind::kIntent;
      if (count != 3 || !Number(fields[0], who.line)) return false;
      who.address = Unescape(fields[1]);
      event.outcome.server = Unescape(fields[2]);
      return true;
    case 'P':
      event.kind = Kind::kPutBack;
      return count == 1 && Number(fields[0], who.line);
    case 'O': {
      event.kind = Kind::kOutcome;
      std::uint64_t attempts = 0;
      if (count != 7 || !Number(fields[0], who.line) ||
          !TakeState(fields[1], event.outcome.state) ||
          !ModText::ParseUnsigned(fields[2], 1'000'000, &attempts)) {
        return false;
      }
      event.outcome.attempts = static_cast<int>(attempts);
      who.address = Unescape(fields[3]);
      event.outcome.server = Unescape(fields[4]);
      event.outcome.reply = Unescape(fields[5]);
      who.row = Unescape(fields[6]);
      return true;
    }
    default:
      return false;
  }
}

bool ParseLine(std::string_view line, JournalEvent& event) {
  const std::size_t sum_at = line.rfind('\t');
  if (sum_at == std::string_view::npos || sum_at < 1) return false;
  const auto sum = Hex(Checksum(line.substr(0, sum_at + 1)));
  if (line.substr(sum_at + 1) != std::string_view(sum.data(), sum.size())) return false;
  std::vector<std::string_view> fields = ModText::Split(line.substr(0, sum_at), '\t');
  if (fields.front().size() != 1) return false;
  const char kind = fields.front().front();
  fields.erase(fields.begin());
  return ParseFields(kind, fields, event);
}

std::int64_t Seconds(const Clock& clock) {
  return std::chrono::duration_cast<std::chrono::seconds>(clock.Now().time_since_epoch()).count();
}

void AppendHeader(std::string& out, const ListIdentity& list) {
  out.append(kFirstLine) += '\n';
  LineWriter(out, 'L').Number(list.bytes).Number(list.lines).Hash(list.hash);
}

// What an existing journal says, and whether it is of this list.
struct Loaded {
  LineStates states;
  std::uint64_t damaged = 0;
  bool usable = false;    // false: it broke off before its list was named, so nothing was sent
  bool headless = false;  // it does not name its list, but something was sent
  std::map<std::uint64_t, std::string> doubted;  // the lines in doubt, with the server
  std::optional<std::uint64_t> message;          // of the last run
};

void NoteServer(const JournalEvent& event, std::map<std::uint64_t, std::string>& doubted) {
  using Kind = JournalEvent::Kind;
  if (event.kind == Kind::kIntent) doubted[event.recipient.line] = event.outcome.server;
  if (event.kind == Kind::kPutBack || event.kind == Kind::kOutcome) {
    doubted.erase(event.recipient.line);
  }
}

Result<Loaded> Load(const fs::path& path, const ListIdentity& list) {
  Result<JournalReader> reader = JournalReader::Open(path);
  if (!reader.ok()) return reader.status();
  Loaded loaded{LineStates(list.lines), 0, false, false, {}, {}};
  JournalEvent event;
  while (reader->Next(event)) {
    if (event.kind == JournalEvent::Kind::kList) {
      if (event.list != list) {
        return Status(
            Code::kBadInput,
            "the list has changed since this job was begun, so its journal does not say "
            "any more who has been served; put the list back as it was to go on, or start "
            "the job anew with --fresh, which mails again whoever has been served");
      }
      loaded.usable = true;
    } else if (loaded.usable && !loaded.states.Take(event)) {
      ++loaded.damaged;
    } else {
      NoteServer(event, loaded.doubted);
      if (event.kind == JournalEvent::Kind::kRun) loaded.message = event.message;
    }
    loaded.headless = loaded.headless || !loaded.usable;
  }
  if (!reader->status().ok()) return reader->status();
  // One line may be the list's own, torn before anything was sent.
  if (loaded.headless || (!loaded.usable && reader->damaged() > 1)) {
    return Status(Code::kBadInput,
                  "the journal is damaged at its beginning and does not say for which list it is; "
                  "--fresh starts the job anew and may mail people again");
  }
  loaded.damaged += reader->damaged();
  return loaded;
}

}  // namespace

std::string_view StateName(State state) { return kStateNames[static_cast<std::size_t>(state)]; }

Result<ListIdentity> IdentifyList(const fs::path& path, std::uint64_t at_most) {
  Result<File> file = File::Open(path, File::Mode::kRead);
  if (!file.ok()) return file.status();
  ListIdentity list;
  std::string block(256 * 1024, '\0');
  bool after_cr = false, in_line = false;
  for (;;) {
    // A short read must not change the blocks that are hashed.
    std::size_t filled = 0;
    const auto wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), at_most - list.bytes));
    while (filled < wanted) {
      Result<std::size_t> count = file->Read(block.data() + filled, wanted - filled);
      if (!count.ok()) return count.status();
      if (count.value() == 0) break;
      filled += count.value();
    }
    if (filled == 0) break;
    const std::string_view bytes = std::string_view(block).substr(0, filled);
    list.hash = SipHash({list.hash, list.bytes}, bytes);
    list.bytes += filled;
    for (char c : bytes) {
      if (c == '\r' || (c == '\n' && !after_cr)) ++list.lines;
      if (c != '\n' || !after_cr) in_line = c != '\r' && c != '\n';
      after_cr = c == '\r';
    }
  }
  if (in_line) ++list.lines;
  return list;
}

Result<JournalReader> JournalReader::Open(const fs::path& path) {
  Result<LineReader> lines = LineReader::Open(path, kMaxLineBytes);
  if (!lines.ok()) return lines.status();
  JournalReader reader(std::move(lines).value());
  std::string_view first;
  if (!reader.lines_.Next(first)) {
    if (!reader.lines_.status().ok()) return reader.lines_.status();
    reader.empty_ = true;
  } else if (first != kFirstLine) {
    const bool torn = reader.lines_.file_bytes() == first.size() && kFirstLine.starts_with(first);
    if (!torn) {
      return Status(Code::kBadInput, "'" + ModFiles::ToUtf8(path) +
                                         "' is not a journal that this version can read; --fresh "
                                         "puts it aside and starts the job anew");
    }
    reader.empty_ = true;
  }
  return reader;
}

bool JournalReader::Next(JournalEvent& event) {
  std::string_view line;
  while (lines_.Next(line)) {
    if (line.empty()) continue;  // every run begins with a line end, to close a torn line
    if (!lines_.overlong() && ParseLine(line, event)) return true;
    ++damaged_;
  }
  return false;
}

bool LineStates::Take(const JournalEvent& event) {
  using Kind = JournalEvent::Kind;
  if (event.kind != Kind::kIntent && event.kind != Kind::kPutBack && event.kind != Kind::kOutcome) {
    return true;
  }
  const std::uint64_t line = event.recipient.line;
  if (line == 0 || line >= marks_.size()) return false;
  std::uint8_t& mark = marks_[static_cast<std::size_t>(line)];
  unsigned outcomes = mark >> 3;
  unsigned low = mark & 7u;
  if (event.kind == Kind::kIntent) {
    low = 1;
  } else if (event.kind == Kind::kPutBack) {
    // What was unknown before is unknown again: the second message did not arrive, the first may
    // have.
    low = outcomes > 0 ? 2 + static_cast<unsigned>(State::kUnknown) : 0;
  } else {
    low = 2 + static_cast<unsigned>(event.outcome.state);
    outcomes = std::min(outcomes + 1, kMaxOutcomes);
  }
  mark = static_cast<std::uint8_t>(outcomes << 3 | low);
  return true;
}

bool LineStates::InDoubt(std::uint64_t line) const {
  return line < marks_.size() && (marks_[static_cast<std::size_t>(line)] & 7u) == 1;
}

std::optional<State> LineStates::OutcomeOf(std::uint64_t line) const {
  const unsigned low = line < marks_.size() ? marks_[static_cast<std::size_t>(line)] & 7u : 0;
  if (low < 2) return std::nullopt;
  return static_cast<State>(low - 2);
}

unsigned LineStates::Outcomes(std::uint64_t line) const {
  return line < marks_.size() ? marks_[static_cast<std::size_t>(line)] >> 3 : 0u;
}

std::uint64_t LineStates::CountMarks(unsigned mark) const {
  return static_cast<std::uint64_t>(std::count_if(
      marks_.begin(), marks_.end(), [mark](std::uint8_t m) { return (m & 7u) == mark; }));
}

std::uint64_t LineStates::Count(State state) const {
  return CountMarks(2 + static_cast<unsigned>(state));
}

std::uint64_t LineStates::InDoubtCount() const { return CountMarks(1); }

fs::path Journal::PathIn(const fs::path& folder) { return folder / "journal"; }

Journal::Journal(File file, const Clock& clock, LineStates states, std::uint64_t damaged)
    : file_(std::move(file)),
      clock_(&clock),
      states_(std::move(states)),
      damaged_(damaged),
      last_sync_(std::chrono::steady_clock::now()) {}

Result<Journal> Journal::Open(const fs::path& folder, const ListIdentity& list, bool fresh,
                              const Clock& clock) {
  const fs::path path = PathIn(folder);
  std::error_code error;
  Loaded loaded{LineStates(list.lines), 0, false, false, {}, {}};
  if (fs::exists(path, error)) {
    if (fresh) {
      Status renamed = ModFiles::Rename(path, folder / "journal.old");
      if (!renamed.ok()) return renamed;
    } else {
      Result<Loaded> read = Load(path, list);
      if (!read.ok()) return read.status();
      loaded = std::move(read).value();
    }
  }
  Result<File> file = File::Open(path, loaded.usable ? File::Mode::kAppend : File::Mode::kReplace,
                                 Access::kPrivate);
  if (!file.ok()) return file.status();
  Journal journal(std::move(file).value(), clock, std::move(loaded.states), loaded.damaged);
  journal.doubted_ = std::move(loaded.doubted);
  journal.message_before_ = loaded.message;
  if (loaded.usable) {
    journal.buffer_ += '\n';  // the last line may be torn
  } else {
    AppendHeader(journal.buffer_, list);
  }
  const Status begun = loaded.usable ? journal.Write() : journal.Sync();
  if (!begun.ok()) return begun;
  return journal;
}

// After every line: a group must not grow without end.
Status Journal::Gathered() { return buffer_.size() < kMostGathered ? failure_ : Write(); }

Status Journal::Write() {
  if (failure_.ok() && !buffer_.empty()) {
    failure_ = file_.Write(buffer_);
    unsynced_ = true;
  }
  buffer_.clear();
  return failure_;
}

Status Journal::Sync() {
  if (Status written = Write(); !written.ok()) return written;
  failure_ = file_.Sync();
  last_sync_ = std::chrono::steady_clock::now();
  unsynced_ = false;
  return failure_;
}

Status Journal::Commit() {
  if (buffer_.empty() && !unsynced_) return failure_;
  const bool due = std::chrono::steady_clock::now() - last_sync_ >= kSyncEvery;
  return due ? Sync() : Write();
}

Status Journal::Sending(std::span<const Recipient> recipients, std::string_view server) {
  for (const Recipient& recipient : recipients) {
    LineWriter(buffer_, 'I').Number(recipient.line).Text(recipient.address).Text(server);
  }
  return Gathered();
}

Status Journal::PutBack(std::span<const Recipient> recipients) {
  for (const Recipient& recipient : recipients) LineWriter(buffer_, 'P').Number(recipient.line);
  return Gathered();
}

Status Journal::AppendOutcome(const Recipient& recipient, const Outcome& outcome,
                              std::string_view row) {
  LineWriter(buffer_, 'O')
      .Number(recipient.line)
      .Text(StateName(outcome.state))
      .Number(static_cast<std::uint64_t>(std::max(outcome.attempts, 0)))
      .Text(recipient.address)
      .Text(outcome.server)
      .Text(outcome.reply)
      .Text(row);
  return Gathered();
}

Status Journal::Record(const Recipient& recipient, const Outcome& outcome) {
  const bool mend = outcome.state == State::kRefused || outcome.state == State::kFailed ||
                    outcome.state == State::kSkipped;
  const std::string& row = recipient.row.empty() ? recipient.address : recipient.row;
  return AppendOutcome(recipient, outcome, mend ? std::string_view(row) : std::string_view());
}

Status Journal::Skip(const Recipient& row, std::string_view reason, bool mend) {
  return AppendOutcome(row, {State::kSkipped, 0, {}, std::string(reason)},
                       mend ? std::string_view(row.row) : std::string_view());
}

Status Journal::BeginRun(std::uint64_t message) {
  LineWriter(buffer_, 'R').Number(static_cast<std::uint64_t>(Seconds(*clock_))).Hash(message);
  return Write();
}

Status Journal::EndRun(std::string_view reason) {
  LineWriter(buffer_, 'E').Number(static_cast<std::uint64_t>(Seconds(*clock_))).Text(reason);
  return Sync();
}

}  // namespace vespro::engine
