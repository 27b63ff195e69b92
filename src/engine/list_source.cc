#include "engine/list_source.h"

#include <algorithm>

#include "base/text.h"
#include "engine/address.h"
#include "recipients/list_text.h"

namespace vespro::engine {
namespace {

namespace fs = std::filesystem;

// No row of a person is as long; a larger file without line ends is no list.
constexpr std::size_t kMaxRowBytes = 1024 * 1024;
// What is kept of a row that is too long.
constexpr std::size_t kKeptOfOverlong = 200;

std::string ShortRow(std::string_view row, int column) {
  const auto fields = std::count(row.begin(), row.end(), ',') + 1;
  return "short row: " + std::to_string(fields) + (fields == 1 ? " field" : " fields") +
         ", the address is in field " + std::to_string(column + 1);
}

// What parts the addresses of a suppression file: plain lines, tables, "Name <address>". An
// apostrophe may be in one, and around it as a quote.
constexpr std::string_view kBetweenAddresses = " \t,;:<>()\"";
constexpr char kApostrophe = '\'';

std::string_view WithoutQuotes(std::string_view word) {
  while (word.starts_with(kApostrophe)) word.remove_prefix(1);
  while (word.ends_with(kApostrophe)) word.remove_suffix(1);
  return word;
}

bool HasBothSides(std::string_view word) {
  const std::size_t at = word.find('@');
  return at != std::string_view::npos && at > 0 && at + 1 < word.size();
}

Status Unclear(const std::string& name, const LineReader& lines, const std::string& what) {
  return Status(Code::kBadInput, "'" + name + "', line " + std::to_string(lines.line_number()) +
                                     ": " + what +
                                     " in it, so somebody might be mailed who must not be; correct "
                                     "or remove the line");
}

}  // namespace

std::string Normalised(std::string_view address) {
  std::string normalised;
  ModRow::AddressOf(address, ListKind::kText, 0, normalised);
  return ListText(normalised);
}

ListSource::ListSource(Distribution list, ListOptions options, LineReader lines,
                       Randomness& randomness)
    : list_(std::move(list)),
      options_(std::move(options)),
      lines_(std::move(lines)),
      randomness_(&randomness),
      seen_(randomness) {
  if (!options_.only.empty()) options_.limit = 1;
}

Result<ListSource> ListSource::Open(const Distribution& list, ListOptions options,
                                    Randomness& randomness) {
  const fs::path path = ModFiles::FromUtf8(list.path);
  if (list.kind == ListKind::kUnknown) {
    return Status(Code::kBadInput, "'" + list.path + "' is neither TEXT nor CSV in the job");
  }
  if (Status text = ModDistribution::ProbeText(list.path); !text.ok()) return text;
  Result<LineReader> first = LineReader::Open(path, kMaxRowBytes);
  if (!first.ok()) return first.status();
  std::string first_row;
  bool has_byte_order_mark = false;
  if (std::string_view line; first->Next(line)) {
    const std::string_view stripped = ModRow::StripByteOrderMark(line);
    has_byte_order_mark = stripped.size() < line.size();
    if (list.kind == ListKind::kCsv) first_row = stripped;
  }
  Result<LineReader> lines = LineReader::Open(path, kMaxRowBytes);
  if (!lines.ok()) return lines.status();
  ListSource source(list, std::move(options), std::move(lines).value(), randomness);
  source.first_row_ = std::move(first_row);
  source.has_byte_order_mark_ = has_byte_order_mark;
  return source;
}

// A suppression must not be missed because of the file's format: every address
// counts, quoted or not. A line without one is a fault, but for a table's first, and so is a word
// that looks like an address and is none.
Status ListSource::Suppress(const fs::path& file) {
  const std::string name = ModFiles::ToUtf8(file);
  if (Status text = ModDistribution::ProbeText(name); !text.ok()) return text;
  Result<LineReader> lines = LineReader::Open(file, kMaxRowBytes);
  if (!lines.ok()) return lines.status();
  suppressed_.push_back({ModFiles::ToUtf8(file.filename()), AddressSet(*randomness_)});
  AddressSet& addresses = suppressed_.back().addresses;
  for (std::string_view line; lines->Next(line);) {
    if (lines->line_number() == 1) line = ModRow::StripByteOrderMark(line);
    bool found = false, no_head = lines->line_number() > 1;
    std::size_t begin = 0;
    while ((begin = line.find_first_not_of(kBetweenAddresses, begin)) != std::string_view::npos) {
      const std::size_t end = std::min(line.find_first_of(kBetweenAddresses, begin), line.size());
      const std::string_view word = WithoutQuotes(line.substr(begin, end - begin));
      begin = end;
      if (!HasBothSides(word)) {
        // Other programs' way of writing a whole domain: nobody would be kept back by it.
        no_head = no_head || word.find('@') != std::string_view::npos;
        continue;
      }
      if (word.starts_with("*@") || word.find("@*") != std::string_view::npos) {
        return Unclear(name, lines.value(), "a pattern, where only whole addresses are compared,");
      }
      found = true;
      std::string address = Normalised(word);
      if (!WhyUnusable(address).empty())
        return Unclear(name, lines.value(), "an address with a fault");
      addresses.Insert(address);
      // As it is compared when it is in a CSV table.
      if (std::erase(address, kApostrophe) > 0) addresses.Insert(address);
    }
    if (!found && no_head && !ModText::Trim(line).empty()) {
      return Unclear(name, lines.value(), "no address");
    }
  }
  return lines->status();
}

Result<std::vector<Recipient>> ListSource::Next(std::size_t max) {
  std::vector<Recipient> recipients;
  std::string_view row;
  while (recipients.size() < max && (options_.limit == 0 || found_ < options_.limit) &&
         lines_.Next(row)) {
    Recipient recipient;
    Result<bool> taken = Take(row, recipient);
    if (!taken.ok()) return taken.status();
    if (!taken.value()) continue;
    if (suspected_) recipient.suspected = suspected_(recipient.line);
    recipients.push_back(std::move(recipient));
  }
  if (!lines_.status().ok()) return lines_.status();
  given_ += recipients.size();
  return recipients;
}

Result<bool> ListSource::Take(std::string_view row, Recipient& recipient) {
  const bool first = lines_.line_number() == 1;
  const bool csv = list_.kind == ListKind::kCsv;
  if (first) row = ModRow::StripByteOrderMark(row);
  if (first && csv && list_.header) return false;
  if (lines_.overlong()) {
    return Skip(row.substr(0, kKeptOfOverlong), {}, "line too long: more than a mebibyte", true);
  }
  switch (ModRow::AddressOf(row, list_.kind, list_.column, address_)) {
    case ModRow::Found::kAddress:
      break;
    case ModRow::Found::kEmpty:
      if (ModText::Trim(row).empty()) return false;
      return Skip(row, {}, "no address", true);
    case ModRow::Found::kShortRow:
      return Skip(row, {}, ShortRow(row, list_.column), true);
  }
  if (!ModText::IsAscii(address_)) address_ = ListText(address_);
  return TakeAddress(row, recipient);
}

Result<bool> ListSource::TakeAddress(std::string_view row, Recipient& recipient) {
  if (!options_.only.empty() && address_ != options_.only) return false;
  const std::string fault = WhyUnusable(address_);
  if (!fault.empty()) return Skip(row, address_, "not an address: " + fault, true);
  for (const Suppression& list : suppressed_) {
    if (list.addresses.Contains(address_)) {
      return Skip(row, address_, "suppressed by " + list.name, false);
    }
  }
  if (!seen_.Insert(address_)) {
    return Skip(row, address_, kDuplicate, false);
  }
  ++found_;
  if (wanted_ && !wanted_(lines_.line_number())) {
    ++passed_over_;
    return false;
  }
  recipient.line = lines_.line_number();
  recipient.address = address_;
  if (list_.kind == ListKind::kCsv) recipient.row = row;
  return true;
}

Result<bool> ListSource::Skip(std::string_view row, std::string_view address,
                              const std::string& reason, bool mend) {
  if (!options_.only.empty() && address.empty()) return false;
  if (wanted_ && !wanted_(lines_.line_number())) {
    ++passed_over_;
    return false;
  }
  ++skipped_;
  if (!on_skip_) return false;
  Status told =
      on_skip_({lines_.line_number(), std::string(address), std::string(row)}, reason, mend);
  if (!told.ok()) return told;
  return false;
}

}  // namespace vespro::engine
