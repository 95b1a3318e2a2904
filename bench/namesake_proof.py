#!/usr/bin/env python3
"""Plants namesakes of all kinds around right files and counts wrong and missed answers.

    bench/namesake_proof.py [--program build/release/bin/lokata] [--rounds N] [--seed N]

Each round makes modules whose right binary, symbol file, source or kernel lies, or does not lie, among
namesakes in a random order: other build-ids, damage of every kind behind a readable build-id note,
stripped files, debug files of other builds, texts, directories, pipes, devices, loops, sparse giants,
unreadable files, other kernels, half archived copies. `lokata resolve` has to give the right file as
proven where it is there, and nothing as proven where it is not. Runs as another user than root, so that
unreadable files are. Needs gcc, clang (whose line tables hold checksums of sources) and binutils.
"""

import argparse
import gzip
import hashlib
import json
import lzma
import os
import random
import shutil
import stat
import struct
import subprocess
import sys
import tempfile

NOBODY = 65534
RELEASE = "6.1.0-proof"


def run(*words, **options):
    return subprocess.run(words, check=True, stdout=subprocess.PIPE, **options).stdout


def read(path):
    with open(path, "rb") as file:
        return file.read()


def write(path, content):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(content)
    return path


class Build:
    """One build: a stripped binary, its debug file, its source and a kernel, all of one build-id."""

    def __init__(self, scratch, number):
        self.id = hashlib.sha1(b"build %d" % number).hexdigest()
        base = os.path.join(scratch, "build%d" % number)
        self.source_path = os.path.join(base, "proof.c")
        # One size for all, so that only the content tells them apart.
        self.source = write(self.source_path, b"int main(void) { return %03d; }\n" % number)
        whole = os.path.join(base, "whole")
        run("clang", "-gdwarf-5", "-O1", "-Wl,--build-id=0x" + self.id, "-o", whole, self.source_path)
        run("objcopy", "--only-keep-debug", whole, whole + ".debug")
        run("strip", "-o", whole + ".stripped", whole)
        self.debug = read(whole + ".debug")
        self.binary = read(whole + ".stripped")
        self.source = read(self.source_path)
        self.kernel = read(whole)


def sections(elf):
    """(type, offset, size) of each section of a 64-bit little-endian file."""
    offset, = struct.unpack_from("<Q", elf, 40)
    size, count = struct.unpack_from("<HH", elf, 58)
    for i in range(count):
        kind, = struct.unpack_from("<I", elf, offset + i * size + 4)
        at, length = struct.unpack_from("<QQ", elf, offset + i * size + 24)
        yield kind, at, length


def overwritten(content, start, end, byte=b"\0"):
    return content[:start] + byte * (end - start) + content[end:]


def without(elf, ranges):
    for at, length in ranges:
        elf = overwritten(elf, at, at + length, b"\xff")
    return elf


def damages(elf):
    """Damaged forms of a file whose build-id note can still be read."""
    table, = struct.unpack_from("<Q", elf, 40)
    note_end = max(at + length for kind, at, length in sections(elf) if kind == 7 and at < 2048)
    strings = [(at, length) for kind, at, length in sections(elf) if kind == 3 and at > note_end]
    yield "cut", lambda: elf[:random.randrange(note_end, len(elf) - 1)]
    yield "cut in the table", lambda: elf[:random.randrange(table, len(elf) - 1)]
    yield "zeros behind the note", lambda: overwritten(elf, max(1024, note_end), len(elf))
    yield "section table of zeros", lambda: overwritten(elf, table, len(elf))
    yield "section table of ones", lambda: overwritten(elf, table, len(elf), b"\xff")
    yield "string tables of ones", lambda: without(elf, strings)
    yield "table outside", lambda: elf[:40] + struct.pack("<Q", len(elf) + 4096) + elf[48:]


class Planter:
    def __init__(self, scratch, right, other):
        self.scratch, self.right, self.other = scratch, right, other
        self.planted = 0

    def special(self, path, kind):
        os.makedirs(os.path.dirname(path), exist_ok=True)
        if kind == "directory":
            os.mkdir(path)
        elif kind == "pipe":
            os.mkfifo(path)
        elif kind == "device" and os.geteuid() == 0:
            os.mknod(path, stat.S_IFCHR | 0o666, os.makedev(1, 5))
        elif kind == "loop":
            os.symlink(path, path)
        elif kind == "giant":
            with open(path, "wb") as file:
                file.truncate(10 << 30)
        elif kind == "unreadable":
            write(path, self.right.binary)
            os.chmod(path, 0)
        else:
            write(path, b"text\n")

    def plant(self, path, category):
        self.planted += 1
        specials = ["directory", "pipe", "device", "loop", "giant", "unreadable", "text"]
        content = getattr(self.right, category)
        choices = [(None, kind) for kind in specials]
        choices += [(getattr(self.other, category), "other")] * 3
        if category == "source":
            choices += [(content[:-1], "cut"), (content.replace(b"0", b"1"), "changed")]
        else:
            choices += [(make, name) for name, make in damages(content)] * 2
        if category == "debug":
            choices += [(self.right.binary, "stripped"), (self.other.debug, "debug file of another")]
        if category == "binary":
            choices += [(self.right.debug, "debug file"), (self.other.kernel, "other")]
        content, kind = random.choice(choices)
        if content is None:
            self.special(path, kind)
        else:
            write(path, content() if callable(content) else content)


def shuffled_places(root, count):
    places = [os.path.join(root, "place%d" % i) for i in range(count)]
    random.shuffle(places)
    return places


class Round:
    """One run of the program over the modules of one category."""

    def __init__(self, options, scratch, category):
        self.options, self.category = options, category
        self.root = tempfile.mkdtemp(dir=scratch)
        self.right, self.other = options.builds
        self.planter = Planter(scratch, self.right, self.other)
        self.expected = {}

    def resolve(self, modules, *words):
        listing = "".join("%s %s\n" % (self.right.id, name) for name in modules)
        command = [self.options.program, "resolve", "-", "--json", "--no-user",
                   "--debug-file-directory", os.path.join(self.root, "debug"), *words]
        def drop():
            if os.geteuid() == 0:
                os.setgroups([])
                os.setgid(NOBODY)
                os.setuid(NOBODY)
        environment = dict(os.environ, HOME=os.path.join(self.root, "home"))
        os.makedirs(environment["HOME"], exist_ok=True)
        os.chmod(environment["HOME"], 0o777)
        result = subprocess.run(command, input=listing.encode(), stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, preexec_fn=drop, env=environment,
                                timeout=600)
        if result.returncode not in (0, 1):
            sys.exit("status %d: %s" % (result.returncode, result.stderr.decode(errors="replace")))
        return json.loads(result.stdout)

    def plant_around(self, name, category, places, likelihood=0.7):
        """Namesakes in all places, with the right file in one of them, or in none."""
        self.expected[name] = None
        chosen = random.choice(places) if random.random() < likelihood else None
        for place in places:
            path = os.path.join(place, name.lstrip("/"))
            if place == chosen:
                self.expected[name] = write(path, getattr(self.right, category))
            else:
                self.planter.plant(path, category)

    def judge(self, answers, content):
        wrong = missed = 0
        for name, expected in self.expected.items():
            file = answers.get(name) or {}
            path = file.get("path")
            proven = path is not None and file["confidence"] == "cfValidated"
            if proven and read(path) != content:
                wrong += 1
                print("wrong: %s: %s" % (name, path))
            elif expected is not None and not proven:
                missed += 1
                print("missed: %s: %s" % (name, expected))
        return wrong, missed, self.planter.planted

    def binaries(self):
        places = shuffled_places(self.root, 12)
        names = ["/opt/app/bin/tool%d" % i for i in range(25)]
        for name in names:
            self.plant_around(name, "binary", places)
        for name in names[::5]:
            half = self.right.binary[:random.randrange(1024, len(self.right.binary) - 1)]
            bare = os.path.basename(name)
            md5 = hashlib.md5(self.right.binary).hexdigest()
            write(os.path.join(self.root, "archive/binaries", bare, md5, bare), half)
            self.planter.planted += 1
        words = [word for place in places for word in ("-d", "bin:r=" + place)]
        document = self.resolve(names, "--archive", os.path.join(self.root, "archive"), *words)
        return self.judge({m["name"]: m["binary"] for m in document["modules"]}, self.right.binary)

    def symbols(self):
        places = shuffled_places(self.root, 12)
        names = ["/opt/app/bin/tool%d" % i for i in range(25)]
        for name in names:
            self.plant_around(name + ".debug", "debug", places)
            write(os.path.join(self.root, "bin", name.lstrip("/")), self.right.binary)
        words = [word for place in places for word in ("-d", "sym:r=" + place)]
        document = self.resolve(names, "-d", "bin:r=" + os.path.join(self.root, "bin"), *words)
        return self.judge({m["name"] + ".debug": m["symbols"] for m in document["modules"]},
                          self.right.debug)

    def sources(self):
        places = shuffled_places(self.root, 12)
        name = self.right.source_path
        self.plant_around(name, "source", places)
        binary = write(os.path.join(self.root, "bin/whole"), self.right.kernel)
        words = [word for place in places for word in ("-d", "src:r=" + place)]
        hidden = name + ".away"
        os.rename(name, hidden)
        try:
            document = self.resolve([binary], "--sources", *words)
        finally:
            os.rename(hidden, name)
        return self.judge({s["name"]: s["file"] for s in document["sources"]}, self.right.source)

    def kernels(self):
        sysroot = os.path.join(self.root, "root")
        packings = {"boot/vmlinuz-" + RELEASE: random.choice([gzip.compress, lzma.compress])}
        plain = ["boot/vmlinux-" + RELEASE, "usr/lib/debug/lib/modules/%s/vmlinux" % RELEASE,
                 "lib/modules/%s/vmlinux" % RELEASE]
        names = plain + list(packings)
        chosen = random.choice(names + [None])
        self.expected["[kernel.kallsyms]"] = chosen
        for name in names:
            path = os.path.join(sysroot, name)
            pack = packings.get(name, lambda content: content)
            if name == chosen:
                write(path, pack(self.right.kernel))
            elif name in packings:
                packed = pack(random.choice([self.other.kernel, self.right.kernel]))
                self.planter.planted += 1
                if random.random() < 0.5:
                    write(path, pack(self.other.kernel))
                else:
                    write(path, packed[:random.randrange(64, len(packed) - 1)])
            else:
                self.planter.plant(path, "kernel")
        document = self.resolve(["[kernel.kallsyms]"], "--sysroot", sysroot,
                                "--kernel-release", RELEASE)
        return self.judge({m["name"]: m["binary"] for m in document["modules"]},
                          self.right.kernel)


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--program", default="build/release/bin/lokata")
    parser.add_argument("--rounds", type=int, default=12)
    parser.add_argument("--seed", type=int, default=random.randrange(1 << 30))
    options = parser.parse_args()
    options.program = os.path.abspath(options.program)
    random.seed(options.seed)
    print("seed %d" % options.seed)

    scratch = tempfile.mkdtemp()
    os.chmod(scratch, 0o755)
    totals = [0, 0, 0]
    try:
        options.builds = Build(scratch, 100), Build(scratch, 200)
        for _ in range(options.rounds):
            for category in ("binaries", "symbols", "sources", "kernels"):
                this = Round(options, scratch, category)
                os.chmod(this.root, 0o755)
                totals = [a + b for a, b in zip(totals, getattr(this, category)())]
                shutil.rmtree(this.root)
    finally:
        shutil.rmtree(scratch)
    print("%d namesakes, %d wrong, %d missed" % (totals[2], totals[0], totals[1]))
    return 1 if totals[0] or totals[1] else 0


if __name__ == "__main__":
    sys.exit(main())
