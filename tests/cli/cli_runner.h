// Running tavexon-cli as a script runs it: no standard input, its output and its messages
// captured apart, and a settings file of the test's own.
#pragma once

#include <filesystem>
#include <string>

#include "tests/support/test_support.h"

namespace clitest {

namespace fs = std::filesystem;

struct CliRun {
  int status = 0;
  std::string out;     // standard output
  std::string err;     // standard error: the program's messages
  std::string output;  // both, for a message that may stand on either
};

// Runs `tavexon-cli ARGUMENTS` with stdin from /dev/null; with `ini` the settings go there.
inline CliRun RunCli(const std::string& arguments, const fs::path& ini = {}) {
  testsupport::ScratchDir scratch;
  const fs::path errFile = scratch / "stderr.txt";
  const std::string settings = ini.empty() ? "" : "TAVEXON_INI=" + testsupport::ShellQuote(ini.string()) + " ";
  CliRun run;
  run.out = testsupport::RunCommand(settings + testsupport::ShellQuote(TAVEXON_CLI_PATH) + " " + arguments +
                                        " </dev/null 2>" + testsupport::ShellQuote(errFile.string()),
                                    &run.status);
  const auto err = testsupport::ReadBytes(errFile);
  run.err.assign(err.begin(), err.end());
  run.output = run.out + run.err;
  return run;
}

inline std::string Quoted(const fs::path& path) { return testsupport::ShellQuote(path.string()); }

// A writable copy of a corpus file (a path below corpus/) in the scratch folder.
inline fs::path CorpusCopy(const testsupport::ScratchDir& scratch, const std::string& file,
                           const std::string& name = {}) {
  return testsupport::CopyWritable(testsupport::SharedSub("corpus") / file,
                                   scratch / (name.empty() ? fs::path(file).filename().string() : name));
}

}  // namespace clitest
