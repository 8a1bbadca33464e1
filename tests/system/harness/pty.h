// A terminal for the client under test: a pseudo-terminal whose keyboard and screen are the test's.
//
//     Terminal terminal;
//     run.stdin_from_descriptor(terminal.descriptor()).stdout_to(terminal.path());
//     run.start({"--interactive=1"});
//     ASSERT_TRUE(run.process().wait_until([&] { return terminal.shows("Starting Stream"); }));
//     terminal.press("1");
#ifndef ZEL_CLIENT_TESTS_HARNESS_PTY_H
#define ZEL_CLIENT_TESTS_HARNESS_PTY_H

#include <termios.h>

#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

class Terminal {
 public:
  Terminal();
  ~Terminal();
  Terminal(const Terminal &) = delete;
  Terminal &operator=(const Terminal &) = delete;

  /// The client's side; stays open in the test, so that modes and flags can be read after the client's end.
  int descriptor() const { return slave_; }
  /// Its device file, for what opens it by name.
  std::filesystem::path path() const;

  /// Types keys.
  void press(std::string_view keys) const;

  /// What the screen shows so far; "\r\n", which the terminal makes of "\n", is given as "\n".
  std::string screen() const;
  bool shows(std::string_view text) const { return screen().find(text) != std::string::npos; }

  /// All that was ever written, once every writer has ended.
  std::string whole_screen() const;

  /// Takes keyboard and screen away: reading gives the end of the input from now on.
  void hang_up();

  termios modes() const;
  /// Whether reading from the client's side does not wait (the flag belongs to all who share the descriptor).
  bool nonblocking() const;

 private:
  void read_screen(const std::stop_token &stop);

  int master_ = -1;
  int slave_ = -1;
  mutable std::mutex mutex_;  // guards raw_
  std::string raw_;           // written by the reader thread
  std::jthread reader_;       // empties the screen side: a full one would block the client
};

#endif
