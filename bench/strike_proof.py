#!/usr/bin/env python3
"""Strikes the program while it works, and looks at what it leaves: what is written is whole or absent.

    bench/strike_proof.py [--program build/release/bin/lokata] [--signals N] [--cuts N] [--kills N]

Ends the commands that write by signals at random moments and by a limit on the size of files, cuts their
inputs while they are read, lets them run out of room on a small file system (needs root), kills writers
of a store, new stores among them, lets another process hold a store's lock, and runs them where a
directory is missing, closed or has too long a name.

Prints, for each kind of strike, how many there were and how many half files, leftovers, hangs, crashes
and other faults they led to. Ends with 1 unless there were none. A SIGKILL may leave hidden files.
"""

import argparse
import collections
import fcntl
import glob
import gzip
import hashlib
import os
import random
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

FAULTS = ("half files", "leftovers", "hangs", "crashes", "other")
PATIENCE = 60
CRASHES = (signal.SIGSEGV, signal.SIGABRT, signal.SIGBUS, signal.SIGFPE, signal.SIGILL, signal.SIGXFSZ)
CATCHABLE = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)


def content_of(path):
    with open(path, "rb") as file:
        return file.read()


def digest(path):
    return hashlib.md5(content_of(path)).hexdigest()


def files_below(directory):
    return [os.path.join(above, name) for above, _, names in os.walk(directory) for name in names]


durations = {}  # Of the commands, in seconds.


class Tally:
    """Counts strikes and faults, and prints the first faults of each kind."""

    def __init__(self):
        self.lock = threading.Lock()
        self.strikes = collections.Counter()
        self.hits = collections.Counter()
        self.faults = collections.defaultdict(list)

    def strike(self, kind, hit):
        with self.lock:
            self.strikes[kind] += 1
            self.hits[kind] += hit

    def fault(self, kind, what, text):
        with self.lock:
            self.faults[kind, what].append(text)

    def report(self):
        for kind, count in self.strikes.items():
            found = ", ".join("%d %s" % (len(self.faults[kind, what]), what) for what in FAULTS)
            print("%-9s %5d strikes, %5d of them in time: %s" % (kind, count, self.hits[kind], found))
        for (kind, what), texts in self.faults.items():
            for text in texts[:5]:
                print("%s: %s: %s" % (kind, what, text), file=sys.stderr)
        return not any(self.faults.values())


class Place:
    """Inputs, and the commands that write, with what each of them may leave."""

    def __init__(self, root, program):
        self.root = root
        self.program = program
        self.temporary = self.directory("tmp")
        self.environment = dict(os.environ, TMPDIR=self.temporary, HOME=self.directory("home"),
                                XDG_CACHE_HOME=self.directory("cache"), LC_ALL="C")
        self.environment.pop("XDG_CONFIG_HOME", None)
        noise = random.Random(1).randbytes(1 << 21)
        self.kernel = b"\x7fELF\x02\x01\x01" + noise * 8
        self.inputs = {"big": noise * 8, "vmlinuz": b"boot" * 128 + gzip.compress(self.kernel, 1),
                       "requests": b"bin vmlinuz\n" + b"bin big\nbin absent\n" * 1500,
                       "list": (self.path("tool") + "\n").encode() * 2, "tool": self.tool()}
        for name in self.inputs:
            self.restore(name)
        os.chmod(self.path("tool"), 0o6755)

    def path(self, *names):
        return os.path.join(self.root, *names)

    def directory(self, name):
        os.makedirs(self.path(name), exist_ok=True)
        return self.path(name)

    def restore(self, name):
        with open(self.path(name), "wb") as file:
            file.write(self.inputs[name])

    def tool(self):
        with open(self.path("tool.c"), "w") as file:
            file.write("".join("int f%d(int x) { return x * %d; }\n" % (i, i) for i in range(3000)))
            file.write("int main(void) { return 0; }\n")
        subprocess.run(["gcc", "-g", "-O0", "-o", self.path("tool"), self.path("tool.c")], check=True)
        return content_of(self.path("tool"))

    def commands(self, out):
        """The words of each, and the inputs that it reads. All write below `out`."""
        resolve = ["resolve", "--no-user", "--sources", self.path("list")]
        return {
            "archive": (["archive", self.path("big"), "--into", out + "/archive"], ["big"]),
            "into": ([*resolve, "--archive-into", out + "/archive"], ["list", "tool"]),
            "page": ([*resolve, "--html", out + "/page"], ["list", "tool"]),
            "unpack": (["unpack-kernel", self.path("vmlinuz"), out + "/vmlinux"], ["vmlinuz"]),
            "cache": (["unpack-kernel", self.path("vmlinuz")], ["vmlinuz"]),
            "run": (["run", self.path("requests"), "--no-user", "-d", "bin=" + self.root], ["requests"]),
            "dirs": (["dirs", "add", "--store", out + "/store", "bin=/new"], []),
        }

    def prepare(self, out):
        """What was there before, and has to be kept or replaced as a whole."""
        os.makedirs(out, exist_ok=True)
        with open(out + "/page", "w") as file:
            file.write("old page")
        self.call(["dirs", "add", "--store", out + "/store", "bin=/old"])

    def clean(self, out):
        for directory in (out, self.path("cache"), self.temporary):
            for name in os.listdir(directory) if os.path.isdir(directory) else []:
                path = os.path.join(directory, name)
                shutil.rmtree(path) if os.path.isdir(path) else os.remove(path)

    def start(self, words, changes=(), **options):
        return subprocess.Popen([self.program, *words], stdout=subprocess.DEVNULL, cwd=self.root,
                                stderr=subprocess.PIPE, env=dict(self.environment, **dict(changes)),
                                **options)

    def call(self, words):
        process = self.start(words)
        error = process.communicate()[1].decode(errors="replace")
        return process.returncode, error

    def halves(self, out):
        """What is not whole under its name."""
        found = []
        for path in files_below(out + "/archive"):
            name = os.path.basename(path)
            if name.startswith("."):
                continue
            noted = name[:-len(".json")] if "/archive/names/" in path else path.split("/")[-2]
            if digest(path) != noted:
                found.append(path)
            if os.stat(path).st_mode & 0o6000:
                found.append(path + " with a set-ID bit")
        page = content_of(out + "/page") if os.path.exists(out + "/page") else b""
        if page != b"old page" and not page.rstrip().endswith(b"</html>"):
            found.append("page")
        for path in [out + "/vmlinux", *glob.glob(self.path("cache/lokata/vmlinux_cache/*/vmlinux"))]:
            if os.path.exists(path) and content_of(path) != self.kernel:
                found.append(path)
        listing = subprocess.run([self.program, "dirs", "list", "--store", out + "/store"],
                                 capture_output=True, env=self.environment, check=False)
        if listing.returncode != 0 or listing.stdout not in (b"bin=/old\n", b"bin=/old\nbin=/new\n"):
            found.append("store: %r %r" % (listing.stdout, listing.stderr))
        return found

    def leftovers(self, out):
        hidden = [path for path in files_below(out) + files_below(self.path("cache"))
                  if os.path.basename(path).startswith(".")]
        return hidden + os.listdir(self.temporary)


def judge(place, tally, kind, name, out, process, killed=False):
    """Waits for the end of a struck process, and looks at what is left. Gives what it said."""
    try:
        error = process.communicate(timeout=PATIENCE)[1].decode(errors="replace")
    except subprocess.TimeoutExpired:
        process.kill()
        tally.fault(kind, "hangs", name)
        return process.communicate()[1].decode(errors="replace")
    if -process.returncode in CRASHES:
        tally.fault(kind, "crashes", "%s: %d %s" % (name, process.returncode, error))
    for path in place.halves(out):
        tally.fault(kind, "half files", "%s: %s" % (name, path))
    for path in [] if killed else place.leftovers(out):
        tally.fault(kind, "leftovers", "%s: %s" % (name, path))
    return error


def duration_of(place, words):
    started = time.monotonic()
    place.call(words)
    return time.monotonic() - started


def strike_by_signals(place, tally, count):
    out = place.directory("signals")
    for i in range(count):
        name, (words, _) = list(place.commands(out).items())[i % 7]
        number = (*CATCHABLE, signal.SIGKILL)[i // 7 % 4]
        place.clean(out)
        place.prepare(out)
        if name not in durations:
            durations[name] = duration_of(place, words)
            place.clean(out)
            place.prepare(out)
        process = place.start(words)
        time.sleep(random.uniform(0, durations[name]))
        process.send_signal(number)
        error = judge(place, tally, "signals", name, out, process, number == signal.SIGKILL)
        tally.strike("signals", process.returncode == -number)
        if process.returncode not in (-number, 0, 1):
            tally.fault("signals", "other", "%s: %d %s" % (name, process.returncode, error))
        returncode, error = place.call(words)
        if returncode not in (0, 1) or place.halves(out):
            tally.fault("signals", "other", "%s again: %d %s" % (name, returncode, error))


def strike_by_limits(place, tally, count):
    out = place.directory("limits")
    for i in range(count):
        name, (words, _) = list(place.commands(out).items())[i % 7]
        place.clean(out)
        place.prepare(out)
        limit = random.choice((0, 1, 100, 4096, 10000, random.randrange(1 << 24)))
        process = place.start(words, preexec_fn=lambda: resource.setrlimit(
            resource.RLIMIT_FSIZE, (limit, limit)))
        error = judge(place, tally, "limits", name, out, process)
        tally.strike("limits", process.returncode == 2)
        if process.returncode not in (0, 1) and (process.returncode != 2 or "too large" not in error):
            tally.fault("limits", "other", "%s at %d: %d %s" % (name, limit, process.returncode, error))


def strike_by_cuts(place, tally, count):
    out = place.directory("cuts")
    for i in range(count):
        name, (words, inputs) = list(place.commands(out).items())[i % 6]
        place.clean(out)
        place.prepare(out)
        cut = random.choice(inputs)
        process = place.start(words)
        time.sleep(random.uniform(0, durations.get(name, 0.1)))
        in_time = process.poll() is None
        os.truncate(place.path(cut), random.randrange(len(place.inputs[cut])))
        struck = place.kernel
        place.kernel = content_of(out + "/vmlinux") if os.path.exists(out + "/vmlinux") else struck
        error = judge(place, tally, "cuts", name, out, process)
        place.kernel = struck
        tally.strike("cuts", in_time)
        if process.returncode not in (0, 1, 2):
            tally.fault("cuts", "other", "%s: %d %s" % (name, process.returncode, error))
        place.restore(cut)


def strike_by_want_of_room(place, tally, count):
    if os.geteuid() != 0:
        print("room: SKIPPED: only root can mount a small file system", file=sys.stderr)
        return
    out = place.directory("room")
    for i in range(count):
        name, (words, _) = list(place.commands(out).items())[(0, 1, 2, 3, 6)[i % 5]]
        place.clean(out)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=24m", "tmpfs", out], check=True)
        try:
            place.prepare(out)
            free = os.statvfs(out).f_bavail * os.statvfs(out).f_bsize
            room = random.choice((0, 4096, random.randrange(1 << 17), random.randrange(1 << 24)))
            with open(out + "/filler", "wb") as file:
                file.write(bytes(free - room // 4096 * 4096))
            process = place.start(words)
            error = judge(place, tally, "room", name, out, process)
            tally.strike("room", process.returncode == 2)
            if process.returncode not in (0, 1) and (process.returncode != 2 or not (
                    "No space left" in error or "is full" in error)):
                tally.fault("room", "other", "%s: %d %s" % (name, process.returncode, error))
        finally:
            subprocess.run(["umount", out], check=True)


def kill_writers(place, tally, count, out):
    """Adds to a store, and to a new one from time to time, until `count` writers were killed in time.
    Whatever was said to be done is there."""
    store, done, tried, duration = None, set(), set(), 0.02
    dice = random.Random(out)
    kills = turn = 0
    while kills < count:
        if turn % 10 == 0 and dice.random() < 0.5 or store is None:
            store, done, tried = "%s/store%d" % (out, turn), set(), set()
        turn += 1
        directory = "bin=/%d" % turn
        tried.add(directory)
        process = place.start(["dirs", "add", "--store", store, directory])
        time.sleep(dice.uniform(0, duration))
        process.kill()
        process.communicate()
        tally.strike("kills", process.returncode == -signal.SIGKILL)
        if process.returncode == 0:
            done.add(directory)
            duration *= 0.95
        else:
            kills += 1
            duration *= 1.01
        listing = subprocess.run([place.program, "dirs", "list", "--store", store],
                                 capture_output=True, env=place.environment, check=False)
        stored = set(listing.stdout.decode().split())
        if listing.returncode != 0 or not done <= stored <= tried:
            tally.fault("kills", "half files",
                        "%s: %d lost, %s" % (store, len(done - stored), listing.stderr))
        done |= stored


def hold_the_lock(place, tally):
    store = place.directory("held") + "/store"
    with open(store + ".lock", "w") as file:
        file.write("%d\n" % os.getpid())
        file.flush()
        fcntl.flock(file, fcntl.LOCK_EX)
        process = place.start(["dirs", "add", "--store", store, "bin=/x"])
        try:
            error = process.communicate(timeout=PATIENCE)[1].decode()
        except subprocess.TimeoutExpired:
            process.kill()
            error = ""
            tally.fault("lock", "hangs", "waits for ever")
        tally.strike("lock", process.returncode == 2)
        if str(os.getpid()) not in error:
            tally.fault("lock", "other", "the holder is not named: " + error)


def run_in_strange_surroundings(place, tally):
    """What is not needed does no harm; what is needed and missing is named."""
    nobody = {"user": 65534, "group": 65534, "extra_groups": []} if os.geteuid() == 0 else {}
    os.chmod(place.root, 0o755)
    closed, missing, long = place.directory("closed"), place.path("missing"), place.path("n" * 256)
    os.chmod(closed, 0o700 if nobody else 0)
    find = ["find", "bin", "big", "-d", "bin=" + place.root]
    add = ["dirs", "add", "bin=/"]
    unpack = ["unpack-kernel", place.path("vmlinuz")]
    home = {"HOME": closed, "XDG_CACHE_HOME": ""}
    for changes, words, status, said in (
            ({"TMPDIR": missing}, find, 0, ""), ({"TMPDIR": missing}, unpack, 0, ""),
            ({"HOME": missing}, find, 0, ""), ({"HOME": missing}, ["dirs", "list"], 0, ""),
            (home, find, 0, "Permission denied"), (home, ["checksum", place.path("big")], 0, ""),
            (home, add, 2, "Permission denied"), (home, unpack, 2, "Permission denied"),
            ({}, ["archive", place.path("big"), "--into", long], 2, "File name too long"),
            ({}, [*unpack, long], 2, "File name too long"),
            ({}, ["dirs", "list", "--store", long], 2, "File name too long")):
        process = place.start(words, changes, **(nobody if changes == home else {}))
        error = process.communicate(timeout=PATIENCE)[1].decode()
        tally.strike("places", True)
        if process.returncode != status or said not in error or bool(said) != bool(error):
            tally.fault("places", "other", "%s %s: %d %s" % (changes, words, process.returncode, error))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--program", default="build/release/bin/lokata")
    parser.add_argument("--signals", type=int, default=336)
    parser.add_argument("--cuts", type=int, default=504)
    parser.add_argument("--kills", type=int, default=4000)
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    random.seed(options.seed)
    tally = Tally()
    with tempfile.TemporaryDirectory(prefix="lokata-strike-proof-") as scratch:
        place = Place(scratch, os.path.abspath(options.program))
        holding = threading.Thread(target=hold_the_lock, args=(place, tally))
        holding.start()
        run_in_strange_surroundings(place, tally)
        strike_by_signals(place, tally, options.signals)
        strike_by_limits(place, tally, options.signals // 4)
        strike_by_cuts(place, tally, options.cuts)
        strike_by_want_of_room(place, tally, options.signals // 4)
        writers = [threading.Thread(target=kill_writers, args=(
            place, tally, options.kills // 2, place.directory("kills%d" % i))) for i in range(2)]
        for writer in writers:
            writer.start()
        for thread in [*writers, holding]:
            thread.join()
    return 0 if tally.report() else 1


if __name__ == "__main__":
    sys.exit(main())
