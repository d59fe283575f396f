#include "tests/support/peers.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
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

std::vector<std::string> Words(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

// One exiftool reading argument lines from a pipe: each command ends with "-executeN" and its
// output with "{readyN}", N counting up so that no output can end a later command early.
class ExifToolSession {
 public:
  ~ExifToolSession() {
    if (pid_ <= 0) return;
    WriteAll("-stay_open\nFalse\n");
    close(toTool_);
    close(fromTool_);
    waitpid(pid_, nullptr, 0);
  }

  std::string Run(const std::vector<std::string>& arguments) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (pid_ == 0) Start();
    if (pid_ < 0) return "";
    const std::string marker = "{ready" + std::to_string(++serial_) + "}\n";
    std::string command;
    for (const std::string& argument : arguments) command += argument + "\n";
    command += "-execute" + std::to_string(serial_) + "\n";
    std::string output;
    if (!WriteAll(command)) return Stop(), output;
    char buffer[65536];
    while (output.size() < marker.size() || output.compare(output.size() - marker.size(), marker.size(), marker) != 0) {
      const ssize_t got = read(fromTool_, buffer, sizeof buffer);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return Stop(), output;  // the tool ended: what it wrote is all there is
      output.append(buffer, size_t(got));
    }
    output.resize(output.size() - marker.size());
    return output;
  }

 private:
  void Start() {
    signal(SIGPIPE, SIG_IGN);  // a tool that died shows as a failed write, not a killed test
    int in[2], out[2];
    if (pipe2(in, O_CLOEXEC) != 0) return void(pid_ = -1);
    if (pipe2(out, O_CLOEXEC) != 0) return close(in[0]), close(in[1]), void(pid_ = -1);
    pid_ = fork();
    if (pid_ == 0) {
      const int null = open("/dev/null", O_WRONLY);
      dup2(in[0], 0), dup2(out[1], 1), dup2(null, 2);
      execlp("exiftool", "exiftool", "-stay_open", "True", "-@", "-", static_cast<char*>(nullptr));
      _exit(127);
    }
    close(in[0]), close(out[1]);
    toTool_ = in[1], fromTool_ = out[0];
    if (pid_ < 0) close(toTool_), close(fromTool_);
  }

  void Stop() {
    close(toTool_), close(fromTool_);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

  bool WriteAll(const std::string& text) {
    for (size_t done = 0; done < text.size();) {
      const ssize_t wrote = write(toTool_, text.data() + done, text.size() - done);
      if (wrote < 0 && errno == EINTR) continue;
      if (wrote <= 0) return false;
      done += size_t(wrote);
    }
    return true;
  }

  std::mutex mutex_;
  pid_t pid_ = 0;  // 0 not started, -1 gone
  int toTool_ = -1, fromTool_ = -1;
  unsigned serial_ = 0;
};

}  // namespace

std::string ExifToolRun(const std::vector<std::string>& arguments) {
  static ExifToolSession session;
  return session.Run(arguments);
}

std::map<std::string, std::string> ExifToolArgs(const fs::path& file, const std::string& options) {
  std::vector<std::string> arguments{"-args", "-G1", "-a", "-u", "-n"};
  for (std::string& word : Words(options)) arguments.push_back(std::move(word));
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

std::map<std::string, std::string> ExifToolNames(const fs::path& file, const std::string& options) {
  std::vector<std::string> arguments{"-a", "-n", "-S"};
  for (std::string& word : Words(options)) arguments.push_back(std::move(word));
  arguments.push_back(file.string());
  std::istringstream lines(ExifToolRun(arguments));
  std::map<std::string, std::string> tags;
  for (std::string line; std::getline(lines, line);) {
    const size_t colon = line.find(": ");
    if (colon != std::string::npos) tags.emplace(line.substr(0, colon), line.substr(colon + 2));
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
