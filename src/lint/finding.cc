#include "lint/finding.h"

#include "base/text.h"

namespace vespro::lint {

std::string_view SeverityName(Severity severity) {
  switch (severity) {
    case Severity::kNote:
      return "note";
    case Severity::kWarning:
      return "warning";
    case Severity::kError:
      return "error";
  }
  return {};
}

std::string RowsText(const Rows& rows) {
  std::string text;
  for (const Rows::Row& row : rows.first) {
    const bool last = &row == &rows.first.back() && rows.count == rows.first.size();
    text += text.empty() ? (rows.count == 1 ? "line " : "lines ") : last ? " and " : ", ";
    text += std::to_string(row.line);
    if (!row.what.empty()) text += " (" + ModText::Printable(row.what, 80) + ")";
  }
  if (rows.count > rows.first.size()) {
    text += " and " + std::to_string(rows.count - rows.first.size()) + " more";
  }
  return text;
}

}  // namespace vespro::lint
