// The subcommands of tavexon-cli. Each registers itself on the application and runs when
// chosen; main() only dispatches.
#pragma once

#include <CLI/CLI.hpp>

void CliDumpRegister(CLI::App& app);
void CliSetRegister(CLI::App& app);
void CliEmbedRegister(CLI::App& app);
void CliCsvRegister(CLI::App& app);
void CliBatchDatesRegister(CLI::App& app);
void CliBatchRenameRegister(CLI::App& app);
void CliBatchSegmentsRegister(CLI::App& app);
void CliDecodeRegister(CLI::App& app);
void CliShrinkRegister(CLI::App& app);
