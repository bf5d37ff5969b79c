#!/usr/bin/env python3
"""How well the tests bite: puts small faults into the sources, one at a time, and counts those that a test notices.

    tools/bite.py [--count 40] [--seed 1] [--edges] [--build build/release] [--list]

A fault is a comparison, a sign or a logical word turned round, or a statement left out, at places drawn by the seed
evenly over the folders of src; with --edges also a comparison that takes the equal case to its other side and a
constant a little changed, many of which change nothing. Each is built and given to the tests of its folder, then, if
it lives, to those of the folders that use it, then to all, the window's last. What the compiler refuses does not count.
Set MARVIK_REAL_DATA as for the tests. Work in a checkout without changes: each source is put back afterwards, also when
stopped. --list only names the faults that would be tried. A test that fails without the fault, too, is told of and the
fault not counted.
"""
import argparse
import pathlib
import random
import re
import resource
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
TURNS = [(r" < ", " >= "), (r" > ", " <= "), (r" <= ", " > "), (r" >= ", " < "), (r" == ", " != "), (r" != ", " == "),
         (r" && ", " || "), (r" \|\| ", " && "), (r" \+ ", " - "), (r" - ", " + "), (r" \* ", " / "), (r"\+\+", "--"),
         (r"\btrue\b", "false"), (r"\bfalse\b", "true"), (r"\bmin\b", "max"), (r"\bmax\b", "min"), (r"\bcontinue;", ";")]
EDGES = [(r" < ", " <= "), (r" > ", " >= "), (r" <= ", " < "), (r" >= ", " > "), (r"\b0\.5\b", "0.6"), (r"\b2\.0\b", "2.1")]
STATEMENT = re.compile(r"^ +[A-Za-z_][\w.:>\[\]-]*(\(.*\)| [-+*/|&]?= .*);$")
USERS = {"base": "files", "crystal": "chem refine", "model": "edit app", "language": "files refine app", "files": "app", "edit": "app",
         "chem": "report app", "refine": "check app phase", "phase": "app", "check": "app", "run": "app", "draw": "picture app",
         "gl": "picture", "picture": "app", "report": "app", "publish": "app"}


def faults_in(path, turns):
    lines = path.read_text().splitlines(keepends=True)
    for number, line in enumerate(lines):
        code = line.split("//")[0]
        if '"' in code or code.startswith("#") or "static_assert" in code or ".reserve(" in code or "template" in code or "operator" in code:
            continue
        for pattern, by in turns:
            for match in re.finditer(pattern, code):
                yield number, line[:match.start()] + by + line[match.end():]
        if STATEMENT.match(code.rstrip()) and "return" not in code:
            yield number, "\n"


def draw(count, seed, turns):
    chance = random.Random(seed)
    folders = sorted(p.name for p in (ROOT / "src").iterdir() if p.is_dir() and p.name != "ui")
    drawn = []
    while True:
        for folder in folders:
            path = chance.choice(sorted((ROOT / "src" / folder).rglob("*.cpp")))
            found = list(faults_in(path, turns))
            if found:
                drawn.append((folder, path, *chance.choice(found)))
        if len(drawn) >= 2 * count:
            chance.shuffle(drawn)
            return drawn


def run(command, seconds):
    """Whether it succeeds, and what it prints; bounded by processor time, so that a loaded machine notices no more."""
    def bound():
        resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds))
    try:
        done = subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                              timeout=10 * seconds, preexec_fn=bound)
    except subprocess.TimeoutExpired as late:
        return False, (late.stdout or b"").decode(errors="replace")
    return done.returncode == 0, done.stdout.decode(errors="replace")


def failing(build, program, only="-*Speed*:*OnEveryRealFile"):
    """The first test that fails, "" for none; None when the program cannot be built."""
    if not run(["ninja", "-C", build, f"test_{program}"], 1800)[0]:
        return None
    passed, printed = run([f"{build}/bin/test_{program}", f"--gtest_filter={only}", "--gtest_fail_fast"], 240)
    if passed:
        return ""
    failed = re.search(r"^\[  FAILED  \] ([\w./]+)", printed, re.M)
    return failed[1] if failed else (re.findall(r"^\[ RUN +\] (\S+)", printed, re.M) or ["*"])[-1]


def judge(folder, build):
    """Program and test that notice the fault, empty for none; None when it cannot be built."""
    nearest = [folder, *USERS.get(folder, "").split()]
    every = [path.name[5:] for path in sorted(pathlib.Path(ROOT, build, "bin").glob("test_*"))]
    for program in sorted(every, key=lambda name: (name == "ui", nearest.index(name) if name in nearest else len(nearest))):
        test = failing(build, program)
        if test is None:
            return None
        if test:
            return program, test
    return ()


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", type=int, default=40)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--edges", action="store_true")
    parser.add_argument("--build", default="build/release")
    parser.add_argument("--list", action="store_true")
    options = parser.parse_args()
    if not options.list and subprocess.run(["git", "diff", "--quiet", "--", "src"], cwd=ROOT).returncode:
        sys.exit("src has changes; commit them first")
    killed, alive = 0, []
    for folder, path, number, line in draw(options.count, options.seed, TURNS + EDGES * options.edges):
        if killed + len(alive) == options.count:
            break
        before = path.read_text()
        lines = before.splitlines(keepends=True)
        what = f"{path.relative_to(ROOT)}:{number + 1}: {lines[number].strip()}  ->  {line.strip() or 'left out'}"
        if options.list:
            print(what)
            alive.append(what)
            continue
        lines[number] = line
        try:
            path.write_text("".join(lines))
            by = judge(folder, options.build)
        finally:
            path.write_text(before)
        if by is None:
            continue
        if by and failing(options.build, *by) != "":
            print(f"UNSOUND   {'.'.join(by)} fails without a fault")
            continue
        killed += bool(by)
        if not by:
            alive.append(what)
        print(f"{by[0] if by else 'ALIVE':9} {what}", flush=True)
    if options.list:
        return 0
    print(f"{killed} of {killed + len(alive)} noticed")
    return 0 if killed >= 0.9 * (killed + len(alive)) else 1


if __name__ == "__main__":
    sys.exit(main())
