"""coverage_summary.py EXPORT ROOT: sums line and branch coverage up by library and fails below the floors.

A branch counts as covered when any instantiation of its template took it. Lines that carry (or stand
below a line that carries) a comment "// coverage: reason" are left out.
"""

import json
import os
import pathlib
import sys

FLOORS = {  # library: (lines, branches) in percent
    "src/LibDecoder": (100, 98),
    "src/HostServices": (100, 98),
    "src/StreamHost": (95, 95),
    "src/ParameterSetSyntax": (95, 95),
    "src/ParameterSetChecks": (95, 95),
    "src/ContainerHost": (95, 93),
    "src/Inspector": (95, 88),
    "tools/h265ps": (90, 83),  # the processes that scan reads with end without telling
}


def left_out_lines(path):
    lines = path.read_text(encoding="utf-8").splitlines()
    marked = {number for number, line in enumerate(lines, 1) if "// coverage:" in line}
    return marked | {number + 1 for number in marked}


def line_counts(segments, last_line):
    """Execution count of each line that has code, from the segments of one file."""
    counts = {}
    active = None  # (count, has_count, is_gap) of the region that is open at a line's start
    by_line = {}
    for line, _, count, has_count, is_entry, is_gap in segments:
        by_line.setdefault(line, []).append((count, has_count, is_entry, is_gap))
    for line in range(1, last_line + 1):
        here = by_line.get(line, [])
        candidates = [count for count, has_count, is_entry, is_gap in here if has_count and is_entry and not is_gap]
        if active and active[1] and not active[2] and (not here or not candidates):
            candidates.append(active[0])
        elif active and active[1] and not active[2]:
            candidates.append(active[0])
        if candidates:
            counts[line] = max(candidates)
        if here:
            count, has_count, _, is_gap = here[-1]
            active = (count, has_count, is_gap)
    return counts


def branch_counts(functions, name):
    """Both sides of each condition of one file, summed over instantiations."""
    sides = {}
    for function in functions:
        for branch in function.get("branches", []):
            line, column, end_line, end_column, taken, not_taken, file_id = branch[:7]
            if function["filenames"][file_id] != name:
                continue
            both = sides.setdefault((line, column, end_line, end_column), [0, 0])
            both[0] += taken
            both[1] += not_taken
    return sides


def ranges(numbers):
    """3, 4, 5, 9 as "3-5, 9"."""
    spans = []
    for number in sorted(numbers):
        if spans and spans[-1][1] == number - 1:
            spans[-1][1] = number
        else:
            spans.append([number, number])
    return ", ".join(str(first) if first == last else f"{first}-{last}" for first, last in spans)


class Library:
    """What was counted in the files of one library, and what was missed in each."""

    def __init__(self):
        self.lines = [0, 0]  # run, all
        self.branches = [0, 0]  # sides taken, all
        self.missed = []

    def add(self, file, functions, path, name):
        left_out = left_out_lines(path)
        last_line = len(path.read_text(encoding="utf-8").splitlines())
        not_run = []
        for line, count in line_counts(file["segments"], last_line).items():
            if line in left_out:
                continue
            self.lines[0] += count > 0
            self.lines[1] += 1
            if count == 0:
                not_run.append(line)
        if not_run:
            self.missed.append(f"{name}: not run: {ranges(not_run)}")
        for (line, column, _, _), both in sorted(branch_counts(functions, file["filename"]).items()):
            if line in left_out:
                continue
            self.branches[0] += sum(count > 0 for count in both)
            self.branches[1] += 2
            never = [side for side, count in zip(("true", "false"), both) if count == 0]
            if never:
                self.missed.append(f"{name}:{line}:{column}: never {' nor '.join(never)}")


def percent(counts):
    return 100 * counts[0] / max(counts[1], 1)


def main():
    export = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))["data"][0]
    root = pathlib.Path(sys.argv[2])
    failed = False
    print(f"{'library':<18} {'lines':>16} {'branches':>16}")
    for directory, (line_floor, branch_floor) in FLOORS.items():
        library = Library()
        for file in export["files"]:
            path = pathlib.Path(os.path.normpath(file["filename"]))  # a compiler cache names it from the build's folder
            if root / directory in path.parents:
                library.add(file, export["functions"], path, path.relative_to(root))
        lines, branches = percent(library.lines), percent(library.branches)
        print(f"{directory:<18} {lines:6.2f} % of {library.lines[1]:5} {branches:6.2f} % of {library.branches[1]:5}")
        for entry in library.missed:
            print("    " + entry)
        if lines < line_floor or branches < branch_floor:
            print(f"    below {line_floor} % of lines or {branch_floor} % of branches")
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
