// measure INPUT PROGRAM [ARGUMENT...]
//
// Runs a program once between two pipes, as CUPS does: writes INPUT to its standard input, discards
// its output and its messages. Prints user and system time in microseconds, peak memory in KiB,
// exit status, bytes written.
//
// This is a small separate program, because the peak memory of a child includes the memory of its
// parent before the exec: with an interpreter as parent, the interpreter would be measured.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {

[[noreturn]] void give_up(const char* what) {
  std::perror(what);
  std::_Exit(125);
}

struct Pipe {
  int read_end = -1;
  int write_end = -1;
  Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) give_up("pipe");
    read_end = ends[0];
    write_end = ends[1];
  }
};

// Copies all bytes; a closed pipe ends it early. Returns the number of bytes.
long long pump(int from, int to) {
  static char block[1 << 16];
  long long total = 0;
  ssize_t got = 0;
  while ((got = read(from, block, sizeof block)) > 0) {
    for (ssize_t done = 0; done < got;) {
      const ssize_t written = write(to, block + done, static_cast<std::size_t>(got - done));
      if (written <= 0) return total;
      done += written;
    }
    total += got;
  }
  return total;
}

int open_or_exit(const char* path, int flags) {
  const int descriptor = open(path, flags | O_CLOEXEC);
  if (descriptor < 0) give_up(path);
  return descriptor;
}

pid_t start_feeder(const char* path, const Pipe& input, const Pipe& output) {
  const pid_t feeder = fork();
  if (feeder != 0) return feeder;
  close(input.read_end);  // so that the feeder ends when the program stops reading
  close(output.write_end);
  pump(open_or_exit(path, O_RDONLY), input.write_end);
  std::_Exit(0);
}

pid_t start_program(char** command, const Pipe& input, const Pipe& output) {
  const pid_t program = fork();
  if (program != 0) return program;
  dup2(input.read_end, STDIN_FILENO);
  dup2(output.write_end, STDOUT_FILENO);
  dup2(open_or_exit("/dev/null", O_WRONLY), STDERR_FILENO);
  execv(command[0], command);
  std::_Exit(126);
}

long microseconds(const timeval& time) { return time.tv_sec * 1000000L + time.tv_usec; }

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: measure INPUT PROGRAM [ARGUMENT...]\n");
    return 125;
  }
  const Pipe input;
  const Pipe output;
  const pid_t feeder = start_feeder(argv[1], input, output);
  const pid_t program = start_program(argv + 2, input, output);
  close(input.write_end);
  close(input.read_end);
  close(output.write_end);
  const long long written = pump(output.read_end, open_or_exit("/dev/null", O_WRONLY));

  int status = 0;
  rusage usage{};
  if (wait4(program, &status, 0, &usage) != program) give_up("wait4");
  waitpid(feeder, nullptr, 0);
  const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  std::printf("%ld %ld %ld %d %lld\n", microseconds(usage.ru_utime), microseconds(usage.ru_stime),
              usage.ru_maxrss, code, written);
  return 0;
}
