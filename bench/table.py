#!/usr/bin/env python3
"""Prints the ratios of docs/performance.md from the results of the benchmark programs.

A ratio is the median over the repetitions of one run: the n-th measurement of a path is divided by
the n-th of what it is held against. All times are processor times but where the row says otherwise; those
of processes are measured by the program itself."""

import json
import statistics
import sys

# The path, what it is held against, their benchmarks, and the limit.
ROWS = [
    ("rejecting a missing candidate through `validateAndAdd`", "a bare `stat` of the same path",
     "refuseMissing", "bareStat", "at most 1.3"),
    ("recursive walk for an absent name, 10,000 directories of 10 plain files each",
     "`find TREE -name X` as a process", "walk/10000", "findProcess/10000", "at most 1.0"),
    ("the same", "a loop of `openat`, `getdents64` and one `fstatat` a directory",
     "walk/10000", "bareLoop/10000", "at most 1.7"),
    ("the walk over 200,000 directories", "its own time over 10,000",
     "walk/200000", "walk/10000", "at most 25"),
    ("the bare loop over 200,000 directories, for comparison", "its own time over 10,000",
     "bareLoop/200000", "bareLoop/10000", ""),
    ("MD5 of a file of 1 GiB", "`openssl dgst -md5` as a process",
     "checksum/md5", "opensslProcess/md5", "at most 1.1"),
    ("SHA-1 of a file of 1 GiB", "`openssl dgst -sha1` as a process",
     "checksum/sha1", "opensslProcess/sha1", "at most 1.1"),
    ("`findBinFile` found in the first step with a directory, logging off",
     "the `stat` and `open` calls that it must make", "findBinFile", "bareCalls", "at most 2.5"),
    ("`lokata run`, 10,000 requests of which 9,000 repeat, without history", "the same with history",
     "run/off", "run/suggest", "at least 5"),
    ("resolving 2,000 moved modules below 50,000 directories, and looking for their symbols",
     "ten runs of `find`, one for a name", "resolve/indexed/2000", "findNames/10", ""),
    ("the same for 2 modules", "without the index", "resolve/indexed/2", "resolve/plain/2", ""),
    ("resolving 3,000 modules at their recorded paths, and looking for their symbols in vain",
     "opening each and reading its note, and 22 `stat` calls of absent paths for each",
     "resolveModules/alone", "bareModuleCalls", "at most 2.5"),
    ("the same where half of them have debug files", "libdwfl finding the same files",
     "resolveModules/symbols", "libdwfl", "at most 0.8"),
    ("the same on two threads, by the wall clock", "on one thread",
     "resolveOnThreads/2", "resolveOnThreads/1", "at most 0.6"),
    ("scan of 50,000 ELF files for one build-id, for the first time",
     "a loop that opens each, and reads its header and note",
     "scanFirst", "readAllNotes", "at most 2.5"),
    ("the same for the second time", "`find TREE -type f -printf '%i %s %T@'` as a process",
     "scanAgain", "findStamps", "at most 1.5"),
]


def measurements(files):
    times = {}
    for file in files:
        with open(file, encoding="utf-8") as results:
            for run in json.load(results)["benchmarks"]:
                if run["run_type"] == "iteration":
                    name = run["run_name"].removesuffix("/manual_time").removesuffix("/real_time")
                    clock = "cpu_time" if name == run["run_name"] else "real_time"
                    value = run[clock], run["time_unit"]
                    times.setdefault(name, {})[run["repetition_index"]] = value
    return times


def main():
    times = measurements(sys.argv[1:])
    print("\n| path | against | median | ratio | limit |\n|---|---|---|---|---|")
    for path, against, subject, peer, limit in ROWS:
        ratios = [times[subject][n][0] / times[peer][n][0] for n in times[subject]]
        unit = next(iter(times[subject].values()))[1]
        time = statistics.median(value for value, _ in times[subject].values())
        print(f"| {path} | {against} | {time:,.4g} {unit} | {statistics.median(ratios):.2f} | {limit} |")
    print()


if __name__ == "__main__":
    main()
