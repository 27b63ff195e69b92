// vespro-manual DIR: writes the manual pages and the shells' completions of our programs there, in
// the folders in which they are installed below share/. A tool of the build.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <utility>

#include "base/files.h"
#include "cli/app.h"
#include "engine/options.h"
#include "manual/completion.h"
#include "manual/man_page.h"

namespace vespro::manual {
namespace {

namespace fs = std::filesystem;

Command DescribeProgram() {
  cli::Globals globals;
  cli::Action action;
  CLI::App app;
  cli::Declare(app, globals, action);
  return Describe(app);
}

Command DescribeEngine() {
  Command engine;
  engine::VisitOptions([&engine](const CLI::App& app) { engine = Describe(app); });
  return engine;
}

Status Write(const fs::path& share) {
  const Command program = DescribeProgram(), engine = DescribeEngine();
  const std::pair<const char*, std::string> files[] = {
      {"man/man1/vespro.1", ManPage(program, VESPRO_VERSION, "vespro-engine(1)")},
      {"man/man1/vespro-engine.1", ManPage(engine, VESPRO_VERSION, "vespro(1)")},
      {"bash-completion/completions/vespro", BashCompletion(program, engine)},
      {"zsh/site-functions/_vespro", ZshCompletion(program, engine)},
      {"fish/vendor_completions.d/vespro.fish", FishCompletion(program, engine)},
  };
  for (const auto& [name, text] : files) {
    const fs::path file = share / name;
    if (Status made = ModFiles::MakeFolders(file.parent_path()); !made.ok()) return made;
    if (Status written = ModFiles::ReplaceWith(file, text); !written.ok()) return written;
  }
  return {};
}

}  // namespace
}  // namespace vespro::manual

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: vespro-manual DIR\n", stderr);
    return 2;
  }
  try {
    const vespro::Status status = vespro::manual::Write(argv[1]);
    if (!status.ok()) std::fprintf(stderr, "vespro-manual: %s\n", status.text().c_str());
    return status.ok() ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vespro-manual: %s\n", error.what());
    return 1;
  }
}
