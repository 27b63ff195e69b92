// The system's pictures by number, such as OIC_ERROR.
#define OEMRESOURCE
#include "win32/icons.h"

#include <shellapi.h>

#include "base/win32/wide.h"
#include "win32/visual_styles.h"

namespace vespro {
namespace {

WORD SystemIcon(const std::string& name) {
  if (name == "X") return OIC_ERROR;
  if (name == "?") return OIC_QUES;
  if (name == "!") return OIC_WARNING;
  if (name == "i") return OIC_INFORMATION;
  return 0;
}

Owned<HICON> LoadPicture(HINSTANCE module, LPCWSTR name, int size) {
  return Owned<HICON>(
      static_cast<HICON>(LoadImageW(module, name, IMAGE_ICON, size, size, LR_DEFAULTCOLOR)));
}

// Of files like this one, which need not exist. The shell has two sizes.
Owned<HICON> LoadFileType(const std::string& path, int size) {
  SHFILEINFOW info{};
  const bool is_small = size <= GetSystemMetrics(SM_CXSMICON);
  SHGetFileInfoW(ModWide::FromUtf8(path).c_str(), FILE_ATTRIBUTE_NORMAL, &info, sizeof(info),
                 SHGFI_USEFILEATTRIBUTES | SHGFI_ICON |
                     static_cast<UINT>(is_small ? SHGFI_SMALLICON : SHGFI_LARGEICON));
  return Owned<HICON>(info.hIcon);
}

// All files of a kind share a picture, except those that are their own.
std::string KeyOf(const Icon& icon) {
  if (icon.kind == Icon::Kind::kResource) return icon.name;
  const std::size_t dot = icon.name.rfind('.');
  return "file type " + (dot == std::string::npos ? std::string() : icon.name.substr(dot));
}

}  // namespace

HICON IconLibrary::Find(const Icon& icon, int size) {
  if (icon.kind == Icon::Kind::kNone) return nullptr;
  const auto [place, is_new] = icons_.try_emplace({KeyOf(icon), size});
  if (is_new) place->second = {icon, Load(icon, size)};
  return place->second.picture.get();
}

const Icon* IconLibrary::What(HICON picture) const {
  for (const auto& [key, kept] : icons_) {
    if (kept.picture.get() == picture) return &kept.icon;
  }
  return nullptr;
}

Owned<HICON> IconLibrary::Load(const Icon& icon, int size) {
  if (icon.kind == Icon::Kind::kFileType) return LoadFileType(icon.name, size);
  if (const WORD number = SystemIcon(icon.name); number != 0) {
    return LoadPicture(nullptr, MAKEINTRESOURCEW(number), size);
  }
  return LoadPicture(OurModule(), ModWide::FromUtf8(icon.name).c_str(), size);
}

}  // namespace vespro
