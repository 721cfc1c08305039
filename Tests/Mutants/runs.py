"""Which test reaches which change, and what becomes of each change."""

import concurrent.futures
import fnmatch
import hashlib
import json
import pathlib
import queue
import re
import subprocess

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
# In the order in which they are asked. Those that take long are asked for a while only. Left out are the programs that
# test nothing of Source: StructureTests and BenchmarkTests.
FAST = ("UnitTests", "MacHostTests")
PROGRAMS = FAST + ("ErrorHandlerTests", "AppKitTests", "HostTests", "WindowTests", "HostsAgreeTests",
                   "ToolOfMacOSTests", "DiagnoseTests", "ToolTests")
# How long the tests of a fast program, and of all others together, may usually take for one change.
FAST_SECONDS = 20
# How a test is said to have noticed something that did not end in time.
TOO_LONG = "took more than"
# How many tests of a fast program are asked about all changes before more are asked about any: those that are made for
# what they reach, which notice nearly all.
NEAR = 40
SLOW_SECONDS = 30


class TimeIsOver(Exception):
    """What a test was asked is not known, as there was no time for its answer."""


class CannotRun(Exception):
    """A program of tests does not get to its first test, with a change or without."""


class Worker:
    """A process that runs tests apart from everything else, and until a time, if there is one."""

    def __init__(self, folder, number, until=None):
        self.until = until
        temporary = folder / f"temporary{number}"
        temporary.mkdir(exist_ok=True)
        self.reached = folder / f"reached{number}"
        # The file that a process without environment reads, which each worker has for itself.
        self.chosen = folder / f"chosen{number}"
        for path in (folder / "chosen", self.chosen):
            path.write_text("")
        script = 'mount --bind "$1" "$2" && exec "$0" "$3"'
        # A file system of its own is gone with it, and can fill no disk, but would hide what is in /tmp.
        if not any(place.is_relative_to("/tmp") for place in (folder, HERE)):
            script = "mount -t tmpfs -o size=2g,mode=1777 tmpfs /tmp && " + script
            temporary = "/tmp"
        command = ["unshare", "--mount", "--propagation", "private", "sh", "-c", script, HERE / "worker.py",
                   self.chosen, folder / "chosen", temporary]
        self.process = subprocess.Popen([ROOT / "Scripts/isolated", *command], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True, start_new_session=True)

    def run(self, command, folder, limits, **environment):
        """Runs tests; `limits` are the seconds that each may take."""
        self.chosen.write_text("".join(f"{name}={value}\n" for name, value in environment.items()))
        request = {"command": command, "folder": folder, "limits": limits, "limit": max(limits.values()),
                   "environment": environment, "until": self.until}
        self.process.stdin.write(json.dumps(request) + "\n")
        self.process.stdin.flush()
        line = self.process.stdout.readline()
        if not line:
            raise SystemExit("The process that runs the tests has ended.")
        answer = json.loads(line)
        if answer["is_over"]:
            raise TimeIsOver
        return answer

    def close(self):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()


class Signatures:
    """What a test is made of: the sources, what all tests share, and its own file, by the name of its suite."""

    def __init__(self, root=ROOT):
        shared = hashlib.sha1()
        self.files = {}
        for path in sorted([*(root / "Source").rglob("*"), *(root / "Tests").rglob("*")]):
            if path.suffix not in (".h", ".cpp", ".mm", ".c") or "Fuzz" in path.parts or "Soak" in path.parts:
                continue
            content = path.read_bytes()
            if path.name.endswith("Test.cpp"):
                self.files[path.name.removesuffix("Test.cpp")] = hashlib.sha1(content).hexdigest()
            else:
                shared.update(content)
        self.shared = shared.hexdigest()

    def get(self, test):
        return hashlib.sha1(f"{self.shared} {self.get_own(test) or ''}".encode()).hexdigest()[:12]

    def get_own(self, test):
        """A digest of the file that the test is in; none if that is not known."""
        # Prefix/Suite/0.Name/0
        suites = [part for part in test.split(".")[0].split("/") if not part.isdigit()]
        fitting = [name for name in self.files if suites and suites[-1].startswith(name)]
        return self.files[max(fitting, key=len)][:12] if fitting else None


class Tests:
    """All tests, and which change each of them reaches."""

    def __init__(self, tree, numbered, signatures):
        self.tree, self.signatures = tree, signatures
        self.keys = {number: change.key for parts in numbered.values() for number, change in parts}
        self.numbers = {key: number for number, key in self.keys.items()}
        # For each program: its command, folder, and for each test its seconds and the changes that it reaches.
        self.programs = {}
        self.reached_by = {}
        # Whether whole suites stand for their tests.
        self.by_suite = False
        # Programs whose tests could not all be recorded.
        self.unknown = set()

    def find(self, programs, by_suite=False):
        """The tests as ctest runs them, or whole suites; none of a program that is told no test's name."""
        self.by_suite = by_suite
        text = subprocess.run([*self.tree.get_ctest(), "--show-only=json-v1"], check=True, capture_output=True,
                              text=True, cwd=ROOT).stdout
        for test in json.loads(text)["tests"]:
            command = test.get("command", [])
            names = [part.partition("=")[2] for part in command if part.startswith("--gtest_filter=")]
            name = pathlib.Path(command[0]).name if command else ""
            if not names or name not in programs:
                continue
            folder = next((one["value"] for one in test["properties"] if one["name"] == "WORKING_DIRECTORY"), ".")
            program = self.programs.setdefault(name, {"path": command[0], "folder": folder, "tests": {}})
            test = names[0].rpartition(".")[0] + ".*" if by_suite else names[0]
            program["tests"][test] = [0.0, [], ""]

    def record(self, workers, programs, say, is_over):
        """Runs each test by itself and notes what it reaches; what is known of a test that is as before stays."""
        for name in sorted(programs, key=PROGRAMS.index):
            tests = self.programs[name]["tests"]
            path = self.tree.folder / f"reached-{name}.json"
            known = json.loads(path.read_text()) if path.exists() else {}
            wanted = []
            for test in tests:
                signature = self.signatures.get(test)
                if test in known and known[test][2] == signature:
                    tests[test] = known[test]
                else:
                    tests[test] = [0.0, [], signature]
                    wanted.append(test)
            if not wanted:
                continue
            say(f"Recording what {len(wanted)} tests of {name} reach.")
            failed = []
            free = queue.SimpleQueue()
            for worker in workers:
                free.put(worker)

            def record_one(test):
                worker = free.get()
                try:
                    return None if is_over() else self.record_test(worker, name, test)
                except TimeIsOver:
                    return None
                finally:
                    free.put(worker)

            with concurrent.futures.ThreadPoolExecutor(len(workers)) as pool:
                for test, found in zip(wanted, pool.map(record_one, wanted)):
                    if found is None:
                        self.unknown.add(name)
                        tests[test][2] = ""
                        continue
                    tests[test][0:2] = found[:2]
                    if not found[2]:
                        failed.append(test)
                        tests[test][2] = ""
            if failed:
                say(f"{name}: {len(failed)} tests fail without any change and are not asked: {' '.join(failed)}")
            temporary = path.with_suffix(".new")
            temporary.write_text(json.dumps(tests))
            temporary.replace(path)

    def record_test(self, worker, name, test):
        """The test's seconds, the changes that it reaches, and whether it passes without any."""
        program = self.programs[name]
        worker.reached.write_bytes(bytes(max(self.keys, default=0) + 1))
        worker.reached.chmod(0o666)
        answer = worker.run([program["path"], f"--gtest_filter={test}"], program["folder"], {test: 180},
                            TOVRA_MUTANT_REACHED=str(worker.reached))
        if answer["status"] != 0 or not re.search(r"^\[  PASSED  \] [1-9]", answer["output"], re.MULTILINE):
            log = self.tree.folder / f"failed-{name}-{re.sub('[^A-Za-z0-9.]', '_', test)}.log"
            log.write_text(answer["output"])
            return answer["seconds"], [], False
        reached = worker.reached.read_bytes()
        keys, position = [], reached.find(1)
        while position >= 0:
            if position in self.keys:
                keys.append(self.keys[position])
            position = reached.find(1, position + 1)
        return round(answer["seconds"], 3), keys, True

    def index(self):
        """Sorts by change what has been recorded, as (program, test, seconds, how many changes the test reaches)."""
        self.reached_by = {}
        for name in sorted(self.programs, key=PROGRAMS.index):
            for test, (seconds, keys, _) in self.programs[name]["tests"].items():
                for key in keys:
                    self.reached_by.setdefault(key, []).append((name, test, seconds, len(keys)))

    def get_digest(self, change, programs):
        """A digest of the tests of these programs that reach a change: what survived them survives as long as it
        stays."""
        text = "\n".join(sorted(f"{program} {test} {self.signatures.get_own(test)}"
                                for program, test, *_ in self.reached_by.get(change.key, []) if program in programs))
        return hashlib.sha1(text.encode()).hexdigest()[:12]


def get_room(name):
    parts = name.split("/")
    return parts[1] if parts[1] == "Graphics" else "/".join(parts[1:3])


class Runs:
    def __init__(self, tests, worker, lucky):
        self.tests, self.worker = tests, worker
        # The tests that noticed something in a function, the last one first.
        self.lucky = lucky

    def has_others(self, change, programs):
        """Whether there are tests of the programs that reach the change and are not the nearest."""
        reaching = [one[0] for one in self.tests.reached_by.get(change.key, []) if one[0] in programs]
        return any(reaching.count(program) > (NEAR if program in FAST else 0) for program in programs)

    def try_change(self, name, change, programs, near):
        """Which test of the programs notices a change, as (program, test, how); none if none does. Asks the nearest
        tests or all others."""
        reaching = [one for one in self.tests.reached_by.get(change.key, []) if one[0] in programs]
        lucky = self.lucky.setdefault((name, change.function), [])
        first = [one for one in reaching if (one[0], one[1]) in lucky[:3] and one[2] < 2]
        for program in {one[0] for one in first} if near else ():
            found = self.ask(program, [one for one in first if one[0] == program], change)
            if found:
                return self.note(lucky, found)
        for program, asked in plan(reaching, programs, name, change):
            if program in FAST:
                # A list of tests may not be longer than the system allows an argument to be.
                parts = [asked[:NEAR]] if near else [asked[start:start + 800] for start in range(NEAR, len(asked), 800)]
            else:
                parts = [] if near else [asked]
            for part in parts:
                found = self.ask(program, part, change) if part else None
                if found:
                    return self.note(lucky, found)
        return None

    @staticmethod
    def note(lucky, found):
        program, test, _ = found
        if test:
            lucky.insert(0, (program, test))
        return found

    def ask(self, program, asked, change, passed=()):
        """Which of the tests notices the change, if one does; those that have passed alone are not asked again."""
        limits = {test: get_limit(seconds) for _, test, seconds, _ in asked}
        number = str(self.tests.numbers[change.key])
        found = self.run(program, limits, number, passed)
        if found and not any(fnmatch.fnmatchcase(found[0], one) for one in limits):
            return self.confirm(program, limits, number, passed, found[1])
        # A test may fail only because of those before it in its process, and tests on servers, and times, depend on the
        # machine's load: what is noticed is noticed by the test alone, and by such a test twice.
        if found and (list(limits) != [found[0]] or program not in FAST or found[1].startswith(TOO_LONG)):
            test = found[0]
            again = self.run(program, {test: max(5.0, 2 * limits.get(test, 0.0))}, number)
            if not again:
                others = [one for one in asked if one[1] != test]
                # The test may be one of a suite that is asked.
                passed = passed if len(others) < len(asked) else (*passed, test)
                return self.ask(program, others, change, passed) if others else None
            found = test, again[1]
        return (program, *found) if found else None

    def confirm(self, program, limits, number, passed, how):
        """Whether it is the change because of which the program ends with no test to name."""
        if self.run(program, limits, number, passed) is None:
            return None
        found = self.run(program, limits, "0", passed)
        if found and not found[0]:
            raise CannotRun(f"{program} {found[1]} before its first test, also without a change.")
        return program, "", how

    def run(self, program, limits, number, passed=()):
        """Runs the tests with a change; gives which fails, and how."""
        command = self.tests.programs[program]
        wanted = ":".join(limits) + (f"-{':'.join(passed)}" if passed else "")
        return self.judge(self.worker.run([command["path"], "--gtest_fail_fast", f"--gtest_filter={wanted}"],
                                          command["folder"], limits, TOVRA_MUTANT=number))

    @staticmethod
    def judge(answer):
        output = answer["output"]
        if answer["status"] == 0:
            return None
        failed = re.findall(r"^\[  FAILED  \] (\S+?)(?:,| \()", output, re.MULTILINE)
        if failed:
            return failed[0], "failed"
        running = re.findall(r"^\[ RUN      \] (\S+)", output, re.MULTILINE)
        test = running[-1] if running else ""
        if answer["status"] is None:
            return test, f"{TOO_LONG} {answer['limit']:.0f} s"
        return test, f"ended with {answer['status']}"


def plan(reaching, programs, name, change):
    """Which of the tests that reach a change it is put to, in their order, by program: those for which there is
    time."""
    spent = 0.0
    words = get_words(f"{pathlib.Path(name).stem} {change.function} {change.source_line}")
    for program in sorted(programs, key=PROGRAMS.index):
        # Those that reach the fewest changes are made for what they reach.
        asked = sorted((one for one in reaching if one[0] == program), key=lambda one: (one[3], one[2]))
        if program in FAST:
            asked = take(asked, FAST_SECONDS)
        else:
            # All reach nearly the same: those go first whose names have words of the change.
            asked.sort(key=lambda one: -len(words & get_words(one[1])))
            asked = take(asked, SLOW_SECONDS - spent)
            spent += sum(one[2] for one in asked)
        yield program, asked


def get_words(text):
    """The words of a text with names such as GetShaderCache, but short ones."""
    return {word.lower() for word in re.findall(r"[A-Z]?[a-z]+", text) if len(word) > 3}


def get_limit(seconds):
    """How long a test may take that usually takes so many seconds."""
    return max(2.0, 10 * seconds)


def take(asked, seconds):
    taken, sum_of = [], 0.0
    for one in asked:
        if sum_of + one[2] > seconds and taken:
            break
        sum_of += one[2]
        taken.append(one)
    return taken if seconds > 0 else []
