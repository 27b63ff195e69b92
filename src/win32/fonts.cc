#include "win32/fonts.h"

#include <algorithm>
#include <string>

#include "base/win32/wide.h"
#include "win32/resolution.h"

namespace vespro {
namespace {

// The screen's, with a font chosen.
class MeasuringDc {
 public:
  explicit MeasuringDc(HFONT font) : dc_(GetDC(nullptr)), before_(SelectObject(dc_, font)) {}
  MeasuringDc(const MeasuringDc&) = delete;
  MeasuringDc& operator=(const MeasuringDc&) = delete;
  ~MeasuringDc() {
    SelectObject(dc_, before_);
    ReleaseDC(nullptr, dc_);
  }
  HDC get() const { return dc_; }

 private:
  HDC dc_;
  HGDIOBJ before_;
};

// Of more rows than that only so many are measured that are nearly as long as the longest.
constexpr std::size_t kMeasured = 1000;
constexpr std::wstring_view kLetters = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

}  // namespace

Fonts::Fonts(UINT dpi) : dpi_(dpi) {
  LOGFONTW font = ModResolution::MessageFont(dpi);
  text_.Reset(CreateFontIndirectW(&font));
  LOGFONTW link = font;
  link.lfUnderline = TRUE;
  link_.Reset(CreateFontIndirectW(&link));
  LOGFONTW heading = font;
  heading.lfWeight = FW_BOLD;
  heading.lfHeight = MulDiv(font.lfHeight, 5, 4);
  heading_.Reset(CreateFontIndirectW(&heading));

  const MeasuringDc dc(text_.get());
  TEXTMETRICW metrics{};
  GetTextMetricsW(dc.get(), &metrics);
  line_height_ = metrics.tmHeight;
  SIZE letters{};
  GetTextExtentPoint32W(dc.get(), kLetters.data(), static_cast<int>(kLetters.size()), &letters);
  average_width_ = (letters.cx / 26 + 1) / 2;
}

HFONT Fonts::Of(const Control& control) const {
  if (control.kind() != ControlKind::kLabel) return text_.get();
  switch (static_cast<const Label&>(control).style()) {
    case Label::Style::kHeading:
      return heading_.get();
    case Label::Style::kLink:
      return link_.get();
    case Label::Style::kPlain:
      break;
  }
  return text_.get();
}

SIZE Fonts::Extent(HFONT font, std::string_view text, int wrap_at, bool has_access_key) const {
  const MeasuringDc dc(font);
  const std::wstring wide = ModWide::FromUtf8(text.empty() ? " " : text);
  UINT flags = DT_CALCRECT | DT_EXPANDTABS;
  if (!has_access_key) flags |= DT_NOPREFIX;
  if (wrap_at > 0) flags |= DT_WORDBREAK;
  RECT area = {0, 0, wrap_at, 0};
  DrawTextW(dc.get(), wide.c_str(), static_cast<int>(wide.size()), &area, flags);
  return {area.right - area.left, area.bottom - area.top};
}

int Fonts::Widest(const std::vector<Row>& rows) const {
  const MeasuringDc dc(text_.get());
  LONG widest = 0;
  std::size_t longest = 0, measured = 0;
  for (const Row& row : rows) longest = std::max(longest, row.text.size());
  for (const Row& row : rows) {
    if (rows.size() > kMeasured && row.text.size() * 4 < longest * 3) continue;
    if (++measured > kMeasured) break;
    const std::wstring text = ModWide::FromUtf8(row.text);
    SIZE size{};
    GetTextExtentPoint32W(dc.get(), text.c_str(), static_cast<int>(text.size()), &size);
    widest = std::max(widest, size.cx);
  }
  return static_cast<int>(widest);
}

}  // namespace vespro
