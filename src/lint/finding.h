// lint/finding.h - what is wrong with a mail before it is sent. Text is UTF-8, for a person.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vespro::lint {

enum class Severity {
  kNote,     // nobody's mail is worse for it
  kWarning,  // may be meant so: a person decides
  kError,    // a fault in everybody's mail, or nobody would get one
};
std::string_view SeverityName(Severity severity);

// Some of the list's rows, counted; the first ones are kept.
struct Rows {
  static constexpr std::size_t kMaxRows = 5;
  struct Row {
    std::uint64_t line = 0;  // from 1
    std::string what;        // is there, as far as that helps
  };
  std::uint64_t count = 0;
  std::vector<Row> first;

  void Add(std::uint64_t line, std::string_view what = {}) {
    if (count++ < kMaxRows) first.push_back({line, std::string(what)});
  }
};

struct Finding {
  Severity severity = Severity::kWarning;
  std::string_view id;  // stays the same from version to version
  std::string subject;  // the word, file or address that it is about; empty: the mail or the list
  std::string text;     // one line: what is wrong, and what to do
  Rows rows = {};       // of the list; none where it is about the mail
  std::string option = {};  // of `send`, which lets this error be; empty: it is to be mended
};

// "lines 3 (anna@), 7 and 12 more"; empty for no rows.
std::string RowsText(const Rows& rows);

}  // namespace vespro::lint
