// bench_dialogs: with the renderer without windows.
#include "dialogs.h"
#include "forms/scripted.h"

int main() {
  vespro::ScriptedRenderer renderer;
  vespro::ScriptedDesktop desktop(renderer);
  return vespro::TimeDialogs(renderer, desktop, {40, 40});
}
