// base/testing.h - for tests only.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "base/clock.h"
#include "base/files.h"
#include "base/random.h"

namespace vespro {

// A folder of the test's own, gone with the object. Its name holds a blank and a letter that is in
// no single-byte code page of Western Europe.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    path_ = std::filesystem::temp_directory_path() /
            ModFiles::FromUtf8("vespro \xC5\x82 " + std::to_string(SystemRandomness().Next()));
    std::filesystem::create_directories(path_);
  }
  ~TemporaryFolder() { ModFiles::Remove(path_).Ignore(); }  // the test's verdict is known already
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  // A file in the folder, by its UTF-8 name.
  std::filesystem::path operator/(std::string_view name) const {
    return path_ / ModFiles::FromUtf8(name);
  }
  std::filesystem::path Write(std::string_view name, std::string_view bytes) const {
    std::filesystem::path file = *this / name;
    Status written = ModFiles::ReplaceWith(file, bytes);
    EXPECT_TRUE(written.ok()) << written.text();
    return file;
  }
  std::string Read(std::string_view name) const {
    Result<std::string> bytes = ModFiles::ReadAll(*this / name);
    EXPECT_TRUE(bytes.ok()) << bytes.status().text();
    return bytes.ok() ? bytes.value() : std::string();
  }
  // How many entries the folder holds; shows temporary files left behind.
  std::ptrdiff_t Count() const {
    return std::distance(std::filesystem::directory_iterator(path_),
                         std::filesystem::directory_iterator());
  }

 private:
  std::filesystem::path path_;
};

class FixedClock final : public Clock {
 public:
  explicit FixedClock(std::chrono::system_clock::time_point moment) : now(moment) {}
  std::chrono::system_clock::time_point Now() const override { return now; }
  std::chrono::milliseconds SinceBoot() const override { return since_boot; }
  std::string BootId() const override { return boot_id; }
  std::chrono::system_clock::time_point now;
  std::chrono::milliseconds since_boot{3'600'000};
  std::string boot_id = "one";
};

// Counts up: every run of a test sees the same numbers.
class CountingRandomness final : public Randomness {
 public:
  std::uint64_t Next() override { return ++last_; }

 private:
  std::uint64_t last_ = 0;
};

}  // namespace vespro
