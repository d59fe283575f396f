// tavexon-cli: Tavexon's engine and batch tools from a terminal.
#include <CLI/CLI.hpp>

#include "cli/cli_output.h"
#include "cli/commands.h"
#include "shooting/engine_install.h"

int main(int argc, char** argv) {
  CLI::App app{"Tavexon: reads and writes the Exif of JPEG and NEF files, and embeds film shooting data."};
  app.require_subcommand(1);
  app.set_version_flag("--version", "Tavexon Version 0.9.0b");
  EngineInstall();
  CliDumpRegister(app);
  CliSetRegister(app);
  CliEmbedRegister(app);
  CliDecodeRegister(app);
  CliShrinkRegister(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::RuntimeError& e) {
    return e.get_exit_code();
  } catch (const CLI::ParseError& e) {
    const int code = app.exit(e);
    return code == 0 ? CliSuccess : CliUsage;
  }
  return CliSuccess;
}
