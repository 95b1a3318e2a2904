#!/usr/bin/env python3
"""Two programs add directories to one store, a thousand each, and one of them is killed again and
again at a random moment. Every directory whose addition was reported as done has to be in the store,
and the store has to be readable after each kill.

    bench/store_proof.py [ADDITIONS] [LOKATA]
"""

import random
import subprocess
import sys
import tempfile
import threading
import time


class Writer(threading.Thread):
    """Adds one directory after the other by a process each, and kills some of these processes."""

    def __init__(self, lokata, store, name, additions, kill_one_in):
        super().__init__()
        self.command = [lokata, "dirs", "add", "--store", store]
        self.listing = [lokata, "dirs", "list", "--store", store]
        self.tried = [f"bin=/{name}/{i}" for i in range(additions)]
        self.kill_one_in = kill_one_in
        self.random = random.Random(1)
        self.done = set()
        self.kills = 0
        self.faults = []

    def run(self):
        duration = 0.05
        for directory in self.tried:
            started = time.monotonic()
            process = subprocess.Popen(self.command + [directory], stderr=subprocess.PIPE)
            if self.kill_one_in and self.random.randrange(self.kill_one_in) == 0:
                time.sleep(self.random.uniform(0, duration))
                process.kill()
            else:
                process.wait()
                duration = time.monotonic() - started
            fault = process.communicate()[1].decode()
            if process.returncode == 0:
                self.done.add(directory)
            elif process.returncode == -9:
                self.kills += 1
                self.check_readable()
            else:
                self.faults.append(f"{directory}: {fault}")

    def check_readable(self):
        listing = subprocess.run(self.listing, capture_output=True, check=False)
        if listing.returncode != 0:
            self.faults.append(listing.stderr.decode())


def main():
    additions = int(sys.argv[1]) if len(sys.argv) > 1 else 1000
    lokata = sys.argv[2] if len(sys.argv) > 2 else "build/release/bin/lokata"
    with tempfile.TemporaryDirectory() as scratch:
        store = scratch + "/store"
        steady = Writer(lokata, store, "steady", additions, 0)
        victim = Writer(lokata, store, "victim", additions, 2)
        for writer in (steady, victim):
            writer.start()
        for writer in (steady, victim):
            writer.join()
        listing = subprocess.run(steady.listing, capture_output=True, check=True)
        stored = listing.stdout.decode().splitlines()

    done = steady.done | victim.done
    faults = steady.faults + victim.faults
    faults += [f"{line}: lost" for line in done - set(stored)]
    faults += [f"{line}: never added" for line in set(stored) - set(steady.tried + victim.tried)]
    if len(set(stored)) != len(stored):
        faults.append("a directory stands twice")
    print(f"{len(done)} of {2 * additions} additions done, {victim.kills} killed, "
          f"{len(stored)} directories stored, {len(faults)} faults")
    for fault in faults:
        print(fault, file=sys.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
