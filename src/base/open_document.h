// base/open_document.h - what a double click on a document does.
#pragma once

#include <cstdint>
#include <string>

namespace vespro {

// What to open. All text is UTF-8.
struct DocumentToOpen {
  std::string operation;  // the shell's verb, such as "open"
  std::string file;       // a document, a program or an address
  std::string parameters;
  std::string directory;
  int show = 1;             // the window's first state, as Windows counts them
  std::intptr_t owner = 0;  // the window that the system's own messages belong to; 0: none
};

// Opens it with the program that the user has for such things, and does not wait for that. Above
// 32: done. Otherwise why not, in ShellExecute's numbers: 2 file not found, 31 no program for it,
// and so on. On Linux the desktop's opener is asked: it knows one operation, starts no programs and
// takes neither parameters nor a window's state. Any thread.
int OpenDocument(const DocumentToOpen& document);

}  // namespace vespro
