// vespro-forms: a dialog on a home's settings and data, without a screen: steps come from standard
// input, pictures in letters go to standard output.
#include <iostream>

#include "base/command_line.h"
#include "dialogs/walk.h"
#include "forms/scripted.h"

int main(int argc, char** argv) {
  const std::vector<std::string> arguments = vespro::ModCommandLine::Begin(argc, argv);
  if (arguments.size() != 4 || arguments[2] != "--home") {
    std::cerr << "usage: vespro-forms NAME --home DIR < STEPS\n";
    return 2;
  }
  vespro::ScriptedDriver driver;
  const int code = vespro::WalkThrough(driver, arguments[1], arguments[3], std::cin, std::cout);
  for (const vespro::CommandLine& started : driver.desktop().started) {
    std::cout << "started: " << started.text << "\n";
  }
  for (const std::string& line : driver.desktop().log) std::cout << "log: " << line << "\n";
  return code;
}
