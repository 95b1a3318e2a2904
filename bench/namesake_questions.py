"""How bench/namesake_proof.py asks the program, and judges what it answers."""

import collections
import json
import os
import subprocess

from namesakes import read

NOBODY = 65534
FAULTS = ("wrong", "missed", "status wrong", "other in another order", "timed out", "failed")


class Score:
    """Counts namesakes, answers and faults, and prints the first faults of each kind."""

    PRINTED = 10

    def __init__(self):
        self.namesakes = self.answers = self.proven = 0
        self.faults = collections.Counter()

    def fault(self, kind, text):
        self.faults[kind] += 1
        if self.faults[kind] <= self.PRINTED:
            print("%s: %s" % (kind, text))
        elif self.faults[kind] == self.PRINTED + 1:
            print("%s: more of them" % kind)

    def report(self):
        counts = ", ".join("%d %s" % (self.faults[kind], kind) for kind in FAULTS)
        print("%d namesakes, %d answers, %d of them proven: %s"
              % (self.namesakes, self.answers, self.proven, counts))
        return not any(self.faults.values())


def drop_privileges():
    if os.geteuid() == 0:
        os.setgroups([])
        os.setgid(NOBODY)
        os.setuid(NOBODY)


class Program:
    """Runs the program as another user than root, with a home of its own."""

    def __init__(self, path, limit, score, home):
        self.path, self.limit, self.score, self.home = path, limit, score, home
        self.timed_out = False
        os.makedirs(home)
        os.chmod(home, 0o777)

    def kernel_copies(self):
        return [os.path.join(above, name) for above, _, names in os.walk(self.home)
                for name in names if name == "vmlinux"]

    def documents(self, category, words, text="", count=1):
        """What the program printed, `count` JSON documents, one a line; None if it did not answer."""
        environment = {key: value for key, value in os.environ.items() if not key.startswith("XDG_")}
        command = [self.path, *words, "--no-user", "--json"]
        try:
            result = subprocess.run(command, input=text.encode(), stdout=subprocess.PIPE,
                                    stderr=subprocess.PIPE, preexec_fn=drop_privileges,
                                    env=dict(environment, HOME=self.home), timeout=self.limit)
            documents = [json.loads(line) for line in result.stdout.splitlines()]
            if result.returncode in (0, 1) and len(documents) == count:
                return documents
            problem = "status %d, %d of %d answers: %s" % (result.returncode, len(documents), count,
                                                           result.stderr.decode(errors="replace").strip())
            self.score.fault("failed", "%s %s: %s" % (words[0], category, problem))
        except subprocess.TimeoutExpired:
            self.timed_out = True
            self.score.fault("timed out", "%s %s, after %g s" % (words[0], category, self.limit))
        except ValueError as error:
            self.score.fault("failed", "%s %s: no JSON: %s" % (words[0], category, error))
        return None


class Wanted:
    """One file that is asked for: of a build, a category and a name; and whether it lies there."""

    def __init__(self, build, category, name, module=None):
        self.build, self.category, self.name = build, category, name
        self.module = module or name
        self.build_id = None if category == "linked" else build.id
        self.lies_at = []


def content_at(path):
    try:
        return read(path)
    except OSError as error:
        return error


def judge(score, command, wanted, file):
    """`file` is that of a document, or None."""
    score.answers += 1
    path = file and file["path"]
    proven = bool(path) and file["confidence"] == "cfValidated"
    score.proven += proven
    place = "%s, %s %s of %s" % (command, wanted.category, wanted.name, wanted.build.id[:8])
    right = wanted.build.right_contents(wanted.category, wanted.name)
    if not wanted.lies_at:
        right |= wanted.build.holding_names(wanted.category)
    if proven and content_at(path) not in right:
        score.fault("wrong", "%s: %s" % (place, path))
    elif wanted.lies_at and not proven:
        score.fault("missed", "%s: %s" % (place, wanted.lies_at))


def judge_status(score, module):
    """The status of a module has to say no more and no less than its binary does."""
    binary = module["binary"] or {"path": None, "confidence": None}
    if not binary["path"]:
        right = "missing"
    elif binary["confidence"] == "cfValidated" and module["build_id"]:
        right = "resolved"
    else:
        right = "unproven"
    if module["status"] != right:
        score.fault("status wrong", "%s: %s instead of %s" % (module["name"], module["status"], right))
    if bool(module["reason"]) == (right == "resolved"):
        score.fault("status wrong", "%s: %s with the reason %s" % (module["name"], right, module["reason"]))
    if not module["build_id"] and binary["confidence"] == "cfValidated":
        score.fault("wrong", "proven by nothing: %s: %s" % (module["name"], binary["path"]))


def without_times(value):
    if isinstance(value, dict):
        return {key: without_times(each) for key, each in value.items() if key != "elapsed_us"}
    return [without_times(each) for each in value] if isinstance(value, list) else value


def answers_of(document):
    """All answers of a document by what was asked. Which module of several names a source first does."""
    answers = {}
    for module in document["modules"]:
        answers["%s %s" % (module["build_id"], module["name"])] = module
    for source in document["sources"]:
        key = "%s %s" % (source["file"]["identity"]["expected"], source["name"])
        answers[key] = {"name": source["name"], "file": source["file"]}
    return without_times(answers)


def difference(one, other, place=""):
    """Where two values differ first, and how; None if they do not."""
    if isinstance(one, dict) and isinstance(other, dict) and one.keys() == other.keys():
        pairs = [(key, one[key], other[key]) for key in one]
    elif isinstance(one, list) and isinstance(other, list) and len(one) == len(other):
        pairs = [(index, *values) for index, values in enumerate(zip(one, other))]
    else:
        return None if one == other else "%s: %s, then %s" % (place, one, other)
    found = (difference(a, b, "%s/%s" % (place, key)) for key, a, b in pairs)
    return next((each for each in found if each), None)


def compare_orders(score, category, one, other):
    one, other = answers_of(one), answers_of(other)
    for key in sorted(one.keys() | other.keys()):
        differing = difference(one.get(key), other.get(key))
        if differing:
            score.fault("other in another order", "%s, %s%s" % (category, key, differing))
