#!/usr/bin/env python3
"""How well the tests bite: puts small faults into the sources, one at a time, and counts those that a test notices.

    tools/bite.py [--count 40] [--seed 1] [--build build/release]

A fault is a comparison, a sign or a logical word turned round, a constant changed, or a statement left out, at places
drawn by the seed evenly over the folders of src. Each is built and given to the tests of its folder, then, if it
lives, to those of the folders that use it. What the compiler refuses does not count. Work in a checkout without
changes: each source is put back afterwards, also when stopped.
"""
import argparse
import pathlib
import random
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
TURNS = [(r" < ", " <= "), (r" > ", " >= "), (r" <= ", " < "), (r" >= ", " > "), (r" == ", " != "), (r" != ", " == "),
         (r" && ", " || "), (r" \|\| ", " && "), (r" \+ ", " - "), (r" - ", " + "), (r" \* ", " / "), (r"\+\+", "--"),
         (r"\btrue\b", "false"), (r"\bfalse\b", "true"), (r"\bmin\b", "max"), (r"\bmax\b", "min"),
         (r"\b0\.5\b", "0.6"), (r"\b2\.0\b", "2.1"), (r"\bcontinue;", ";")]
STATEMENT = re.compile(r"^ +[A-Za-z_][\w.:>\[\]-]*(\(.*\)| [-+*/|&]?= .*);$")
PROGRAMS = {"gl": ["gl", "picture"], "picture": ["picture", "app"], "report": ["report", "app"], "base": ["base", "files"],
            "crystal": ["crystal", "chem", "refine"], "model": ["model", "edit", "app"], "language": ["language", "files", "refine"],
            "files": ["files", "app"], "edit": ["edit", "app"], "chem": ["chem", "report", "app"],
            "draw": ["draw", "picture", "app"], "run": ["run", "app"]}


def faults_in(path):
    lines = path.read_text().splitlines(keepends=True)
    for number, line in enumerate(lines):
        code = line.split("//")[0]
        if '"' in code or code.startswith("#") or "static_assert" in code or "template" in code or "operator" in code:
            continue
        for pattern, by in TURNS:
            for match in re.finditer(pattern, code):
                yield number, line[:match.start()] + by + line[match.end():]
        if STATEMENT.match(code.rstrip()) and "return" not in code:
            yield number, "\n"


def draw(count, seed):
    chance = random.Random(seed)
    folders = sorted(p.name for p in (ROOT / "src").iterdir() if p.is_dir() and p.name != "ui")
    drawn = []
    while True:
        for folder in folders:
            path = chance.choice(sorted((ROOT / "src" / folder).rglob("*.cpp")))
            found = list(faults_in(path))
            if found:
                drawn.append((folder, path, *chance.choice(found)))
        if len(drawn) >= 2 * count:
            chance.shuffle(drawn)
            return drawn


def run(command, limit):
    try:
        return subprocess.run(command, cwd=ROOT, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL, timeout=limit).returncode == 0
    except subprocess.TimeoutExpired:
        return False


def judge(folder, build):
    """What notices the fault, "" for nothing; None when it cannot be built."""
    for program in PROGRAMS.get(folder, [folder]):
        if not run(["ninja", "-C", build, f"test_{program}"], 1800):
            return None
        if not run([f"{build}/bin/test_{program}", "--gtest_filter=-*Speed*:*Cost*:*EveryCommand*", "--gtest_brief=1"], 240):
            return program
    return ""


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", type=int, default=40)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--build", default="build/release")
    options = parser.parse_args()
    if subprocess.run(["git", "diff", "--quiet", "--", "src"], cwd=ROOT).returncode:
        sys.exit("src has changes; commit them first")
    killed, alive = 0, []
    for folder, path, number, line in draw(options.count, options.seed):
        if killed + len(alive) == options.count:
            break
        before = path.read_text()
        lines = before.splitlines(keepends=True)
        what = f"{path.relative_to(ROOT)}:{number + 1}: {lines[number].strip()}  ->  {line.strip() or 'left out'}"
        lines[number] = line
        try:
            path.write_text("".join(lines))
            by = judge(folder, options.build)
        finally:
            path.write_text(before)
        if by is None:
            continue
        killed += bool(by)
        if not by:
            alive.append(what)
        print(f"{by or 'ALIVE':9} {what}", flush=True)
    print(f"{killed} of {killed + len(alive)} noticed")
    return 0 if killed >= 0.9 * (killed + len(alive)) else 1


if __name__ == "__main__":
    sys.exit(main())
