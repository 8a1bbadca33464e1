// The peer of the client's sleep after every frame: sleeps COUNT sleeps for 0 us so many times, with the least timer
// slack.
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdlib>

int main(int argc, char **argv) {
  if (argc != 2) return 2;
  (void)prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
  for (long i = std::strtol(argv[1], nullptr, 10); i > 0; --i)
    (void)usleep(0);
  return 0;
}
