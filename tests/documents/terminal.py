"""A program on a pseudo-terminal, driven by what it shows."""

import os
import pty
import select
import signal
import time

PATIENCE_S = 120


class Terminal:
    def __init__(self, command, environment, folder):
        self.shown = ""
        self.process, self.descriptor = pty.fork()
        if self.process == 0:
            os.chdir(folder)
            os.execvpe(command[0], command, environment)

    def _read(self, deadline):
        """Adds what arrives to `shown`; False at the end of the program."""
        ready, _, _ = select.select([self.descriptor], [], [], max(0, deadline - time.monotonic()))
        if not ready:
            os.kill(self.process, signal.SIGKILL)
            raise TimeoutError("waited in vain; the terminal shows:\n" + self.shown)
        try:
            data = os.read(self.descriptor, 65536)
        except OSError:
            return False
        self.shown += data.decode(errors="replace").replace("\r\n", "\n")
        return bool(data)

    def wait_for(self, text, begin=0):
        """Waits until `text` is shown at or behind position `begin`, and returns the position behind it."""
        deadline = time.monotonic() + PATIENCE_S
        while text not in self.shown[begin:]:
            if not self._read(deadline):
                raise EOFError(f"ended without {text!r}; the terminal shows:\n{self.shown}")
        return self.shown.index(text, begin) + len(text)

    def send(self, keys):
        os.write(self.descriptor, keys.encode())

    def finish(self):
        """Waits for the end of the program and returns its exit status."""
        deadline = time.monotonic() + PATIENCE_S
        while self._read(deadline):
            pass
        _, status = os.waitpid(self.process, 0)
        os.close(self.descriptor)
        return os.waitstatus_to_exitcode(status)
