"""Shared by scripts/fuzz and scripts/fuzz-proof; imported, not run."""
import pathlib
import re
import subprocess
import sys

PROJECT = pathlib.Path(__file__).resolve().parent.parent
STORED = pathlib.Path("tests/fuzz/corpus")
PACKAGES = ("clang", "libclang-rt-14-dev")

# How long an input may be, where the usual length does not do.
USUAL_LENGTH = 1024
LENGTHS = {"session": 3000, "request_reader": 2048}


def all_targets(tree=PROJECT):
    """The names of the targets: each has its stored inputs."""
    return sorted(path.stem for path in (tree / STORED).glob("*.txt"))


def longest_input(target):
    return LENGTHS.get(target, USUAL_LENGTH)


def say(text):
    print(text, file=sys.stderr, flush=True)


def build(tree, build_folder, goals, *settings):
    """Configures the preset fuzz if need be and builds; the build's output when that fails, else None."""
    steps = [["cmake", "--build", build_folder, "--target", *goals]]
    if not (build_folder / "build.ninja").exists():
        steps.insert(0, ["cmake", "--preset", "fuzz", "-B", build_folder, *settings])
    for step in steps:
        done = subprocess.run(step, cwd=tree, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, check=False)
        if done.returncode != 0:
            return done.stdout
    return None


def unpack(tree, target, folder):
    """Writes the stored inputs into a folder, a file each."""
    folder.mkdir(parents=True, exist_ok=True)
    for old in folder.iterdir():
        old.unlink()
    for number, line in enumerate((tree / STORED / f"{target}.txt").read_text().split(), 1):
        (folder / f"stored-{number:04}").write_bytes(bytes.fromhex(line))


def pack(folder, target):
    """Makes the inputs of a folder the stored ones: a line each, the short ones first."""
    inputs = sorted((path.read_bytes() for path in folder.iterdir()), key=lambda each: (len(each), each))
    text = "".join(each.hex().upper() + "\n" for each in inputs)
    (PROJECT / STORED / f"{target}.txt").write_text(text)
    return len(inputs), len(text)


class Outcome:
    """What libFuzzer has told at the end of a run."""

    def __init__(self, exit_code, log):
        self.exit_code = exit_code
        self.log = log
        executed = re.findall(r"^stat::number_of_executed_units: (\d+)", log, re.MULTILINE)
        started = re.findall(r"^#(\d+)\t", log, re.MULTILINE)
        self.executions = int((executed or started or ["0"])[-1])
        inited = re.findall(r"^#(\d+)\s+INITED", log, re.MULTILINE)
        self.from_stored = not inited

    def is_clean(self):
        return self.exit_code == 0

    def finding(self):
        """The line that says what was found."""
        for pattern in (r"^  what\(\):  .*", r"^SUMMARY: .*", r"^==\d+==ERROR: .*", r"^ALARM: .*"):
            found = re.findall(pattern, self.log, re.MULTILINE)
            if found:
                return found[0].strip()
        return f"ended with {self.exit_code}"


def run_fuzzer(program, folders, options, environment=None):
    done = subprocess.run([program, "-print_final_stats=1", "-rss_limit_mb=2048", *options, *folders],
                          stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                          env=environment, check=False)
    return Outcome(done.returncode, done.stderr.decode(errors="replace"))
