#!/usr/bin/env python3
"""Plants namesakes of all kinds around right files and counts wrong and missed answers.

    bench/namesake_proof.py [--program build/release/bin/lokata] [--rounds N] [--seed N] [--limit SECONDS]

Each round makes modules of two builds whose right binary, symbol file, source or kernel lies, or does
not lie, among namesakes in a random order: other build-ids, damage of every kind behind a readable
build-id note, stripped files, debug files of other builds, texts, directories, pipes, devices, loops,
sparse giants, unreadable files, other kernels, half archived copies, altered copies in the cache of
unpacked kernels. `lokata resolve`, `run` and `find`, asked by build-id, checksum or debug link, have to give
the right file as proven where it is there, and nothing as proven where it is not; a binary without a
build-id is never proven, the status of a module says what its binary is, and `resolve` gives the same
answers for its lines in another order. A category with a run above the limit of time is asked without
sparse giants from then on. Runs as another user than root, so that unreadable files are. Needs clang
(whose line tables hold checksums of sources) and binutils.

A copy of an unpacked kernel beside a note forged to fit it is left out: that directory is the user's own.
"""

import argparse
import gzip
import hashlib
import json
import lzma
import os
import random
import shutil
import signal
import sys
import tempfile

from namesake_questions import Program, Score, Wanted, compare_orders, judge, judge_status
from namesakes import TOOLS, Build, Planter, write

RELEASE = "6.1.0-proof"
KERNEL = "[kernel.kallsyms]"
# The size of a sparse giant, in bytes; what only a checksum tells is all read.
GIANTS = {"binaries": 3 << 30, "symbols": 3 << 30, "links": 16 << 20, "sources": 16 << 20,
          "kernels": 3 << 30}
FOUND_SINGLY = 6  # Questions of each round that are asked by a `find` of their own.


class Round:
    """Files and questions of one category."""

    def __init__(self, options, scratch, score, category, giant):
        self.score, self.category = score, category
        self.root = tempfile.mkdtemp(dir=scratch)
        os.chmod(self.root, 0o755)
        self.right, self.other, self.stranger = options.builds
        self.planter = Planter(*options.builds, giant)
        self.archive = os.path.join(self.root, "archive")
        self.program = Program(options.program, options.limit, score, self.path("home"))
        self.places = [self.path("place%d" % i) for i in range(12)]
        random.shuffle(self.places)
        self.wanted = []

    def path(self, *parts):
        return os.path.join(self.root, *parts)

    def directories(self, word, places):
        return [each for place in places for each in ("-d", "%s:r=%s" % (word, place))]

    def plant_around(self, name, category, module=None, of_both=True):
        """Namesakes in all places, with the right file in one of them, or in none. `of_both`: the name
        is asked for with both build-ids."""
        builds = (self.right, self.other) if of_both else (self.right,)
        asked = {build: Wanted(build, category, name, module) for build in builds}
        self.wanted += asked.values()
        chosen = random.choice(self.places) if random.random() < 0.7 else None
        for place in self.places:
            path = os.path.join(place, name.lstrip("/"))
            if place == chosen:
                asked[self.right].lies_at.append(write(path, self.right.content(category, name)))
            else:
                whole = self.planter.plant(path, category, name)
                if whole in asked:
                    asked[whole].lies_at.append(path)

    def plant_half_copies(self, category, folder, names):
        for name in names:
            build = random.choice([self.right, self.other])
            bare = os.path.basename(name)
            self.planter.plant_half_copy(self.archive, folder, bare, build.content(category, name))

    def resolve(self, lines, *words):
        """The document for the lines in a random order, after comparing it with that of another."""
        command = ["resolve", "-", "--debug-file-directory", self.path("debug"),
                   "--archive", self.archive, *words]
        documents = []
        for _ in range(2):
            random.shuffle(lines)
            answer = self.program.documents(self.category, command, "".join(lines))
            if answer is None:
                return None
            documents.append(answer[0])
        compare_orders(self.score, self.category, *documents)
        return documents[0]

    def judge_modules(self, document, part):
        """Judges the file of this part of each module; without a document nothing was answered."""
        if document is None:
            return
        modules = {(m["build_id"], m["name"]): m for m in document["modules"]}
        for module in document["modules"]:
            judge_status(self.score, module)
        for wanted in self.wanted:
            module = modules.get((wanted.build_id, wanted.module))
            judge(self.score, "resolve", wanted, module and module[part])

    def ask_singly(self, word, checksum_of, words, name_of=lambda wanted: wanted.name, binary_of=None):
        """Asks `run` for everything twice, so that its history answers too, and `find` for some."""
        asked = self.wanted * 2
        random.shuffle(asked)
        requests = []
        for wanted in asked:
            request = {"category": word, "name": name_of(wanted), "checksum": checksum_of(wanted)}
            if binary_of:
                request["binary"] = binary_of(wanted)
            requests.append(json.dumps(request) + "\n")
        places = ["--archive", self.archive, *words]
        answers = self.program.documents(self.category, ["run", "-", *places], "".join(requests),
                                         len(requests))
        for wanted, answer in zip(asked, answers or []):
            judge(self.score, "run", wanted, answer["found"][0] if answer["found"] else None)
        for wanted in random.sample(self.wanted, min(FOUND_SINGLY, len(self.wanted))):
            binary = ["--binary", binary_of(wanted)] if binary_of else []
            expected = ["--expect", checksum_of(wanted)] if checksum_of(wanted) else []
            answer = self.program.documents(self.category, ["find", word, name_of(wanted), *expected,
                                                            *binary, *places])
            for each in answer or []:
                judge(self.score, "find", wanted, each["found"][0] if each["found"] else None)

    def binaries(self):
        names = ["/opt/app/bin/" + tool for tool in TOOLS]
        for name in names:
            self.plant_around(name, "binary")
        self.plant_half_copies("binary", "binaries", names[::5])
        lines = ["%s %s\n" % (wanted.build.id, wanted.name) for wanted in self.wanted]
        lines += ["%40s %s\n" % ("", name) for name in names[::3]]  # The same names without a build-id.
        words = self.directories("bin", self.places)
        self.judge_modules(self.resolve(lines, *words), "binary")
        self.ask_singly("bin", lambda wanted: "build-id:" + wanted.build.id, words)

    def symbols(self):
        names = ["/opt/app/bin/" + tool for tool in TOOLS]
        binaries = {}
        for name in names:
            self.plant_around(name + ".debug", "debug", name)
            for build in (self.right, self.other):
                binaries[build, name] = write(self.path("bin", build.id, name.lstrip("/")), build.binary)
        self.plant_half_copies("debug", "symbols", [name + ".debug" for name in names[::5]] + names[1::5])
        lines = ["%s %s\n" % (wanted.build.id, wanted.module) for wanted in self.wanted]
        words = self.directories("sym", self.places)
        self.judge_modules(self.resolve(lines, *self.directories("bin", [self.path("bin")]), *words),
                           "symbols")
        self.ask_singly("sym", lambda wanted: "build-id:" + wanted.build.id, words,
                        binary_of=lambda wanted: binaries[wanted.build, wanted.module])

    def links(self):
        """Symbols that a checksum in the binary proves, without any build-id."""
        binaries = {}
        for tool in TOOLS:
            name = "/opt/app/bin/" + tool
            self.plant_around(name + ".debug", "linked", name, of_both=False)
            binaries[name] = write(self.path("bin", name.lstrip("/")), self.right.linking[tool])
        self.plant_half_copies("linked", "symbols", [name + ".debug" for name in list(binaries)[::5]])
        words = self.directories("sym", self.places)
        self.judge_modules(self.resolve([name + "\n" for name in binaries],
                                        *self.directories("bin", [self.path("bin")]), *words), "symbols")
        self.ask_singly("sym", lambda wanted: "", words,
                        binary_of=lambda wanted: binaries[wanted.module])

    def sources(self):
        for name in self.right.sources:
            self.plant_around(name, "source")
        self.plant_half_copies("source", "sources", list(self.right.sources)[::2])
        binaries = [write(self.path("bin", build.id, "whole"), build.kernel)
                    for build in (self.right, self.other)]
        words = self.directories("src", self.places)
        document = self.resolve([path + "\n" for path in binaries], "--sources", *words)
        checksum = lambda wanted: hashlib.md5(wanted.build.content("source", wanted.name)).hexdigest()
        if document is not None:
            answers = {(s["name"], s["file"]["identity"]["expected"]): s["file"]
                       for s in document["sources"]}
            for wanted in self.wanted:
                judge(self.score, "resolve", wanted, answers.get((wanted.name, checksum(wanted))))
        self.ask_singly("src", lambda wanted: "md5:" + checksum(wanted), words)

    def kernels(self):
        sysroot = self.path("root")
        packed_name = "boot/vmlinuz-" + RELEASE
        names = ["boot/vmlinux-" + RELEASE, "usr/lib/debug/lib/modules/%s/vmlinux" % RELEASE,
                 "lib/modules/%s/vmlinux" % RELEASE]
        asked = {build: Wanted(build, "kernel", KERNEL) for build in (self.right, self.other)}
        self.wanted += asked.values()
        chosen = random.choice([packed_name, packed_name, None, *names])
        if chosen in names:
            asked[self.right].lies_at.append(write(os.path.join(sysroot, chosen), self.right.kernel))
        for name in names:
            path = os.path.join(sysroot, name)
            whole = None if name == chosen else self.planter.plant(path, "kernel", KERNEL)
            if whole in asked:
                asked[whole].lies_at.append(path)
        self.plant_packed(os.path.join(sysroot, packed_name), chosen == packed_name, asked)
        for bare in ("vmlinux", "vmlinux-" + RELEASE):
            self.planter.plant_half_copy(self.archive, "binaries", bare, self.right.kernel)
        self.ask_for_kernels(sysroot)
        for copy in self.program.kernel_copies():
            self.planter.alter_kernel_copy(copy)
        self.ask_for_kernels(sysroot)

    def plant_packed(self, path, is_chosen, asked):
        pack = random.choice([gzip.compress, lzma.compress])
        if is_chosen:
            asked[self.right].lies_at.append(write(path, pack(self.right.kernel)))
            return
        self.planter.planted += 1
        build = random.choice([self.right, self.other, self.stranger])
        packed = pack(build.kernel)
        if build is not self.right and random.random() < 0.5:
            write(path, packed)
            if build in asked:
                asked[build].lies_at.append(path)
        elif random.random() < 0.5:
            write(path, packed[:random.randrange(64, len(packed) - 1)])
        else:
            write(path, pack(random.choice(self.planter.altered("kernel", KERNEL))()))

    def ask_for_kernels(self, sysroot):
        lines = ["%s %s\n" % (wanted.build.id, KERNEL) for wanted in self.wanted]
        release = ("--kernel-release", RELEASE)
        self.judge_modules(self.resolve(lines, "--sysroot", sysroot, *release), "binary")
        self.ask_singly("bin", lambda wanted: "build-id:" + wanted.build.id,
                        [*self.directories("bin", [sysroot]), *release], lambda wanted: "vmlinux")


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--program", default="build/release/bin/lokata")
    parser.add_argument("--rounds", type=int, default=12)
    parser.add_argument("--seed", type=int, default=random.randrange(1 << 30))
    parser.add_argument("--limit", type=float, default=60, help="of one run, in seconds")
    options = parser.parse_args()
    options.program = os.path.abspath(options.program)
    random.seed(options.seed)
    print("seed %d" % options.seed)
    signal.signal(signal.SIGTERM, signal.default_int_handler)

    score = Score()
    giants = dict(GIANTS)
    with tempfile.TemporaryDirectory() as scratch:
        os.chmod(scratch, 0o755)
        try:
            options.builds = [Build(scratch, number) for number in (100, 200, 300)]
            for _ in range(options.rounds):
                for category in giants:
                    this = Round(options, scratch, score, category, giants[category])
                    getattr(this, category)()
                    score.namesakes += this.planter.planted
                    if this.program.timed_out:
                        giants[category] = 0
                    shutil.rmtree(this.root)
        except KeyboardInterrupt:
            score.fault("failed", "interrupted")
        finally:
            is_clean = score.report()
    return 0 if is_clean else 1


if __name__ == "__main__":
    sys.exit(main())
