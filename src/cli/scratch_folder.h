// cli/scratch_folder.h - a folder for files that nobody is to keep.
#pragma once

#include <filesystem>
#include <string>

#include "base/files.h"
#include "base/random.h"
#include "terminal/home.h"

namespace vespro::cli {

// In the home's data folder, as private as that, and gone with the object.
class ScratchFolder {
 public:
  explicit ScratchFolder(const Home& home)
      : path_(home.data_folder / ("scratch-" + std::to_string(SystemRandomness().Next()))) {}
  ~ScratchFolder() { ModFiles::Remove(path_).Ignore(); }  // nothing else can be done about it
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  Status Make() const { return ModFiles::MakeFolders(path_); }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace vespro::cli
