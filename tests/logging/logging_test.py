"""What a program that uses the library sees of logging, from outside: files and streams of a whole process."""

import os
import pathlib
import pty
import re
import subprocess
import tempfile
import time
import unittest

HOST = os.environ["KOVADATA_LOGGING_HOST"]
KOVA = os.environ["KOVA"]
SANITIZE = os.environ.get("KOVADATA_SANITIZE", "")
ENTRY = re.compile(r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z (TRACE|DEBUG|INFO|WARN|ERROR|FATAL) "
                   r"\[(\d+):(\d+)\] (\S+): (.*)$")
CLOSING = "Closing handle 0"
EVERYTHING = "[levels]\nroot = trace\n"


class LoggingTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name).resolve()
        (self.folder / "work").mkdir()

    def run_program(self, *command, variables=None, status=0, **options):
        environment = {key: value for key, value in os.environ.items()
                       if not key.startswith("KOVADATA_LOG_") and key not in ("XDG_CONFIG_HOME", "NO_COLOR")}
        environment.update({"HOME": str(self.folder / "home"), **(variables or {})})
        result = subprocess.run([str(part) for part in command], capture_output=True, text=True, timeout=120,
                                cwd=self.folder / "work", env=environment, **options)
        self.assertEqual(result.returncode, status, result.stderr)
        return result

    def host(self, *steps, **variables):
        return self.run_program(HOST, "load", *steps, variables=variables)

    def put(self, name, text):
        file = self.folder / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text)
        return str(file)

    def file_sink(self, **keys):
        lines = {"type": "rolling-file", "file": self.folder / "out.log", "max_size": "1G", **keys}
        text = EVERYTHING + "[sink.all]\n" + "".join(f"{key} = {value}\n" for key, value in lines.items())
        return {"KOVADATA_LOG_CONFIG": self.put("log.ini", text)}

    def entries(self, text=None):
        """(process, text) of every line, all of which have to be whole entries."""
        lines = (self.folder / "out.log").read_text() if text is None else text
        matches = [ENTRY.match(line) for line in lines.splitlines()]
        self.assertNotIn(None, matches, lines[-2000:])
        return [(match.group(2), match.group(5)) for match in matches]

    def said(self, text=None):
        """How often each process said its sentence, in order of appearance."""
        counts = {}
        for process, sentence in self.entries(text):
            self.assertEqual(sentence, CLOSING)
            counts[process] = counts.get(process, 0) + 1
        return list(counts.values())


class Places(LoggingTest):
    def test_without_anything_nothing_is_written(self):
        for variables in ({}, {"KOVADATA_LOG_CONFIG": "", "KOVADATA_LOG_LEVEL": ""}, {"KOVADATA_LOG_LEVEL": "off"}):
            result = self.host("say 3", "open", **variables)
            self.assertEqual((result.stdout, result.stderr), ("", ""))
        self.assertEqual(list((self.folder / "work").iterdir()), [])

    def test_a_level_alone_writes_to_standard_error(self):
        result = self.host("say 3", KOVADATA_LOG_LEVEL="trace")
        self.assertEqual((result.stdout, self.said(result.stderr)), ("", [3]))
        self.assertEqual(self.host("say 3", KOVADATA_LOG_LEVEL="debug").stderr, "")
        for use in ("0", "1", "7", "4294967295"):
            text = self.host("open " + use, KOVADATA_LOG_LEVEL="trace").stderr
            self.assertIn(f"Opening /nowhere, recal = {use}\n", text)

    def test_the_help_names_the_levels_that_are_taken(self):
        line = re.search("KOVADATA_LOG_LEVEL +(.*): ", self.run_program(KOVA, "--help").stdout).group(1)
        for level in re.split(", | or ", line):
            self.assertNotIn("stays off", self.host("say 1", KOVADATA_LOG_LEVEL=level).stderr)

    def test_files_are_found_in_order(self):
        places = [("home/.config/kovadata/kovadata-log.ini", {}),
                  ("xdg/kovadata/kovadata-log.ini", {"XDG_CONFIG_HOME": str(self.folder / "xdg")}),
                  ("work/kovadata-log.ini", {"XDG_CONFIG_HOME": str(self.folder / "xdg")}),
                  ("named.ini", {"KOVADATA_LOG_CONFIG": str(self.folder / "named.ini")})]
        for number, (name, variables) in enumerate(places, 1):
            with self.subTest(name):
                self.put(name, EVERYTHING + f"[sink.one]\ntype=rolling-file\nfile={self.folder / name}.log\n")
                self.host("say 2", **variables)
                self.assertEqual(len(list(self.folder.rglob("*.log"))), number)
                self.assertEqual(self.said((self.folder / (name + ".log")).read_text()), [2])

    def test_log_files_stay_where_they_began_and_may_be_at_home(self):
        sink = "type=rolling-file\nmax_size=1k\n"
        self.put("work/kovadata-log.ini", EVERYTHING + f"[sink.one]\n{sink}file=a.log\n[sink.two]\n{sink}file=~/b.log\n")
        self.host("say 10", "chdir", "say 100")
        self.assertTrue((self.folder / "work/a.4.log").exists() and (self.folder / "home/b.log").exists())

    def test_a_broken_configuration_costs_one_line(self):
        cases = [("[levels]\nroot = loud\n", "log.ini: [levels] root = loud is not understood"),
                 ("a\x1b[2J = 3", "log.ini: unknown section or key a?[2J"),
                 ("[sink.a]\ntype = rolling-file\nfile = /proc/none/x\n", "Failed opening file /proc/none/x"),
                 (None, "absent.ini: No such file or directory")]
        for text, reason in cases:
            with self.subTest(reason):
                name = self.put("log.ini", text) if text else str(self.folder / "absent.ini")
                result = self.host("say 2", "open", "open", KOVADATA_LOG_CONFIG=name)
                self.assertTrue(result.stderr.startswith("kovadata: logging: stays off, "), result.stderr)
                self.assertIn(reason, result.stderr)
                self.assertEqual(result.stderr.count("\n"), 1, result.stderr)


class Streams(LoggingTest):
    def sink(self, **keys):
        text = EVERYTHING + "[sink.one]\n" + "".join(f"{key} = {value}\n" for key, value in keys.items())
        return {"KOVADATA_LOG_CONFIG": self.put("log.ini", text)}

    def test_standard_streams(self):
        for name in ("stdout", "stderr"):
            for more in ({}, {"async": "yes"}):
                result = self.host("say 5", **self.sink(type=name, **more))
                self.assertEqual(self.said(getattr(result, name)), [5])
                self.assertEqual(result.stdout + result.stderr, getattr(result, name))

    def test_nothing_is_lost_when_signals_interrupt_a_slow_pipe(self):
        environment = {**os.environ, **self.sink(type="stdout")}
        for is_blocking in (True, False):
            reading, writing = os.pipe()
            os.set_blocking(writing, is_blocking)
            with subprocess.Popen([HOST, "load", "signals", "say 2000"], stdout=writing, env=environment):
                os.close(writing)
                text = b""
                while part := os.read(reading, 4096):
                    time.sleep(0.01)  # so that the pipe is full
                    text += part
            os.close(reading)
            self.assertEqual(self.said(text.decode()), [2000])

    def on_terminal(self, **variables):
        ours, theirs = pty.openpty()
        with os.fdopen(ours, "rb", buffering=0) as reader:
            environment = {"TERM": "xterm", "HOME": str(self.folder), "KOVADATA_LIBRARY": os.environ["KOVADATA_LIBRARY"]}
            subprocess.run([HOST, "load", "say 1"], env={**environment, **variables}, stderr=theirs, check=True)
            os.close(theirs)
            return reader.read(10000).decode()

    def test_the_console_is_coloured_on_a_terminal_only(self):
        console, plain = self.sink(type="console"), self.sink
        self.assertRegex(self.on_terminal(**console), "Z \x1b\\[[0-9;]*mTRACE\x1b\\[m \\[")
        self.assertNotIn("\x1b", self.on_terminal(**console, NO_COLOR="1"))
        self.assertEqual(self.said(self.host("say 2", **console).stderr), [2])
        self.assertNotIn("\x1b", self.on_terminal(**plain(type="stderr")))

    def test_each_sink_has_its_level(self):
        text = ("[levels]\nroot = off\nlumo.io = trace\n[sink.a]\ntype = stdout\nlevel = debug\n"
                "[sink.b]\ntype = stderr\nlevel = trace\n")
        result = self.host("say 2", "open", KOVADATA_LOG_CONFIG=self.put("log.ini", text))
        self.assertNotIn("TRACE", result.stdout)
        self.assertEqual(result.stdout.count("DEBUG"), 1)
        self.assertEqual(result.stderr.count("TRACE"), 3)


class Async(LoggingTest):
    MODES = [{"async": "no"}, {"async": "yes"}, {"async": "yes", "queue": "3"}]
    # The thread sanitizer ends a child that makes a thread if its parent had several; the address sanitizer's allocator
    # may be locked for ever in one whose parent had.
    CHILD_MODES = MODES[:1] if SANITIZE else MODES

    def check_each_mode(self, *steps, expected, modes=None):
        for mode in modes or self.MODES:
            with self.subTest(**mode):
                (self.folder / "out.log").unlink(missing_ok=True)
                result = self.host(*steps, **self.file_sink(**mode))
                self.assertEqual(result.stderr, "")
                self.assertEqual(sorted(self.said()), sorted(expected))

    def test_unloading_loses_nothing_and_leaves_no_thread(self):
        self.check_each_mode("say 3000", "unload", "threadless", "load", "say 1000", "unload", "threadless",
                             expected=[4000])

    def test_forking_after_unloading_calls_nothing_that_is_gone(self):
        self.check_each_mode("say 10", "unload", "fork", "end", expected=[10])

    def test_a_child_writes_its_own_messages_only(self):
        self.check_each_mode("say 4000", "fork", "say 500", "end", "say 100", expected=[4100, 500],
                             modes=self.CHILD_MODES)

    def test_a_child_may_unload(self):
        self.check_each_mode("say 1000", "fork", "unload", "threadless", "end", "say 10", expected=[1010])

    def test_a_child_has_a_file_of_its_own_if_asked_to(self):
        self.host("say 20", "fork", "say 30", "end", "say 5", **self.file_sink(file=self.folder / "{pid}.log"))
        self.assertEqual(sorted(len(self.entries(file.read_text())) for file in self.folder.glob("*.log")), [25, 30])


class Diagnostics(LoggingTest):
    def test_a_failure_tells_where_and_from_where(self):
        result = self.run_program(KOVA, "info", "/nowhere", variables={"KOVADATA_LOG_LEVEL": "debug"}, status=1)
        text = result.stderr
        self.assertTrue(text.endswith("kova: /nowhere: Specified analysis directory does not exist.\n"), text)
        first, *rest = text.splitlines()[:-1]
        self.assertEqual(ENTRY.match(first).group(1, 4, 5), (
            "DEBUG", "lumo.io.kovarun_dll", "Caught std::exception with boost::diagnostic_information = "))
        self.assertTrue(all(line.startswith("    ") for line in rest), text)
        self.assertRegex(rest[0], r"^    (\.\./)*src/kova-data-reader/database/analysis_files\.cpp\(\d+\): Throw in function "
                                  r".*\blumo::io::kova::locateAnalysisFiles\(.*\)")
        self.assertIn("    std::exception::what: Specified analysis directory does not exist.", rest)
        trace = rest[rest.index("    [stack trace]") + 1:]
        for number, line in enumerate(trace):
            self.assertRegex(line, rf"^    #{number} 0x[0-9a-f]+ ")
        functions = "\n".join(trace)
        for name in ("lumo::io::kova::locateAnalysisFiles", "lumo::io::kova::KvdReader::KvdReader", "kvr_open"):
            self.assertIn(name, functions)

    @unittest.skipIf(os.geteuid() != 0 or SANITIZE, "only the superuser can give a program another user's rights")
    def test_a_program_with_more_rights_than_its_user_does_not_log(self):
        source = self.folder / "show.c"
        source.write_text("#include <stdio.h>\n#include <sys/auxv.h>\n"
                          "int main(void) { return getauxval(AT_SECURE) != 0 ? 0 : 4; }\n")
        copy = self.folder / "host"
        copy.write_bytes(pathlib.Path(HOST).read_bytes())
        os.chown(copy, 65534, 65534)
        os.chmod(copy, 0o6755)
        os.chmod(self.folder, 0o755)
        try:
            result = self.run_program(copy, "load", "say 3", variables={"KOVADATA_LOG_LEVEL": "trace"})
        except AssertionError as error:
            self.skipTest(f"the library cannot be reached as another user: {error}")
        self.assertEqual(result.stderr, "")


if __name__ == "__main__":
    unittest.main()
