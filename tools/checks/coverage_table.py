#!/usr/bin/env python3
"""Prints what the counters below a build tree say: coverage_table.py ROOT TREE GCOV.

A source that is compiled more than once (for the DLL and for the unit tests)
counts as reached where any of them was. Branches that only an exception takes
are left out: nearly every call has one. So are lines of brackets alone, where
compilers put the way out of a block.
"""
import collections
import functools
import json
import pathlib
import re
import subprocess
import sys

NOT_THE_PRODUCT = ("tests", "bench", "fuzz", "build", "host/demo")
WORST_FILES = 20


class Source:
    def __init__(self):
        self.lines = collections.Counter()
        self.branches = collections.Counter()

    def add(self, line):
        self.lines[line["line_number"]] += line["count"]
        taken = [branch["count"] for branch in line["branches"] if not branch["throw"]]
        for number, count in enumerate(taken):
            # The compilers' order is the same for the same source; a template may have several lists.
            self.branches[line["line_number"], number] += count

    def unreached(self):
        return sorted(number for number, count in self.lines.items() if not count)


def notes_of(tree):
    """The notes of each object that is still built; those of moved sources stay behind."""
    for command in json.loads((tree / "compile_commands.json").read_text(encoding="utf-8")):
        words = command["command"].split()
        notes = pathlib.Path(command["directory"], words[words.index("-o") + 1]).with_suffix(".gcno")
        if notes.exists():
            yield notes


def reports(tree, gcov):
    """What gcov says of each object, in turn: of all at once it would fill the memory."""
    for notes in notes_of(tree):
        done = subprocess.run([gcov, "--json-format", "--branch-probabilities", "--stdout", notes.name],
                              cwd=notes.parent, capture_output=True, text=True, check=True)
        for text in done.stdout.splitlines():
            yield json.loads(text)


def read_sources(root, tree, gcov):
    sources = collections.defaultdict(Source)
    for report in reports(tree, gcov):
        for file in report["files"]:
            path = pathlib.Path(report["current_working_directory"], file["file"]).resolve()
            if not path.is_relative_to(root):
                continue
            name = path.relative_to(root)
            if any(name.is_relative_to(folder) for folder in NOT_THE_PRODUCT):
                continue
            text = lines_of(path)
            for line in file["lines"]:
                if re.search(r"\w", text[line["line_number"] - 1]):
                    sources[str(name)].add(line)
    return sources


@functools.cache
def lines_of(path):
    return path.read_text(encoding="utf-8").splitlines()


def share(counter):
    reached = sum(1 for count in counter.values() if count)
    return f"{100 * reached / len(counter):5.1f} % of {len(counter):5}" if counter else "    -           "


def print_folders(sources):
    folders = collections.defaultdict(lambda: (collections.Counter(), collections.Counter()))
    for name, source in sources.items():
        for folder in (str(pathlib.Path(name).parent), "all"):
            lines, branches = folders[folder]
            lines.update({(name, line): count for line, count in source.lines.items()})
            branches.update({(name, branch): count for branch, count in source.branches.items()})
    print(f"{'folder':28} {'lines':>16}   {'branches':>16}")
    for folder in sorted(folders, key=lambda folder: (folder == "all", folder)):
        lines, branches = folders[folder]
        print(f"{folder:28} {share(lines)}   {share(branches)}")


def print_worst(sources):
    print(f"\n{'most lines unreached':44} {'lines':>5}   {'':>16}   {'branches':>16}")
    for name in sorted(sources, key=lambda name: -len(sources[name].unreached()))[:WORST_FILES]:
        source = sources[name]
        print(f"{name:44} {len(source.unreached()):5}   {share(source.lines)}   {share(source.branches)}")


def write_unreached(root, sources, path):
    with open(path, "w", encoding="utf-8") as out:
        for name in sorted(sources):
            for number in sources[name].unreached():
                out.write(f"{name}:{number}: {lines_of(root / name)[number - 1].strip()}\n")


def main():
    root, tree, gcov = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve(), sys.argv[3]
    sources = read_sources(root, tree, gcov)
    if not any(count for source in sources.values() for count in source.lines.values()):
        sys.exit("error: nothing was counted")
    print_folders(sources)
    print_worst(sources)
    write_unreached(root, sources, tree / "unreached.txt")


main()
