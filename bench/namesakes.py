"""What bench/namesake_proof.py plants: right files, and namesakes of all kinds around them."""

import hashlib
import os
import random
import stat
import struct
import subprocess

SOURCES = 6
TOOLS = ["tool%d" % i for i in range(15)]


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
    """The files of one build, all of one build-id: a stripped binary, its debug file, its sources by
    their recorded names, and a kernel, which has all in one; and without a build-id, binaries whose
    debug links name TOOL.debug, and the debug file of them all. No two builds have equal files, but
    all have the names and, for the sources, the sizes."""

    def __init__(self, scratch, number):
        self.id = hashlib.sha1(b"build %d" % number).hexdigest()
        base = os.path.join(scratch, "build")
        whole = os.path.join(base, "whole")
        self.sources = {}
        for i in range(SOURCES):
            text = b"int proof%d(void) { return %03d; }\n" % (i, number)
            self.sources[write(os.path.join(base, "proof%d.c" % i), text)] = text
        self.linked, _ = self.compile(whole, "none")
        self.linking = {tool: self.link(whole + ".stripped", tool) for tool in TOOLS}
        self.debug, self.binary = self.compile(whole, "0x" + self.id)
        self.kernel = read(whole)
        for path in self.sources:
            os.remove(path)

    def compile(self, whole, build_id):
        run("clang", "-gdwarf-5", "-O1", "-shared", "-Wl,--build-id=" + build_id, "-o", whole,
            *self.sources)
        run("objcopy", "--only-keep-debug", whole, whole + ".debug")
        run("strip", "-o", whole + ".stripped", whole)
        return read(whole + ".debug"), read(whole + ".stripped")

    def link(self, stripped, tool):
        directory = os.path.dirname(stripped)
        symbols = write(os.path.join(directory, tool + ".debug"), self.linked)
        target = os.path.join(directory, tool)
        run("objcopy", "--add-gnu-debuglink=" + symbols, stripped, target)
        return read(target)

    def content(self, category, name):
        return self.sources[name] if category == "source" else getattr(self, category)

    def right_contents(self, category, name):
        """All that may be proven to be this file: what is not stripped is a binary and a debug file, but
        by a checksum it is nothing but itself."""
        by_id = category in ("binary", "debug", "kernel")
        return {self.content(category, name)} | ({self.kernel} if by_id else set())

    def holding_names(self, category):
        """What may be proven to be symbols where no debug information lies: binaries export names."""
        return {"debug": {self.binary}, "linked": set(self.linking.values())}.get(category, set())


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
    note_end = max((at + length for kind, at, length in sections(elf) if kind == 7 and at < 2048),
                   default=512)
    strings = [(at, length) for kind, at, length in sections(elf) if kind == 3 and at > note_end]
    return {
        "cut": lambda: elf[:random.randrange(note_end, len(elf) - 1)],
        "cut in the table": lambda: elf[:random.randrange(table, len(elf) - 1)],
        "zeros behind the note": lambda: overwritten(elf, max(1024, note_end), len(elf)),
        "section table of zeros": lambda: overwritten(elf, table, len(elf)),
        "section table of ones": lambda: overwritten(elf, table, len(elf), b"\xff"),
        "string tables of ones": lambda: without(elf, strings),
        "table outside": lambda: elf[:40] + struct.pack("<Q", len(elf) + 4096) + elf[48:],
        "table shorter": lambda: elf[:60] + struct.pack("<H", 3) + elf[62:],
        "names outside": lambda: elf[:62] + struct.pack("<H", 0xfe00) + elf[64:],
    }


def half(content):
    """Cut behind the build-id note, if there may be one."""
    return content[:random.randrange(1024 if len(content) > 2048 else 1, len(content) - 1)]


class Planter:
    """Plants what is not the right file. `other` has the same names, and its modules are asked for too;
    `stranger` is nobody's."""

    SPECIALS = ("directory", "pipe", "device", "loop", "giant", "unreadable", "text")

    def __init__(self, right, other, stranger, giant):
        self.right, self.other, self.stranger, self.giant = right, other, stranger, giant
        self.planted = 0

    def special(self, path, kind, content):
        os.makedirs(os.path.dirname(path), exist_ok=True)
        if kind == "directory":
            os.mkdir(path)
        elif kind == "pipe":
            os.mkfifo(path)
        elif kind == "device" and os.geteuid() == 0:
            os.mknod(path, stat.S_IFCHR | 0o666, os.makedev(1, 5))
        elif kind == "loop":
            os.symlink(path, path)
        elif kind == "giant" and self.giant:
            with open(path, "wb") as file:
                file.truncate(self.giant)
        elif kind == "unreadable":
            write(path, content)
            os.chmod(path, 0)
        else:
            write(path, b"text\n")

    def plant(self, path, category, name):
        """Gives the build, if it is one, whose right file has been planted."""
        self.planted += 1
        whole = self.right.content(category, name)
        draw = random.random()
        if draw < 0.35:
            self.special(path, random.choice(self.SPECIALS), whole)
            return None
        if draw < 0.6:
            build = random.choice([self.other, self.stranger])
            contents = sorted(build.right_contents(category, name))
            write(path, random.choice(contents))
            return build
        write(path, random.choice(self.altered(category, name))())
        return None

    def altered(self, category, name):
        builds = self.right, self.other
        if category == "source":
            texts = [build.content(category, name) for build in builds]
            return [forged for text in texts
                    for forged in (lambda t=text: t[:-1], lambda t=text: t.replace(b"0", b"1"))]
        wrong_kind = {"debug": "binary", "binary": "debug"}.get(category)
        forms = [form for build in builds
                 for form in damages(build.content(category, name)).values()]
        if wrong_kind:
            forms += [lambda b=build: b.content(wrong_kind, name) for build in builds] * 2
        return forms

    def plant_half_copy(self, archive, folder, bare, content):
        """A copy as an archive keeps it, of which only a part arrived."""
        md5 = hashlib.md5(content).hexdigest()
        write(os.path.join(archive, folder, bare, md5, bare), half(content))
        self.planted += 1

    def alter_kernel_copy(self, path):
        """Puts something else where the program keeps an unpacked kernel, and leaves its note."""
        self.planted += 1
        os.remove(path)
        kind = random.choice(["stranger", "damage", "damage", *self.SPECIALS])
        if kind == "stranger":
            write(path, self.stranger.kernel)
        elif kind == "damage":
            write(path, random.choice(list(damages(self.right.kernel).values()))())
        else:
            self.special(path, kind, self.right.kernel)
        if random.random() < 0.3 and os.path.exists(path + ".md5"):
            os.remove(path + ".md5")
