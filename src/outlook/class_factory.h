// outlook/class_factory.h - makes the add-in's object for COM. Any thread.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <filesystem>
#include <utility>

#include "outlook/com_object.h"

namespace vespro {

class ClassFactory final : public ComObject<IClassFactory> {
 public:
  ClassFactory(ModuleUse& use, std::filesystem::path install_folder)
      : ComObject(use), install_folder_(std::move(install_folder)) {}

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override;
  STDMETHODIMP LockServer(BOOL lock) override;

 private:
  ~ClassFactory() override = default;

  const std::filesystem::path install_folder_;
};

}  // namespace vespro
