// tavexon-cli: Tavexon's engine and batch tools from a terminal.
#include <CLI/CLI.hpp>

#include <cstdio>

#include "cli/cli_output.h"
#include "cli/commands.h"
#include "codec/thumbnail.h"
#include "frame/version.h"
#include "shooting/engine_install.h"

int main(int argc, char** argv) {
  CLI::App app{"Tavexon: reads and writes the Exif of JPEG and NEF files, and embeds film shooting data."};
  app.require_subcommand(1);
  app.set_version_flag("--version", kTavexonVersionLine);
  EngineInstall();
  CodecInstall();
  CliDumpRegister(app);
  CliSetRegister(app);
  CliEmbedRegister(app);
  CliCsvRegister(app);
  CliBatchDatesRegister(app);
  CliBatchRenameRegister(app);
  CliBatchSegmentsRegister(app);
  CliDecodeRegister(app);
  CliShrinkRegister(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::RuntimeError& e) {
    return e.get_exit_code();
  } catch (const CLI::ParseError& e) {
    if (e.get_exit_code() == 0) return app.exit(e);  // --help and --version
    // A wrong option: what was wrong, and the usage line of the subcommand it was given to.
    const std::vector<CLI::App*> chosen = app.get_subcommands();
    const CLI::App* command = chosen.empty() ? &app : chosen.back();
    const std::string name = chosen.empty() ? "tavexon-cli" : "tavexon-cli " + command->get_name();
    std::fprintf(stderr, "%s: %s\n%s", name.c_str(), e.what(), CLI::Formatter().make_usage(command, name).c_str());
    std::fprintf(stderr, "Run '%s --help' for the options.\n", name.c_str());
    return CliUsage;
  }
  return CliSuccess;
}
