#!/usr/bin/env python3
"""Counts of scripts/coverage.sh: a table by file, the figures to hold, and what is not reached.

coverage_report.py ROOT CORPUS_JSON ALL_JSON UNREACHED_LIST
"""
import json
import re
import subprocess
import sys

# Lines and branches in per cent. The corpus alone has to reach what parses and decodes.
PARSERS = re.compile(r"^codecs/jpeg/(library/decoder/|packets/|frame_decode|jpeg_decompressor)"
                     r"|^common/ini_")
NEEDED_BY_CORPUS = (95, 85)
NEEDED_BY_ALL = (97, 90)
MOST_ENTRIES = 60
CODE_REGION = 0


def load(path, root):
    with open(path, encoding="utf-8") as file:
        data = json.load(file)["data"][0]
    inside = len(root) + 1
    files = {f["filename"][inside:]: f["summary"] for f in data["files"]
             if f["filename"].startswith(root + "/")}
    return files, data["functions"]


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


def unreached(functions, root):
    """{"file function": first line that nothing reaches}. The same text compiled for several forms,
    and templates for several types, count as one: a region is reached where one of them is."""
    best = {}
    for function in functions:
        path = function["filenames"][0]
        if not path.startswith(root + "/"):
            continue
        for region in function["regions"]:
            if region[7] != CODE_REGION or region[5] != 0:
                continue
            place = (path[len(root) + 1:], *region[:4])
            reached, name = best.get(place, (0, ""))
            best[place] = (max(reached, region[4]), min(filter(None, (name, function["name"]))))
    missing = [(place, name) for place, (reached, name) in best.items() if reached == 0]
    texts = demangle([name.split(":")[-1] for _, name in missing])
    found = {}
    for (place, _), text in zip(missing, texts):
        text = re.sub(r"\(anonymous namespace\)::", "", text).split("(")[0]
        text = re.sub(r"<.*>", "", text).split(" ")[-1]
        key = f"{place[0]} {text}"
        found[key] = min(found.get(key, place[1]), place[1])
    return found


def read_list(path):
    with open(path, encoding="utf-8") as file:
        lines = [line.strip() for line in file if line.strip() and not line.startswith("#")]
    return dict(line.split(": ", 1) for line in lines)


def main():
    root, corpus_path, all_path, list_path = sys.argv[1:]
    by_corpus, _ = load(corpus_path, root)
    by_all, functions = load(all_path, root)
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
    found = unreached(functions, root)
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
