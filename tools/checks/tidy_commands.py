#!/usr/bin/env python3
"""Prints the sources that clang-tidy is asked about: tidy_commands.py ROOT TREE OUT.

Writes OUT/compile_commands.json, which compiles each of them once: the build tree TREE compiles
many twice, for the DLL and for the unit tests, and clang-tidy would look at each of these.
"""
import json
import pathlib
import sys

LEFT_OUT = ("tests", "bench", "fuzz", "examples", "build")


def main(root, tree, out):
    commands = {}
    for command in json.loads((tree / "compile_commands.json").read_text(encoding="utf-8")):
        source = pathlib.Path(command["file"])
        if source.suffix == ".cpp" and source.relative_to(root).parts[0] not in LEFT_OUT:
            commands.setdefault(source, command)
    out.mkdir(parents=True, exist_ok=True)
    (out / "compile_commands.json").write_text(json.dumps(list(commands.values()), indent=1), encoding="utf-8")
    print("\n".join(str(source) for source in sorted(commands)))


main(*(pathlib.Path(argument) for argument in sys.argv[1:]))
