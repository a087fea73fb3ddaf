#!/usr/bin/env python3
"""Runs the commands of a page in order and compares what they print: docs_test.py PAGE BUILD PREFIX.

docs/index.md says how pages mark what is run. What is installed below PREFIX is found by shell, compiler and loader; a page
that installs packages runs in a throw-away root instead (throw_away_root.sh).
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SKIPPED = 77
SHOWN_ONLY = {"", "text"}  # languages of blocks that are neither run nor written
NOT_RUN = "<!-- not run: "


def steps_of(page):
    """What a page asks for: (line number, kind, text, output). Kind is a file's name, "sh" or "console"; output is None where
    the page shows none."""
    lines = open(page, encoding="utf-8").read().splitlines()
    for target in re.findall(r"\]\(([^)#:]+)\)", "\n".join(lines)):
        if not os.path.exists(os.path.join(os.path.dirname(page), target)):
            sys.exit(f"{page}: links to {target}, which is not there")
    steps = []
    before = ""  # the last line before a block
    at = 0
    while at < len(lines):
        line = lines[at]
        at += 1
        start = at  # lines count from 1
        if not line.startswith("```"):
            if line.startswith("    ") and not before:
                sys.exit(f"{page}:{start}: an indented block is never run: use a fence")
            before = line.strip()
            continue
        end = lines.index("```", at)
        body = lines[at:end]
        at = end + 1
        language = line[3:].strip()
        name = re.search(r"`([^`]+)`:$", before)
        if language == "output":
            steps[-1] = (*steps[-1][:3], body)
        elif before.startswith(NOT_RUN) or language in SHOWN_ONLY:
            pass
        elif language == "pycon":
            session_in_python = "\n".join(body)
            steps.append((start, "sh", f"cat >session <<\\END\n{session_in_python}\nEND\npython3 -m doctest session", None))
        elif language == "console":
            steps += session(start + 1, body)
        elif name or language == "sh":
            steps.append((start, name[1] if name else "sh", "\n".join(body), None))
        else:
            sys.exit(f"{page}:{start}: the line before this block names no file")
        before = ""
    return steps


def session(start, body):
    steps = []
    for number, line in enumerate(body, start):
        if line.startswith("$ "):
            steps.append((number, "console", line[2:], []))
        elif line.startswith("> ") and not steps[-1][3]:
            steps[-1] = (*steps[-1][:2], steps[-1][2] + "\n" + line[2:], [])
        else:
            steps[-1][3].append(line)
    return steps


def script_of(steps):
    """One shell runs everything, so that folders and variables stay. After each step it prints the step's number and status."""
    parts = []
    for number, (_, kind, text, _) in enumerate(steps):
        if kind not in ("sh", "console"):
            text = f'mkdir -p "$(dirname {kind})"\ncat >{kind} <<\\END_OF_FILE\n{text}\nEND_OF_FILE'
        parts.append(f"set -e\n{text}\nset +e" if kind == "sh" else text)
        parts.append(f"printf '\\036{number} %d\\036' $?")
    return "\n".join(parts) + "\n"


def matches(expected, printed):
    """Three dots in a line stand for any text. A line of three dots stands for any lines."""
    lines = [re.escape(line.rstrip()).replace(r"\.\.\.", ".*") for line in expected]
    pattern = "".join(r"(?:.*\n)*" if line == ".*" else line + r"\n" for line in lines)
    return re.fullmatch(pattern, "".join(line.rstrip() + "\n" for line in printed.splitlines()))


def compare(page, steps, printed):
    parts = printed.split("\036")
    results = dict(zip((int(mark.split()[0]) for mark in parts[1::2]), zip(parts[0::2], parts[1::2])))
    failed = 0
    for number, (line, _, text, expected) in enumerate(steps):
        out, mark = results.get(number, (parts[-1], "? 1"))
        # Where the page shows no output, only the status counts; a command of a console that shows none must print nothing.
        good = mark.endswith(" 0") if not expected else matches(expected, out)
        if good and (expected != [] or not out.strip()):
            continue
        wanted = "success" if expected is None else "\n".join(expected) or "nothing"
        print(f"{page}:{line}: {text}\n--- expected\n{wanted}\n--- printed, status {mark.split()[1]}\n{out}")
        failed = 1
        if number not in results:
            break
    return failed


def run(page, build, prefix, work):
    text, steps = open(page, encoding="utf-8").read(), steps_of(page)
    needed = re.findall(r"<!-- needs (.*) -->", text)
    missing = [program for program in " ".join(needed).split() if not shutil.which(program)]
    if missing:
        print(f"skipped: the page needs {', '.join(missing)}")
        return SKIPPED
    home, folder = f"{work}/home", f"{work}/page"
    environment = {"HOME": home, "LC_ALL": "C.UTF-8", "TZ": "UTC", "DEBIAN_FRONTEND": "noninteractive",
                   "PYTEST_ADDOPTS": "-p no:labgrid",  # which pytest finds by itself, and which takes two seconds to load
                   "DPKG_DEB_COMPRESSOR_LEVEL": "1",  # what packages hold is the same, sooner
                   "PATH": "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"}
    script = f"{work}/script"
    open(script, "w", encoding="utf-8").write(script_of(steps))
    os.mkdir(home)
    if "<!-- runs as root" in text:
        command = ["unshare", "--mount", "--propagation", "private", f"{ROOT}/tests/throw_away_root.sh", ROOT, build, work]
        environment["BUILD_DIR"] = build
        folder = work
    else:
        command = ["bash", script]
        if "<!-- runs in a clone" in text:
            shutil.copytree(ROOT, folder, ignore=shutil.ignore_patterns("build*", ".git", "__pycache__"))
            os.symlink(build, f"{folder}/build")
        else:
            os.mkdir(folder)
        environment |= {"ZELSIM_HOME": f"{work}/boards", "PATH": f"{prefix}/bin:" + environment["PATH"],
                        "PYTHONPATH": f"{prefix}/lib/python3/dist-packages",
                        "PKG_CONFIG_PATH": f"{prefix}/lib/pkgconfig", "CMAKE_PREFIX_PATH": prefix,
                        "LD_LIBRARY_PATH": f"{prefix}/lib"}
    done = subprocess.run(command, cwd=folder, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT)
    printed = done.stdout.decode("utf-8", "replace")
    if done.returncode == SKIPPED or printed.startswith("unshare: "):
        print(f"skipped: {printed}")
        return SKIPPED
    failed = compare(page, steps, printed)
    if not failed and done.returncode:
        print(printed.split("\036")[-1])
    return failed or done.returncode


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as folder_of_its_own:
        sys.exit(run(*map(os.path.abspath, sys.argv[1:]), folder_of_its_own))
