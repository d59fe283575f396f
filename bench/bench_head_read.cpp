// The floor under any Exif reader: open each file named on the command line and read its
// first 64 KiB, nothing more. bench_dump.sh sets tavexon-cli dump beside it.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

int main(int argc, char** argv) {
  std::vector<char> head(65536);
  long long total = 0;
  for (int i = 1; i < argc; ++i) {
    const int fd = ::open(argv[i], O_RDONLY | O_CLOEXEC);
    if (fd < 0) continue;
    const ssize_t got = ::read(fd, head.data(), head.size());
    if (got > 0) total += got;
    ::close(fd);
  }
  std::printf("%lld bytes from %d files\n", total, argc - 1);
  return 0;
}
