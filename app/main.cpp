// tavexon: the desktop program. One path argument, optionally in double quotes; blanks
// separate nothing, so the arguments are joined back into the one text they were.
#include <QApplication>
#include <string>

#include "app/app_init.h"
#include "kit/tool_window.h"

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  std::string commandLine;
  for (int i = 1; i < argc; ++i) commandLine += (i > 1 ? " " : "") + std::string(argv[i]);
  ToolWindowOnLastClosed([] { QCoreApplication::exit(0); });
  if (!AppInit(commandLine)) return 0;
  return application.exec();
}
