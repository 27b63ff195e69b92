#include "win32/visual_styles.h"

#include <array>

namespace vespro {
namespace {

// Not 1, which Windows would use for the whole process (ISOLATIONAWARE_MANIFEST_RESOURCE_ID).
constexpr WORD kManifest = 2;

}  // namespace

HINSTANCE OurModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(&OurModule), &module);
  return module;
}

VisualStyles::VisualStyles() {
  std::array<wchar_t, 32768> path{};
  const DWORD size = GetModuleFileNameW(OurModule(), path.data(), static_cast<DWORD>(path.size()));
  if (size == 0 || size == path.size()) return;
  ACTCTXW wanted{};
  wanted.cbSize = sizeof(wanted);
  wanted.dwFlags = ACTCTX_FLAG_RESOURCE_NAME_VALID | ACTCTX_FLAG_HMODULE_VALID;
  wanted.lpSource = path.data();
  wanted.lpResourceName = MAKEINTRESOURCEW(kManifest);
  wanted.hModule = OurModule();
  context_ = CreateActCtxW(&wanted);
}

VisualStyles::~VisualStyles() {
  if (context_ != INVALID_HANDLE_VALUE) ReleaseActCtx(context_);
}

VisualStyles::InUse::InUse(const VisualStyles& styles) {
  if (styles.context_ == INVALID_HANDLE_VALUE) return;
  active_ = ActivateActCtx(styles.context_, &cookie_) != FALSE;
}

VisualStyles::InUse::~InUse() {
  if (active_) DeactivateActCtx(0, cookie_);
}

}  // namespace vespro
