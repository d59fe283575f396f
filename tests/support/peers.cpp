#include "tests/support/peers.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iterator>
#include <mutex>
#include <sstream>

#include "tests/support/test_support.h"

namespace fs = std::filesystem;

namespace testsupport {

namespace {

std::string Trim(const std::string& text) {
  const size_t first = text.find_first_not_of(" \r\n");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \r\n") - first + 1);
}

// One exiftool reading argument lines from a pipe. Command N ends with "-executeN" and its
// output with "{readyN}", so no output can end a later command early. A tool that is missing
// or has died gives empty readings, as a run of the missing program would.
class ExifToolSession {
 public:
  ~ExifToolSession() {
    if (pid_ > 0 && Write("-stay_open\nFalse\n")) waitpid(pid_, nullptr, 0);
  }

  std::string Run(const std::vector<std::string>& arguments) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (pid_ == 0) Start();
    const std::string marker = "{ready" + std::to_string(++serial_) + "}\n";
    std::string command, output;
    for (const std::string& argument : arguments) command += argument + "\n";
    if (pid_ < 0 || !Write(command + "-execute" + std::to_string(serial_) + "\n")) return "";
    char buffer[65536];
    while (!output.ends_with(marker)) {
      const ssize_t got = read(fromTool_, buffer, sizeof buffer);
      if (got <= 0) return pid_ = -1, output;
      output.append(buffer, size_t(got));
    }
    return output.substr(0, output.size() - marker.size());
  }

 private:
  void Start() {
    signal(SIGPIPE, SIG_IGN);  // a dead tool shows as a failed write, not a killed test
    int in[2], out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0 || (pid_ = fork()) < 0) return void(pid_ = -1);
    if (pid_ == 0) {
      dup2(in[0], 0), dup2(out[1], 1), dup2(open("/dev/null", O_WRONLY), 2);
      execlp("exiftool", "exiftool", "-stay_open", "True", "-@", "-", static_cast<char*>(nullptr));
      _exit(127);
    }
    close(in[0]), close(out[1]);
    toTool_ = in[1], fromTool_ = out[0];
  }

  bool Write(const std::string& text) {
    for (size_t done = 0; done < text.size();) {
      const ssize_t wrote = write(toTool_, text.data() + done, text.size() - done);
      if (wrote <= 0) return pid_ = -1, false;
      done += size_t(wrote);
    }
    return true;
  }

  std::mutex mutex_;
  pid_t pid_ = 0;  // 0 before the first reading, -1 when there is no tool
  int toTool_ = -1, fromTool_ = -1;
  unsigned serial_ = 0;
};

}  // namespace

std::string ExifToolRun(const std::vector<std::string>& arguments) {
  static ExifToolSession session;
  return session.Run(arguments);
}

std::map<std::string, std::string> ExifToolArgs(const fs::path& file, const std::string& options) {
  std::istringstream words(options);
  std::vector<std::string> arguments{"-args", "-G1", "-a", "-u", "-n"};
  arguments.insert(arguments.end(), std::istream_iterator<std::string>(words), {});
  arguments.push_back(file.string());
  std::istringstream lines(ExifToolRun(arguments));
  std::map<std::string, std::string> tags;
  for (std::string line; std::getline(lines, line);) {
    const size_t equals = line.find('=');
    if (line.size() > 1 && line[0] == '-' && equals != std::string::npos)
      tags[line.substr(1, equals - 1)] = line.substr(equals + 1);
  }
  return tags;
}

std::string ExifToolBinary(const fs::path& file, const std::string& tag) {
  return ExifToolRun({"-b", "-" + tag, file.string()});
}

std::map<std::string, std::vector<std::string>> ExifToolTable(const std::vector<std::string>& tags,
                                                              const std::vector<fs::path>& files) {
  std::vector<std::string> arguments{"-T", "-n", "-q", "-q"};
  for (const std::string& tag : tags) arguments.push_back("-" + tag);
  for (const fs::path& file : files) arguments.push_back(file.string());
  std::istringstream lines(ExifToolRun(arguments));
  std::map<std::string, std::vector<std::string>> rows;
  for (std::string line; std::getline(lines, line);) {
    std::vector<std::string> fields;
    std::istringstream cells(line);
    for (std::string cell; std::getline(cells, cell, '\t');) fields.push_back(cell);
    if (fields.size() == tags.size()) rows[fields[0]] = fields;
  }
  return rows;
}

std::vector<Exiv2Row> Exiv2Rows(const fs::path& file) {
  std::vector<Exiv2Row> rows;
  std::istringstream lines(RunCommand("exiv2 -pv " + ShellQuote(file.string()) + " 2>/dev/null"));
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string hex;
    Exiv2Row row;
    if (!(fields >> hex >> row.group >> row.name >> row.type >> row.count) || hex.rfind("0x", 0) != 0) continue;
    row.tag = uint16_t(std::stoul(hex, nullptr, 16));
    std::getline(fields, row.value);
    row.value = Trim(row.value);
    rows.push_back(row);
  }
  return rows;
}

}  // namespace testsupport
