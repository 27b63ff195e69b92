#include "outlook/imports.h"

#include <cstring>
#include <utility>

namespace vespro::standin {

void* ReplaceImport(HMODULE module, const char* function, void* replacement) {
  auto* const base = reinterpret_cast<BYTE*>(module);
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
  const IMAGE_DATA_DIRECTORY& directory =
      headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  if (directory.VirtualAddress == 0) return nullptr;
  const auto* from =
      reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
  for (; from->Name != 0; ++from) {
    const auto* name = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + from->OriginalFirstThunk);
    auto* slot = reinterpret_cast<IMAGE_THUNK_DATA*>(base + from->FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++slot) {
      if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
      const auto* by_name =
          reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + name->u1.AddressOfData);
      if (std::strcmp(reinterpret_cast<const char*>(by_name->Name), function) != 0) continue;
      DWORD before = 0;
      VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &before);
      const auto replaced = std::exchange(
          slot->u1.Function, reinterpret_cast<decltype(slot->u1.Function)>(replacement));
      VirtualProtect(slot, sizeof(*slot), before, &before);
      return reinterpret_cast<void*>(replaced);
    }
  }
  return nullptr;
}

}  // namespace vespro::standin
