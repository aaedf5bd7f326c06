"""Programs that are measured: started, watched for their CPU time, stopped. Linux only (/proc)."""
import json
import os
import select
import signal
import subprocess
import time

PATIENCE = 120  # seconds for anything that should take a moment


class Failure(Exception):
    """A measurement that could not be made."""


def cpu_seconds(pid):
    """CPU time of a process so far, in the kernel's full precision, threads that have ended included."""
    process_clock = (~pid << 3) | 2  # the kernel's name of the process's CPU clock, see clock_getcpuclockid(3)
    return time.clock_gettime(process_clock)


def sync():
    """Writes out what earlier runs left behind, so that no run pays for another."""
    os.sync()


def end(process, patience=PATIENCE):
    """Ends a program that was told to stop; by force if it does not listen."""
    try:
        return process.wait(timeout=patience)
    except subprocess.TimeoutExpired:
        process.kill()
        return process.wait()


class Talker:
    """A program that takes commands as lines and answers each with one line."""

    def __init__(self, arguments, env=None, log=None, folder=None):
        self.name = os.path.basename(arguments[0])
        self.process = subprocess.Popen([str(a) for a in arguments], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=log or subprocess.DEVNULL, env=env, cwd=folder)
        self.pid = self.process.pid
        self.pending = b""

    def line(self, patience=PATIENCE):
        limit = time.monotonic() + patience
        while b"\n" not in self.pending:
            ready, _, _ = select.select([self.process.stdout], [], [], max(0, limit - time.monotonic()))
            piece = os.read(self.process.stdout.fileno(), 65536) if ready else b""
            if not piece:
                self.kill()
                raise Failure(f"{self.name}: no answer" if not ready else f"{self.name}: ended without an answer")
            self.pending += piece
        line, self.pending = self.pending.split(b"\n", 1)
        return line.decode(errors="replace").strip()

    def answer(self, patience=PATIENCE):
        text = self.line(patience)
        try:
            return json.loads(text)
        except json.JSONDecodeError as error:
            raise Failure(f"{self.name}: {text}") from error

    def tell(self, command):
        self.process.stdin.write(command.encode() + b"\n")
        self.process.stdin.flush()

    def ask(self, command, patience=PATIENCE):
        self.tell(command)
        return self.answer(patience)

    def finish(self, patience=PATIENCE):
        """Closes the program's input, which tells it to end. Its exit status."""
        self.process.stdin.close()
        status = end(self.process, patience)
        self.process.stdout.close()
        return status

    def kill(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGKILL)
            self.process.wait()
        for stream in (self.process.stdin, self.process.stdout):
            try:
                stream.close()
            except BrokenPipeError:
                pass
