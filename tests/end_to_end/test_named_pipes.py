"""A named pipe in a capture's place is opened once: its writer may be gone by then, and would be waited for for ever."""
import contextlib
import os
import signal
import subprocess
import threading

from export_streams import tdf
from hosting import LIMIT, HostTest, kill_hosts, main

ROUNDS = 3
SYNC = bytes(5) + b"\x80"
LINES = SYNC + b"".join(bytes((1, letter)) for letter in b"line\n" * 200) + b"\x17\0\0\0\x08" * 50


class NamedPipes(HostTest):
    def feed(self, content, *words):
        """What tracehost says of bytes that are written into the pipe "pipe" as soon as it has opened it. The writer is
        gone before tracehost can read any of them."""
        running = subprocess.Popen(self.command(*words), env=self.environment(), cwd=self.folder, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE)
        self.addCleanup(kill_hosts, running, self.folder)

        def write():
            writer = os.open(self.file("pipe"), os.O_WRONLY)  # waits for a reader
            os.kill(running.pid, signal.SIGSTOP)
            with contextlib.suppress(BrokenPipeError):
                os.write(writer, content)
            os.close(writer)
            os.kill(running.pid, signal.SIGCONT)

        thread = threading.Thread(target=write, daemon=True)
        thread.start()
        stdout, stderr = running.communicate(timeout=LIMIT)
        thread.join(LIMIT)
        return subprocess.CompletedProcess(words, running.returncode, stdout, stderr)

    def make_pipe(self):
        os.mkfifo(self.file("pipe"))

    def test_a_quick_writer_is_read_whole(self):
        self.make_pipe()
        with open(self.file("file"), "wb") as file:
            file.write(LINES)
        for words in (["report", "pipe"], ["decode", "pipe"], ["decode", "pipe", "--format", "csv"], ["diagnose", "pipe"],
                      ["export", "pipe", "--format", "chrome", "--output", "-"],
                      ["export", "pipe", "--format", "sigrok", "--output", "out", "--force"],
                      ["export", "pipe", "--format", "ctf", "--output", "folder", "--force"],
                      ["profile", "pipe", "--by", "address"], ["report", "pipe", "--html", "page.html", "--force"]):
            with self.subTest(words):
                of_file = self.run_host(*["file" if word == "pipe" else word for word in words])
                self.assertEqual(of_file.returncode, 0, of_file.stderr)
                for _ in range(ROUNDS):
                    done = self.feed(LINES, *words)
                    self.assertEqual(done.returncode, 0, done.stderr)
                    self.assertEqual(done.stdout.replace(b"pipe", b"file").decode(), of_file.stdout)

    def test_so_is_a_tdf_file(self):
        self.make_pipe()
        for words in (["report", "pipe"], ["decode", "pipe"], ["export", "pipe", "--format", "csv", "--output", "-"]):
            for _ in range(ROUNDS):
                done = self.feed(tdf(LINES, LINES), *words)
                self.assertEqual(done.returncode, 0, done.stderr)

    def test_what_takes_several_looks_says_so_without_one(self):
        self.make_pipe()
        pipe = os.open(self.file("pipe"), os.O_RDWR | os.O_NONBLOCK)
        self.addCleanup(os.close, pipe)
        os.write(pipe, LINES)
        for words, told in ((["view", "pipe", "--no-browser"],
                             '"pipe" is no file on a disk: a view reads it again and again'),
                            (["export", "pipe", "--format", "vcd", "--output", "out"],
                             '"pipe": a VCD file takes two looks at the capture: save it to a file first'),
                            (["info", "pipe"], '"pipe" cannot be read: it is no file that has a size')):
            result = self.run_host(*words)
            self.assertEqual((result.returncode, result.stderr), (2, f"tracehost: {told}\n"))
        self.assertEqual(os.read(pipe, 65536), LINES)

    def test_a_pipe_is_not_written_into_while_it_is_read(self):
        self.make_pipe()
        for words in (["decode", "pipe", "--output", "pipe"], ["report", "pipe", "--json", "pipe"],
                      ["export", "pipe", "--format", "csv", "--output", "pipe", "--force"]):
            result = self.run_host(*words)
            self.assertEqual((result.returncode, result.stderr),
                             (2, 'tracehost: "pipe" is the file that is read: give another name\n'))


if __name__ == "__main__":
    main()
