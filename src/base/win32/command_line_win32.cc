#include <windows.h>
// After windows.h, on which it depends.
#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cwctype>
#include <iostream>
#include <streambuf>

#include "base/command_line.h"
#include "base/files.h"
#include "base/win32/command_line_split.h"
#include "base/win32/wide.h"

namespace vespro::ModCommandLine {
namespace {

// The console belongs to the shell that started us and goes back to it as it was.
UINT consoles_code_page = 0;

class Nowhere final : public std::streambuf {
  int_type overflow(int_type c) override { return traits_type::not_eof(c); }
};

// A standard stream that is closed leads nowhere from now on; no file that is opened takes its
// place.
void FillStandardStreams() {
  const struct {
    std::FILE* stream;
    const char* mode;
  } streams[] = {{stdin, "r"}, {stdout, "w"}, {stderr, "w"}};
  for (const auto& each : streams) {
    if (_fileno(each.stream) >= 0 || std::freopen("NUL", each.mode, each.stream) != nullptr) {
      continue;
    }
    // Not every runtime opens what never was open. What is written there is no failure all the
    // same; the buffer lives as long as the stream, which is flushed at the very end.
    if (each.stream == stdout) std::cout.rdbuf(new Nowhere);
    if (each.stream == stderr) std::cerr.rdbuf(new Nowhere);
  }
}

// Either separator will do, and either case.
wchar_t Folded(wchar_t c) {
  return c == L'/' ? L'\\' : static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
}

bool BeginsWithPath(const std::wstring& line, const std::wstring& path) {
  if (line.size() < path.size() || path.empty()) return false;
  const bool is_path = std::equal(path.begin(), path.end(), line.begin(),
                                  [](wchar_t a, wchar_t b) { return Folded(a) == Folded(b); });
  const bool ends =
      line.size() == path.size() || line[path.size()] == L' ' || line[path.size()] == L'\t';
  return is_path && ends;
}

void GiveConsoleBack() { SetConsoleOutputCP(consoles_code_page); }

}  // namespace

std::vector<std::string> Begin(int, char**) {
  FillStandardStreams();
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  consoles_code_page = GetConsoleOutputCP();
  if (consoles_code_page != 0 && SetConsoleOutputCP(CP_UTF8)) std::atexit(GiveConsoleBack);

  return Split(GetCommandLineW(), ModFiles::ProgramPath().wstring());
}

std::vector<std::string> Split(const std::wstring& line, const std::wstring& program) {
  const bool is_bare = BeginsWithPath(line, program);
  const std::wstring quoted =
      is_bare ? L"\"" + program + L"\"" + line.substr(program.size()) : line;
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(quoted.c_str(), &count);
  std::vector<std::string> arguments;
  for (int i = 0; wide != nullptr && i < count; ++i) {
    arguments.push_back(ModWide::ToUtf8(wide[i]));
  }
  LocalFree(wide);
  return arguments;
}

bool IsTerminal(Stream stream) {
  const DWORD which = stream == Stream::kInput    ? STD_INPUT_HANDLE
                      : stream == Stream::kOutput ? STD_OUTPUT_HANDLE
                                                  : STD_ERROR_HANDLE;
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(which), &mode) != 0;
}

// For cmd and PowerShell alike; no file name has a quote in it.
std::string ForShell(std::string_view word) {
  const bool plain =
      !word.empty() && word.find_first_of(" \t&|<>()^;,=`'$@{}%!") == std::string_view::npos;
  return plain ? std::string(word) : "\"" + std::string(word) + "\"";
}

namespace platform {
const char kVesproProgram[] = "vespro-cli.exe";
const char kPathSeparator = ';';
}  // namespace platform

}  // namespace vespro::ModCommandLine
