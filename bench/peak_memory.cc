// Runs a program and prints its peak memory in KiB instead of its output: peak_memory PROGRAM [ARGUMENT...]
// A process counts what it had before it became another program, so this one has to be small.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

int main(int argc, char **argv) {
  if (argc < 2) return 2;
  const pid_t child = fork();
  if (child == 0) {
    (void)dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
    execvp(argv[1], argv + 1);
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (child < 0 || wait4(child, &status, 0, &usage) < 0 || status != 0) return 1;
  std::printf("%ld\n", usage.ru_maxrss);
  return 0;
}
