#!/usr/bin/env python3
"""Every command that a text of this tree shows is one that its program takes.

    documented_commands.py SOURCES PROGRAMS

Reads README.md, docs/, ./run and the examples in the programs' help, and gives each command to its
program, without an instrument. "see --help" in the answer is a command line that it did not take.
"""

import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

# A command ends with its line, the code span around it, or blanks before a remark.
COMMAND = re.compile(r"\bq5(?:host|plan|devices) [^`\n]*?(?=`|\n|  |\s+\(|$)")
COMMANDS = "versions|progress|send|errors|measure|sweep|stop|watch|messages"
NOWHERE = "--root /nonexistent"  # nothing is asked of any instrument


def texts(sources, programs):
    for file in [sources / "README.md", sources / "run", *sorted((sources / "docs").glob("*.md"))]:
        yield file.name, file.read_text()
    for command in [], ["measure"], ["sweep"], ["stop"], ["watch"], ["messages"]:
        words = [programs / "q5host", *command, "--help"]
        run = subprocess.run(words, capture_output=True, text=True, check=True)
        yield " ".join(["q5host", *command]), run.stdout


def commands(text):
    """Whole ones: the others are words of a sentence. A code span may be broken by a line's end."""
    text = re.sub(r"`q5[^`]*`", lambda span: span[0].replace("\n", " "), text)
    for command in COMMAND.findall(text):
        whole = re.search(rf"q5host .*\b({COMMANDS})\b|q5plan \d|q5devices --", command)
        if whole and "[" not in command:
            yield command


def refused(programs, command, directory):
    command = re.sub(r"--(root|connect) \S+", NOWHERE, re.sub(r" --timeout \d+", "", command))
    program, *words = shlex.split(command)
    if program == "q5host":
        words += ["--timeout", "1"]
    words.insert(0, programs / program)
    environment = {name: value for name, value in os.environ.items() if name != "Q5_ROOT"}
    run = subprocess.run(words, cwd=directory, env=environment, capture_output=True, text=True, timeout=20)
    return run.stderr if re.search(r"see --help|with --help", run.stderr) else ""


def main():
    sources, programs = (pathlib.Path(word).resolve() for word in sys.argv[1:])
    wrong = seen = 0
    with tempfile.TemporaryDirectory() as directory:
        for place, text in texts(sources, programs):
            for command in commands(text):
                seen += 1
                if why := refused(programs, command, directory):
                    wrong += 1
                    print(f"{place}: {command}\n  {why}")
    print(f"{seen} commands, {wrong} refused")
    # an expression that finds nothing would find nothing wrong either
    return wrong != 0 or seen < 20


sys.exit(main())
