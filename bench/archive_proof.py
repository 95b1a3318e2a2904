#!/usr/bin/env python3
"""Archives profiles, moves them with the archive to another root, and compares the answers.

    bench/archive_proof.py [--program build/release/bin/lokata] [--binaries N]

The profiles name binaries of this machine by their build-ids, and programs made here by gcc: two
binaries of one bare name without build-ids, two builds of one recorded name, sources without MD5 of
DWARF 4 and DWARF 5, many of one bare name, a symbol file that only its debug link leads to, two of one
bare name without any mark, a supplementary file, and split DWARF in .dwo files and in a package. A second
machine has other files under the same names, and one program more, as two profiles that record the same
are one. The archives are merged in both orders, one copied over the other. The other root is a
chroot that holds nothing but the program, its libraries, the profiles and the merged archive.

Prints for binaries, symbols, files with split DWARF and sources how many of the answers are the same: the
same file, or none, with the same status and confidence. Ends with 1 unless all are. Needs gcc and binutils
with dwp, and root or user namespaces.
"""

import argparse
import hashlib
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

MACHINES = ("east", "west")
FLAVOURS = {"four": "-gdwarf-4", "five": "-gdwarf-5"}


def run(*words, **options):
    return subprocess.run(words, check=True, stdout=subprocess.PIPE, text=True, **options).stdout


def write(path, text):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w") as file:
        file.write(text)
    return path


def digest(path):
    with open(path, "rb") as file:
        return hashlib.md5(file.read()).hexdigest()


def build_id(path):
    result = subprocess.run(["readelf", "-n", path], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                            text=True)
    found = re.search(r"Build ID: ([0-9a-f]+)", result.stdout)
    return found.group(1) if found else None


def compile_program(target, sources, flavour, *options):
    os.makedirs(os.path.dirname(target), exist_ok=True)
    run("gcc", "-O1", flavour, *options, "-o", target, *sources)
    return target


class Machine:
    """The files of one machine, all below one directory: both machines have the same names, but one."""

    def __init__(self, directory, name, program, binaries):
        self.directory = directory
        self.debug = os.path.join(directory, "debug")
        self.named = []  # Without build-ids.
        self.identified = []
        for flavour in [*FLAVOURS, name]:
            self.make(os.path.join(directory, flavour), name, FLAVOURS.get(flavour, "-gdwarf-5"))
        self.make_separate("linked", name, linked=True)
        for twin in ("one", "two"):
            self.make_separate(twin + "/bare", name, linked=False)
        self.make_builds("builds/tool", name)
        for twin in ("one", "two"):
            self.make_split(os.path.join(directory, "split", twin), name, packed=False)
            self.make_split(os.path.join(directory, "packed", twin), name, packed=True)
        for path in [program, *self.of_this_machine(binaries)]:
            self.identified.append((build_id(path), path))

    def make(self, directory, name, flavour):
        sources = []
        for part in ("one", "two", "three"):
            text = "char const* %s(void) { return \"%s\"; } // %s\n" % (part, name, directory)
            sources.append(write(os.path.join(directory, part, "util.c"), text))
        main = write(os.path.join(directory, "main.c"),
                     "char const *one(void), *two(void), *three(void);\n"
                     "int main(void) { return *one() + *two() + *three(); } // %s\n" % name)
        unmarked = compile_program(os.path.join(directory, "tool"), [main, *sources], flavour,
                                   "-Wl,--build-id=none")
        self.named.append(unmarked)
        marked = compile_program(os.path.join(directory, "marked"), [main, *sources], flavour,
                                 "-Wl,--build-id=sha1")
        self.identified.append((build_id(marked), marked))

    def make_separate(self, program, name, linked):
        """A stripped program without a build-id. Its debug link or its name alone leads to the symbols."""
        whole = os.path.join(self.directory, "stripped", program)
        source = write(whole + ".c", "char const name[] = \"%s %s\"; int main(void) { return *name; }\n"
                       % (program, name))
        compile_program(whole, [source], "-gdwarf-5", "-Wl,--build-id=none")
        symbols = whole + ".debug"
        run("objcopy", "--only-keep-debug", whole, symbols)
        if linked:
            self.add_supplementary(symbols, name)
        run("strip", whole)
        if linked:
            run("objcopy", "--add-gnu-debuglink=" + symbols, whole)
        self.named.append(whole)

    def make_builds(self, program, name):
        """Two builds that were recorded under one name. The later has replaced the earlier, of which the
        tree of debug files keeps both files; the debug link of the later leads to its symbols."""
        path = os.path.join(self.directory, program)
        for build in ("earlier", "later"):
            source = write(path + ".c", "char const n[] = \"%s %s\"; int main(void) { return *n; }\n"
                           % (build, name))
            compile_program(path, [source], "-gdwarf-5", "-Wl,--build-id=sha1")
            run("objcopy", "--only-keep-debug", path, path + ".debug")
            run("strip", path)
            run("objcopy", "--add-gnu-debuglink=" + path + ".debug", path)
            self.identified.append((build_id(path), path))
            if build == "earlier":
                kept = os.path.join(self.debug, ".build-id", build_id(path)[:2], build_id(path)[2:])
                os.makedirs(os.path.dirname(kept))
                os.rename(path, kept)
                os.rename(path + ".debug", kept + ".debug")

    def make_split(self, directory, name, packed):
        """A program of two units that leave their debug information in one.dwo and two.dwo, or in
        tool.dwp: bare names that others have, too."""
        program = os.path.join(directory, "tool")
        units = []
        for unit, call in (("one", "int two(void); int main(void) { return two(); }"),
                           ("two", "int two(void) { return __LINE__; }")):
            source = write(os.path.join(directory, unit + ".c"), "%s // %s %s\n" % (call, directory, name)
                           + "char const mark_%s[] = \"%s %s\";\n" % (unit, directory, name))
            units.append(os.path.join(directory, unit + ".o"))
            flavour = "-gdwarf-4" if packed else "-gdwarf-5"  # dwp knows no other.
            run("gcc", "-O1", flavour, "-gsplit-dwarf", "-c", "-o", units[-1], source)
        run("gcc", "-Wl,--build-id=sha1", "-o", program, *units)
        if packed:
            parts = [unit[:-1] + "dwo" for unit in units]
            run("dwp", "-o", program + ".dwp", *parts)
            for part in parts:
                os.remove(part)
        self.identified.append((build_id(program), program))

    def add_supplementary(self, symbols, name):
        source = write(os.path.join(self.directory, "shared.c"), "int shared; // %s\n" % name)
        shared = compile_program(os.path.join(self.debug, ".dwz", "shared.debug"), [source], "-gdwarf-5",
                                 "-shared", "-Wl,--build-id=sha1")
        section = os.path.join(self.directory, "altlink")
        with open(section, "wb") as file:
            file.write(shared.encode() + b"\0" + bytes.fromhex(build_id(shared)))
        run("objcopy", "--add-section", ".gnu_debugaltlink=" + section, symbols)

    @staticmethod
    def of_this_machine(count):
        found = []
        for directory in ("/usr/bin", "/usr/lib/x86_64-linux-gnu", "/usr/lib"):
            for name in sorted(os.listdir(directory)) if os.path.isdir(directory) else []:
                path = os.path.join(directory, name)
                if len(found) == count:
                    return found
                if os.path.isfile(path) and not os.path.islink(path) and build_id(path):
                    found.append(path)
        return found

    def write_profiles(self, directory):
        lists = {"identified": "".join("%s %s\n" % each for each in self.identified),
                 "named": "".join(path + "\n" for path in self.named)}
        return [write(os.path.join(directory, name), text) for name, text in lists.items()]


def answers(output, root):
    """For each kind of file what each recorded name was resolved to."""
    result = {"binaries": [], "symbols": [], "split": [], "sources": []}

    def add(kind, name, status, file):
        path = file and file["path"]
        content = digest(root + path) if path else None
        result[kind].append((name, status, content, file and file["confidence"],
                             file and file["identity"]["kind"]))

    for line in output.splitlines():
        document = json.loads(line)
        for module in document["modules"]:
            add("binaries", module["name"], module["status"], module["binary"])
            for part in ("symbols", "supplementary"):
                add("symbols", module["name"], part, module[part])
            split = module.get("split_dwarf")  # Programs of old had none.
            if split:
                add("split", module["name"], "%(found_units)d of %(units)d" % split, split["package"])
                for each in split["files"]:
                    add("split", each["name"], None, each["file"])
        for source in document["sources"]:
            add("sources", source["name"], None, source["file"])
    return result


def resolve(command, profiles, debug, *options):
    result = subprocess.run([*command, "resolve", "--json", "--sources", "--no-user",
                             "--debug-file-directory", debug, *options, *profiles],
                            stdout=subprocess.PIPE, text=True)
    if result.returncode not in (0, 1):
        sys.exit("lokata ended with %d" % result.returncode)
    return result.stdout


def other_root(root, program):
    """Puts the program with its libraries below `root`; gives the command that runs it there."""
    home = os.path.join(root, "lokata")
    os.makedirs(os.path.join(home, "lib"))
    shutil.copy(program, home)
    for name, path in re.findall(r"(\S+) => (/\S+)", run("ldd", program)):
        shutil.copy(path, os.path.join(home, "lib", name))
    loader = re.search(r"^\s*(/\S*ld-\S+)", run("ldd", program), re.M).group(1)
    shutil.copy(loader, os.path.join(home, "loader"))
    enter = ["chroot"] if os.geteuid() == 0 else ["unshare", "-r", "chroot"]
    return [*enter, root, "/lokata/loader", "--library-path", "/lokata/lib",
            "/lokata/" + os.path.basename(program)]


def compare(machine, merge, here, there):
    same_everywhere = True
    for kind in here:
        pairs = list(zip(here[kind], there[kind]))
        same = sum(a == b for a, b in pairs)
        found = sum(a[2] is not None for a, _ in pairs)
        wrong = sum(b[2] is not None and a[2] != b[2] for a, b in pairs)
        complete = len(here[kind]) == len(there[kind]) and same == len(pairs)
        same_everywhere &= complete
        print("%-5s %s %-9s %5d names, %5d of them found, %5d answers the same there (%.1f %%), %d wrong files"
              % (machine, merge, kind, len(here[kind]), found, same, 100.0 * same / max(1, len(here[kind])), wrong))
        for a, b in [pair for pair in pairs if pair[0] != pair[1]][:3]:
            print("      here %s\n     there %s" % (a, b))
    return same_everywhere


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--program", default="build/release/bin/lokata")
    parser.add_argument("--binaries", type=int, default=40, help="how many of this machine")
    options = parser.parse_args()
    program = os.path.abspath(options.program)

    with tempfile.TemporaryDirectory(prefix="lokata-archive-proof-") as scratch:
        place = os.path.join(scratch, "machine")
        root = os.path.join(scratch, "root")
        os.makedirs(root)
        here = {}
        for name in MACHINES:
            machine = Machine(place, name, program, options.binaries)
            profiles = machine.write_profiles(os.path.join(root, name))
            kept = os.path.join(scratch, name)
            output = resolve([program], profiles, machine.debug, "--archive-into", kept)
            here[name] = answers(output, "")
            shutil.rmtree(place)
        command = other_root(root, program)
        complete = True
        for first, second in (MACHINES, MACHINES[::-1]):
            merge = "%s-then-%s" % (first, second)
            for name in (first, second):
                run("cp", "-r", os.path.join(scratch, name) + "/.", os.path.join(root, merge))
            for name in MACHINES:
                profiles = ["/%s/%s" % (name, each) for each in ("identified", "named")]
                output = resolve(command, profiles, "/none", "--archive", "/" + merge)
                complete &= compare(name, merge, here[name], answers(output, root))
    print("all the same" if complete else "NOT all the same")
    return 0 if complete else 1


if __name__ == "__main__":
    sys.exit(main())
