"""The commit that versions tell, and the time that packages carry: see version/write-commit.cmake and the Makefile."""
import os
import shutil
import subprocess
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
LIMIT = 120  # seconds; generous, because machines can be busy
SOMEBODY_ELSE = 4321  # a user's number
COMMITTED = "2026-03-04T05:06:07Z"
COMMITTED_SECONDS = 1772600767


def run(*command, **options):
    return subprocess.run(command, text=True, capture_output=True, timeout=LIMIT, check=False, **options)


@unittest.skipUnless(shutil.which("git"), "git is not installed")
class Sources(unittest.TestCase):
    """A folder with one commit, in which "source.cpp" is."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tarnel_scripts_")
        self.addCleanup(folder.cleanup)
        self.sources = os.path.join(folder.name, "sources")
        self.header = os.path.join(folder.name, "commit.h")
        os.mkdir(self.sources)
        # Neither the user's settings of git nor the variables of a hook or of a make that runs this.
        self.environment = {name: value for name, value in os.environ.items()
                            if not name.startswith(("GIT_", "MAKE")) and name != "MFLAGS"}
        self.environment.update(GIT_CONFIG_GLOBAL="/dev/null", GIT_CONFIG_SYSTEM="/dev/null", HOME=folder.name,
                                GIT_AUTHOR_DATE=COMMITTED, GIT_COMMITTER_DATE=COMMITTED)
        self.environment.pop("SOURCE_DATE_EPOCH", None)

    def git(self, *words):
        done = run("git", "-C", self.sources, "-c", "user.name=t", "-c", "user.email=t@t.example", *words,
                   env=self.environment)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout.strip()

    def write(self, name, text):
        with open(os.path.join(self.sources, name), "w", encoding="utf-8") as file:
            file.write(text)

    def commit(self):
        self.git("init", "-q")
        self.write("source.cpp", "int one;\n")
        self.write(".gitignore", "/build/\n")
        self.git("add", ".")
        self.git("commit", "-q", "-m", "One")
        return self.git("rev-parse", "--short=7", "HEAD")

    def give_to_somebody_else(self):
        if os.geteuid() != 0:
            self.skipTest("needs root, to give files to somebody else")
        for folder, folders, names in os.walk(self.sources):
            for name in [".", *folders, *names]:
                os.chown(os.path.join(folder, name), SOMEBODY_ELSE, SOMEBODY_ELSE)
        self.assertIn("dubious ownership", run("git", "-C", self.sources, "status", env=self.environment).stderr)

    # --- version/write-commit.cmake
    def told(self, given="", git=None):
        """The commit in the header that is written for the sources."""
        done = run("cmake", f"-DHEADER={self.header}", f"-DSOURCE={self.sources}", f"-DCOMMIT={given}",
                   f"-DGIT={git or shutil.which('git')}", "-P", os.path.join(ROOT, "version/write-commit.cmake"),
                   env=self.environment)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        with open(self.header, encoding="utf-8") as file:
            first, _, text = file.read().partition("#define TARNEL_COMMIT ")
        self.assertEqual(first, "#pragma once\n")
        return text.strip().strip('"')

    def test_sources_as_they_were_committed_tell_the_commit(self):
        commit = self.commit()
        os.mkdir(os.path.join(self.sources, "build"))
        self.write("build/output", "is ignored")
        self.assertEqual(self.told(), commit)

    def test_changed_and_new_and_removed_files_are_told(self):
        commit = self.commit()
        self.write("source.cpp", "int two;\n")
        self.assertEqual(self.told(), commit + "-dirty")
        self.git("add", "source.cpp")
        self.assertEqual(self.told(), commit + "-dirty")
        self.git("reset", "-q", "--hard")
        self.assertEqual(self.told(), commit)
        self.write("another.cpp", "int three;\n")
        self.assertEqual(self.told(), commit + "-dirty")
        os.remove(os.path.join(self.sources, "another.cpp"))
        os.remove(os.path.join(self.sources, "source.cpp"))
        self.assertEqual(self.told(), commit + "-dirty")

    def test_the_header_stays_as_it_is_while_nothing_changes(self):
        self.commit()
        self.told()
        os.utime(self.header, (1, 1))
        self.told()
        self.assertEqual(os.stat(self.header).st_mtime, 1)
        self.write("source.cpp", "int two;\n")
        self.told()
        self.assertGreater(os.stat(self.header).st_mtime, 1)

    def test_sources_of_somebody_else_tell_their_commit(self):
        commit = self.commit()
        self.give_to_somebody_else()
        self.assertEqual(self.told(), commit)

    def test_what_is_given_is_told_and_without_git_the_commit_is_unknown(self):
        self.commit()
        self.assertEqual(self.told(given="abcdef0"), "abcdef0")
        self.assertEqual(self.told(git="GIT_EXECUTABLE-NOTFOUND"), "unknown")
        shutil.rmtree(os.path.join(self.sources, ".git"))
        self.assertEqual(self.told(), "unknown")

    # --- the time that `make package` gives to files
    def packed(self, **variables):
        """What `make package` says in these sources up to its first program, which tells the time that it has, and fails."""
        shutil.copy(os.path.join(ROOT, "Makefile"), self.sources)
        os.makedirs(os.path.join(self.sources, "cmake"), exist_ok=True)
        for name, commands in (("install-packages", "exit 0"),
                               ("build-linux-xerces", 'echo "time $SOURCE_DATE_EPOCH"\nexit 1')):
            self.write("cmake/" + name, f"#!/bin/sh\n{commands}\n")
            os.chmod(os.path.join(self.sources, "cmake", name), 0o755)
        done = run("make", "--no-print-directory", "package", cwd=self.sources, env={**self.environment, **variables})
        self.assertEqual(done.returncode, 2, done.stdout + done.stderr)
        return done.stdout, done.stderr

    def test_packages_have_the_time_of_the_last_commit(self):
        self.commit()
        self.assertEqual(self.packed()[0], f"time {COMMITTED_SECONDS}\n")

    def test_packages_of_somebody_elses_sources_have_the_time_of_the_last_commit(self):
        self.commit()
        self.give_to_somebody_else()
        self.assertEqual(self.packed()[0], f"time {COMMITTED_SECONDS}\n")

    def test_without_a_commit_packages_are_refused_or_have_the_time_that_is_given(self):
        said, error = self.packed()
        self.assertEqual(said, "")
        self.assertTrue(error.startswith(
            "make package: git tells no time of a last commit: give SOURCE_DATE_EPOCH=SECONDS\n"), error)
        self.assertEqual(self.packed(SOURCE_DATE_EPOCH="12345")[0], "time 12345\n")


if __name__ == "__main__":
    unittest.main(verbosity=2)
