#!/usr/bin/env python3
"""Counts of scripts/coverage.sh: a table by file, the figures to hold, and what is not reached.

coverage_report.py ROOT CORPUS_JSON ALL_JSON UNREACHED_LIST
"""
import json
import os.path
import re
import subprocess
import sys

# Lines and branches in per cent. The corpus alone has to reach what parses and decodes.
PARSERS = re.compile(r"^codecs/jpeg/(library/decoder/|packets/|frame_decode|jpeg_decompressor)"
                     r"|^common/ini_")
NEEDED_BY_CORPUS = (95, 85)
NEEDED_BY_ALL = (97, 90)
MOST_ENTRIES = 60
LIBRARY = ("codecs/", "common/", "include/", "primitives/")
FORMS = re.compile(r"^(ref|w7|v8|s8|p8|g9|h9)_")


def place_in(root, path):
    """The name from the project's root on; compilers are given names from the build on."""
    return os.path.relpath(os.path.normpath(path), root)


def load(path, root):
    """Of the library's files: {name: summary}, {name: segments}, and all functions."""
    with open(path, encoding="utf-8") as file:
        data = json.load(file)["data"][0]
    files = {place_in(root, f["filename"]): f for f in data["files"]}
    files = {name: f for name, f in files.items() if name.startswith(LIBRARY)}
    if not files:
        sys.exit(f"{path}: no file of the library")
    return ({name: f["summary"] for name, f in files.items()},
            {name: f["segments"] for name, f in files.items()}, data["functions"])


def share(summaries, kind):
    count = sum(s[kind]["count"] for s in summaries)
    covered = sum(s[kind]["covered"] for s in summaries)
    return 100.0 if count == 0 else 100.0 * covered / count


def both(summaries):
    summaries = list(summaries)
    return share(summaries, "lines"), share(summaries, "branches")


def demangle(names):
    text = subprocess.run(["c++filt"], input="\n".join(names), text=True, check=True,
                          capture_output=True).stdout
    return text.splitlines()


def lines_without_run(segments):
    """Lines that hold code of which nothing has run. A segment is line, column, count, whether it
    counts, whether a region begins there, whether that is a gap; it reaches to the next one."""
    by_line = {}
    for segment in segments:
        by_line.setdefault(segment[0], []).append(segment)
    wrapped, missing = None, []
    for line in range(min(by_line, default=1), max(by_line, default=0) + 1):
        begun = [s[2] for s in by_line.get(line, []) if s[3] and s[4] and not s[5]]
        around = [wrapped[2]] if wrapped is not None and wrapped[3] else []
        if (begun or around) and max(begun + around) == 0:
            missing.append(line)
        wrapped = by_line.get(line, [wrapped])[-1]
    return missing


def unreached(segments, functions, root):
    """{"file function": the first of its lines that nothing reaches}. A text that is compiled for
    several forms or types counts once: a line is reached where one of them is."""
    spans = {}
    for function in functions:
        first, last = function["regions"][0][0], function["regions"][0][2]
        name = function["name"].split(":")[-1].split(";")[-1]
        spans.setdefault(place_in(root, function["filenames"][0]), []).append(
            (last - first, first, last, name))
    found = []
    for path, parts in segments.items():
        for line in lines_without_run(parts):
            around = [s for s in spans.get(path, []) if s[1] <= line <= s[2]]
            found.append((path, line, min(around)[3] if around else "?"))
    result = {}
    for (path, line, _), text in zip(found, demangle([name for _, _, name in found])):
        text = re.sub(r"\(anonymous namespace\)::", "", text).split("(")[0]
        text = FORMS.sub("", re.sub(r"<.*>", "", text).split(" ")[-1])
        result.setdefault(f"{path} {text}", line)
    return result


def read_list(path):
    with open(path, encoding="utf-8") as file:
        lines = [line.strip() for line in file if line.strip() and not line.startswith("#")]
    return dict(line.split(": ", 1) for line in lines)


def main():
    root, corpus_path, all_path, list_path = sys.argv[1:]
    by_corpus, _, _ = load(corpus_path, root)
    by_all, segments, functions = load(all_path, root)
    print(f"{'':54}{'corpus alone':>16}{'with tests':>16}")
    print(f"{'file':54}{'lines':>8}{'branches':>8}{'lines':>8}{'branches':>8}")
    for name in sorted(by_all):
        numbers = both([by_corpus[name]] if name in by_corpus else []) + both([by_all[name]])
        print(f"{name:54}" + "".join(f"{n:8.1f}" for n in numbers))

    failed = False
    parsers = both(s for name, s in by_corpus.items() if PARSERS.search(name))
    for title, have, need in (("parsers and decoder, by the corpus alone", parsers,
                               NEEDED_BY_CORPUS),
                              ("library, by tests and corpus", both(by_all.values()),
                               NEEDED_BY_ALL)):
        enough = all(h >= n for h, n in zip(have, need))
        failed = failed or not enough
        print(f"{title}: {have[0]:.1f}% of lines, {have[1]:.1f}% of branches; "
              f"needed {need[0]} and {need[1]}: {'yes' if enough else 'NO'}")

    listed = read_list(list_path)
    found = unreached(segments, functions, root)
    for key in sorted(set(found) - set(listed)):
        print(f"neither reached nor listed: {key} (line {found[key]})")
        failed = True
    for key in sorted(set(listed) - set(found)):
        print(f"listed, but reached or gone: {key}")
        failed = True
    if len(listed) > MOST_ENTRIES:
        print(f"{len(listed)} entries in {list_path}, more than {MOST_ENTRIES}")
        failed = True
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
