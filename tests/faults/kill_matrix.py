#!/usr/bin/python3
"""Kills `korautoupdate update` and `korautoupdate restore` with SIGKILL at many moments.

For each kill the installation starts afresh (and every third time the killed
run's leftovers get a second killed run). A kill is aimed by turns at a moment
spread over the run's whole duration, somewhere behind a line the run writes
(its log on stdout, its diagnostic log on stderr), and at the moment a part
file is made (inotify): of a transfer or a restored copy, of an archive copy,
of the revision file's rewrite. So every step is met: the start with its
clean-up, the archive copies, staging, each transfer, the rewrite. After each
kill the installation is checked:

  - RelInfoLocal.rel holds exactly the old or the new text, never a torn one;
  - a file under its real name holds one of its complete contents;
  - every installed file can still be had: in place, under its upd_ name or
    in a restore directory;
then a run that is not killed must bring the installation to the end state
and leave no part file and no staged file behind.

Exit status 0 when no fault was found, 1 otherwise; the counts go to stdout.
"""
import argparse
import contextlib
import ctypes
import hashlib
import os
import random
import re
import selectors
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
FTP_SERVER = os.path.join(HERE, "..", "support", "ftp_server.py")
PART = re.compile(r"^\..+\.part-.{6}$")
STAMP = re.compile(r"^20.{10}$")
LOCK_FILE = ".korautoupdate.lock"
REVISIONS = "RelInfoLocal.rel"


def digest(data):
    return hashlib.sha1(data).hexdigest()


def file_digest(path):
    h = hashlib.sha1()
    with open(path, "rb") as f:
        for block in iter(lambda: f.read(1 << 20), b""):
            h.update(block)
    return h.hexdigest()


def local(name):
    return name.replace("\\", "/")


def crlf(entries):
    return b"".join(b"%s; %s\r\n" % (n.encode(), v.encode()) for n, v in entries)


class Product:
    """Release 1 installed, release 2 on the server: about twenty files, a few
    of them large, two in a subdirectory, one new, and a long revision file
    (files of earlier releases stay listed in it), so its rewrite takes a moment."""

    def __init__(self, rnd, big, retired=20000):
        self.files = {}  # name as listed -> (old bytes or None, new bytes)
        small = ["Sampler", "Readme.txt", "License.txt", "sampler.chm", "Plugins\\Filter.dll",
                 "Plugins/Reverb.dll", "libcodec.so", "libview.so", "fonts.dat", "lang_de.qm",
                 "lang_fr.qm", "presets.xml", "tips.txt", "icons.dat", "help.idx"]
        for name in small:
            self.files[name] = (b"%s release 1\n" % name.encode() * rnd.randint(1, 400),
                                b"%s release 2\n" % name.encode() * rnd.randint(1, 400))
        for i, size in enumerate(big):
            name = "data%d.pak" % i
            self.files[name] = (rnd.randbytes(size), rnd.randbytes(size + 1000))
        self.files["Added.txt"] = (None, b"new in release 2\n")
        self.files["Sampler"] = (b"#!/bin/sh\necho release 1\n", b"#!/bin/sh\necho release 2\n")
        retired = [("Retired/old%05d.dll" % i, "0.%02d.00" % (i % 100)) for i in range(retired)]
        listed_old = [(n, "1.00.00") for n, (old, _) in self.files.items() if old is not None]
        self.old_revisions = crlf(listed_old + retired)
        new_entries = [(n, "2.00.00") for n, _ in listed_old] + retired
        new_entries += [(n, "2.00.00") for n, (old, _) in self.files.items() if old is None]
        self.new_revisions = crlf(new_entries)
        self.remote_revisions = crlf([(n, "2.00.00") for n in self.files])

    def write_server(self, root):
        product = os.path.join(root, "Sampler")
        for name, (_, new) in self.files.items():
            write(os.path.join(product, local(name)), new)
        write(os.path.join(product, "RelInfoRemote.rel"), self.remote_revisions)

    def write_installation(self, directory):
        for name, (old, _) in self.files.items():
            if old is not None:
                write(os.path.join(directory, local(name)), old)
        write(os.path.join(directory, REVISIONS), self.old_revisions)
        write(os.path.join(directory, "Notes.txt"), b"not listed anywhere\n")

    def installed(self):
        """{relative path: digest} of what release 1 installed, its revision file included."""
        found = {local(n): digest(old) for n, (old, _) in self.files.items() if old is not None}
        found[REVISIONS] = digest(self.old_revisions)
        return found

    def released(self):
        """{relative path: digest} of the files of release 2."""
        return {local(n): digest(new) for n, (_, new) in self.files.items()}

    def contents(self):
        """Every complete content a name may have: {relative path: {digest: 'old'|'new'}}."""
        allowed = {}
        for name, (old, new) in self.files.items():
            allowed[local(name)] = {digest(new): "new"}
            if old is not None:
                allowed[local(name)][digest(old)] = "old"
        allowed[REVISIONS] = {digest(self.old_revisions): "old", digest(self.new_revisions): "new"}
        allowed["Notes.txt"] = {digest(b"not listed anywhere\n"): "old"}
        allowed["RelInfoRemote.rel"] = {digest(self.remote_revisions): "new"}
        return allowed


@contextlib.contextmanager
def served(root, control, rate):
    """The test FTP server on root, sending at most rate bytes a second; gives its port."""
    os.makedirs(control)
    write(os.path.join(control, "throttle"), b"%d" % rate)
    server = subprocess.Popen(["/usr/bin/python3", FTP_SERVER, "--root", root, "--control", control],
                              stdout=subprocess.PIPE, text=True)
    try:
        yield int(server.stdout.readline().split()[1])
    finally:
        server.kill()
        server.wait()


def update_command(app, port):
    return ["update", "--product", "Sampler", "--app", app + "/", "--yes", "--server", "127.0.0.1:%d" % port,
            "--user", "svcfeed", "--password", "mintrav42"]


def write(path, data):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as f:
        f.write(data)


def walk(directory):
    """Relative paths of every file below directory (links not followed)."""
    found = []
    for top, dirs, files in os.walk(directory):
        for f in files:
            found.append(os.path.relpath(os.path.join(top, f), directory))
    return found


class Tally:
    def __init__(self):
        self.kills = 0
        self.torn = 0
        self.lost = 0
        self.faults = []
        self.seen = {}  # what the kills left behind, by kind

    def fault(self, what):
        if len(self.faults) < 30:
            self.faults.append(what)

    def saw(self, kind):
        self.seen[kind] = self.seen.get(kind, 0) + 1


class Inspection:
    """What one look at an installation finds, judged against the allowed contents."""

    def __init__(self, directory, allowed, tally, label):
        self.directory = directory
        self.allowed = allowed
        self.tally = tally
        self.label = label
        self.parts = []
        self.staged = []
        self.real = {}      # relative path -> digest, files under their real names
        self.archived = {}  # relative path -> set of digests in restore directories
        self.staged_content = {}
        for rel in walk(directory):
            self._classify(rel)

    def _classify(self, rel):
        path = os.path.join(self.directory, rel)
        bare = os.path.basename(rel)
        top = rel.split("/", 1)[0]
        if PART.match(bare):
            self.parts.append(rel)
            return
        if rel == LOCK_FILE:  # a killed holder's lock file: the kernel freed its lock
            return
        d = file_digest(path)
        if STAMP.match(top) and "/" in rel:
            inner = rel.split("/", 1)[1]
            self.archived.setdefault(inner, set()).add(d)
            self._judge(inner, d, "archived " + rel)
            return
        if bare.startswith("upd_"):
            real = os.path.join(os.path.dirname(rel), bare[4:]) if "/" in rel else bare[4:]
            self.staged.append(rel)
            self.staged_content[real] = d
            self._judge(real, d, "staged " + rel)
            return
        self.real[rel] = d
        self._judge(rel, d, rel)

    def judge_revision_file(self):
        """RelInfoLocal.rel is the old or the new one, whole."""
        if self.real.get(REVISIONS) not in self.allowed[REVISIONS]:
            self.tally.torn += 1
            self.tally.fault("%s: %s missing or torn" % (self.label, REVISIONS))

    def _judge(self, rel, d, where):
        known = self.allowed.get(rel)
        if known is None:
            self.tally.torn += 1
            self.tally.fault("%s: unexpected file %s" % (self.label, where))
        elif d not in known:
            self.tally.torn += 1
            self.tally.fault("%s: %s holds no complete content of %s" % (self.label, where, rel))

    def recoverable(self, rel, content):
        return (self.real.get(rel) == content or self.staged_content.get(rel) == content
                or content in self.archived.get(rel, set()))


class Runner:
    def __init__(self, cli, env):
        self.cli = cli
        self.env = env

    def start(self, args):
        return subprocess.Popen([self.cli] + args, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                stdin=subprocess.DEVNULL, env=self.env)

    def run(self, args, timeout=60):
        p = subprocess.run([self.cli] + args, capture_output=True, env=self.env, timeout=timeout,
                           stdin=subprocess.DEVNULL)
        return p.returncode, p.stdout.decode(errors="replace"), p.stderr.decode(errors="replace")

    def timed(self, args):
        """A whole run, with the moment of each line it writes: ([(seconds, line)], duration)."""
        p = self.start(args)
        t0 = time.monotonic()
        out = Output(p)
        events = []
        while out.open and time.monotonic() < t0 + 60:
            events += [(time.monotonic() - t0, line) for line in out.poll(t0 + 60 - time.monotonic())]
        out.close()
        p.wait()
        return events, time.monotonic() - t0, p.returncode

    def killed(self, args, plan):
        """Starts a run and kills it as the plan says:
          ("line", marker, delay)  delay seconds after a line holding marker;
          ("watch", make)          the moment the watch that make() gives fires.
        Returns the lines the run wrote, or None if it ended before the moment."""
        watch = plan[1]() if plan[0] == "watch" else None  # before the run: no creation is missed
        p = self.start(args)
        out = Output(p)
        deadline = time.monotonic() + 60
        hit = False
        if plan[0] == "line":
            while out.open and not hit and time.monotonic() < deadline:
                hit = any(plan[1] in line for line in out.poll(deadline - time.monotonic()))
            if hit and plan[2] > 0.002:
                time.sleep(plan[2])  # the aim of the kill, not a wait for a condition
            elif hit:
                until = time.monotonic() + plan[2]
                while time.monotonic() < until:
                    pass
        else:
            out.sel.register(watch, selectors.EVENT_READ, "watch")
            while out.open and not hit and time.monotonic() < deadline:
                out.poll(deadline - time.monotonic())
                hit = watch.fired()
            out.sel.unregister(watch)
            watch.close()
        fired = hit and p.poll() is None
        if fired:
            p.send_signal(signal.SIGKILL)
            while out.open and time.monotonic() < deadline:
                out.poll(deadline - time.monotonic())  # what it wrote before it died
        out.close()
        p.wait()
        return out.lines if fired and p.returncode == -signal.SIGKILL else None


class Output:
    """The lines of a child's stdout and stderr, read as they come."""

    def __init__(self, p):
        self.sel = selectors.DefaultSelector()
        self.sel.register(p.stdout, selectors.EVENT_READ, "out")
        self.sel.register(p.stderr, selectors.EVENT_READ, "err")
        self.pending = {"out": b"", "err": b""}
        self.open = 2
        self.lines = []
        self.p = p

    def poll(self, timeout):
        new = []
        for key, _ in self.sel.select(timeout=max(0.0, timeout)):
            if key.data == "watch":
                continue
            chunk = os.read(key.fileobj.fileno(), 65536)
            if not chunk:
                self.sel.unregister(key.fileobj)
                self.open -= 1
                continue
            self.pending[key.data] += chunk
            *lines, self.pending[key.data] = self.pending[key.data].split(b"\n")
            new += [line.decode(errors="replace") for line in lines]
        self.lines += new
        return new

    def close(self):
        self.sel.close()
        self.p.stdout.close()
        self.p.stderr.close()


class PartFileWatch:
    """Wakes the moment the nth new part file (counted from 0) is made in a
    directory, or in its restore directories (inotify, through ctypes)."""
    IN_CREATE, IN_ISDIR = 0x100, 0x40000000
    libc = ctypes.CDLL(None, use_errno=True)

    def __init__(self, directory, nth, inside_restore_directories=False, prefix=""):
        self.nth, self.prefix, self.inside = nth, prefix, inside_restore_directories
        self.seen = set()
        self.fd = self.libc.inotify_init1(os.O_NONBLOCK | os.O_CLOEXEC)
        self.directory = directory
        self.libc.inotify_add_watch(self.fd, directory.encode(), self.IN_CREATE)
        if self.inside:
            for d in os.listdir(directory):
                if STAMP.match(d):
                    self.libc.inotify_add_watch(self.fd, os.path.join(directory, d).encode(), self.IN_CREATE)

    def fileno(self):
        return self.fd

    def fired(self):
        try:
            data = os.read(self.fd, 65536)
        except BlockingIOError:
            return False
        at = 0
        while at < len(data):
            wd, mask, _, size = struct.unpack_from("iIII", data, at)
            name = data[at + 16:at + 16 + size].rstrip(b"\0").decode(errors="replace")
            at += 16 + size
            if self.inside and wd == 1 and mask & self.IN_ISDIR and STAMP.match(name):
                self.libc.inotify_add_watch(self.fd, os.path.join(self.directory, name).encode(), self.IN_CREATE)
            elif PART.match(name) and name.startswith(self.prefix) and (wd != 1 or not self.inside):
                self.seen.add(name)
        return len(self.seen) > self.nth

    def close(self):
        os.close(self.fd)


def plans(events, rnd, watches):
    """Kill moments without end, by turns: spread evenly from the run's first
    line to its last; behind one of its lines, somewhere before the next one;
    and each of the watches (functions of a number k, giving a watch maker)."""
    first, last = events[0][0], events[-1][0]
    behind = [(line, events[i + 1][0] - t) for i, (t, line) in enumerate(events[:-1]) if line.strip()]
    kinds = 2 + len(watches)
    for i in range(1 << 30):
        turn, k = i % kinds, i // kinds
        spread = (k * 0.618034 + rnd.random() * 0.05) % 1.0
        if turn == 0:
            yield ("line", events[0][1], 0.95 * (last - first) * spread)
        elif turn == 1:
            line, gap = behind[k * 7 % len(behind)]
            yield ("line", line, rnd.choice([0.0, gap * rnd.random()]))
        else:
            yield ("watch", watches[turn - 2](k))


def kinds_left(look):
    kinds = []
    for rel in look.parts:
        top = rel.split("/", 1)[0]
        kinds.append("part file in a restore directory (archive copy)" if STAMP.match(top)
                     else "part file beside a target (transfer or copy)")
    if look.staged:
        kinds.append("file put aside under its upd_ name")
    for rel in look.staged:
        real = os.path.join(os.path.dirname(rel), os.path.basename(rel)[4:])
        if not os.path.exists(os.path.join(look.directory, real)):
            kinds.append("file only under its upd_ name")
    if any(os.path.basename(rel).startswith("." + REVISIONS) for rel in look.parts):
        kinds.append("RelInfoLocal.rel being written (its part file)")
    return sorted(set(kinds))


def kill_sweep(name, runner, cmd, fresh, events, watches, target, tally, rnd, after_kill, after_rerun):
    """Kills runs until target kills are made: each time on a fresh installation,
    every third time a second kill on what the first one left; after each kill
    after_kill(label, lines) judges the installation, and after the rerun that
    follows, uncut, after_rerun(label, status, err) does."""
    moments = plans(events, rnd, watches)
    made = attempts = 0
    while made < target and attempts < 3 * target:
        fresh()
        for round_ in range(2 if attempts % 3 == 0 else 1):
            attempts += 1
            plan = next(moments)
            lines = runner.killed(cmd, plan)
            if lines is None:
                tally.saw("%s: run had ended before the moment" % name)
                break
            made += 1
            tally.kills += 1
            tally.saw("%s killed in: %s" % (name, step_of(lines)))
            aim = "%r %.4f s" % (plan[1][:40], plan[2]) if plan[0] == "line" else "watch"
            after_kill("%s kill %d.%d (%s)" % (name, made, round_, aim), lines)
        status, _, err = runner.run(cmd)
        after_rerun("rerun after %s kill %d" % (name, made), status, err)
    return made


def update_matrix(args, runner, work, tally, rnd):
    product = Product(rnd, [2 << 20, 4 << 20, 6 << 20])
    server_root = os.path.join(work, "server")
    product.write_server(server_root)
    template = os.path.join(work, "template")
    product.write_installation(template)
    allowed = product.contents()
    old_contents, new_contents = product.installed(), product.released()

    with served(server_root, os.path.join(work, "control"), args.rate) as port:
        app = os.path.join(work, "app")

        def cmd():
            return update_command(app, port)

        def fresh():
            shutil.rmtree(app, ignore_errors=True)
            shutil.copytree(template, app, symlinks=True)

        fresh()
        events, duration, status = runner.timed(cmd())
        if status != 0:
            tally.fault("update: the reference run ended with status %d" % status)
            return 0.0
        final_check(app, allowed, new_contents, old_contents, product.new_revisions, tally, "reference run")
        print("update run: %.2f s uncut, %d lines" % (duration, len(events)))

        def after_kill(label, lines):
            look = Inspection(app, allowed, tally, label)
            for kind in kinds_left(look):
                tally.saw("update left: " + kind)
            for rel, content in old_contents.items():
                if not look.recoverable(rel, content):
                    tally.lost += 1
                    tally.fault("%s: the installed %s is nowhere (killed in: %s)" % (label, rel, step_of(lines)))
            look.judge_revision_file()

        def after_rerun(label, status, err):
            if status != 0:
                tally.fault("%s: ended with status %d: %s" % (label, status, err.strip()))
            final_check(app, allowed, new_contents, old_contents, product.new_revisions, tally, label)

        # Archive part files come in list order: RelInfoLocal.rel, the small files, the large ones.
        watches = [lambda k: lambda: PartFileWatch(app, (16, 1 + k % 15, 17, 18)[k % 4], inside_restore_directories=True),
                   lambda k: lambda: PartFileWatch(app, k % 21),
                   lambda k: lambda: PartFileWatch(app, 0, prefix="." + REVISIONS)]
        kill_sweep("update", runner, cmd(), fresh, events, watches, args.kills, tally, rnd, after_kill,
                   after_rerun)
        return duration


STEPS = (("update local revision file", "revision file rewrite"),
         ("updated local revision file", "after the rewrite"),
         ("look for RelInfoRemote.rel", "restore directory, remote revision file"),
         ("check local revision file", "reading and comparing"),
         ("start transfer", "a transfer"),
         ("korautoupdate.ftp: fetched ", "placing a file: archive copy, staging, rename"),
         ("replaced ", "after placing: staged file removed, next transfer"),
         ("restore to ", "restore: first copy"),
         ("restored ", "restore: next copy"),
         ("update run of ", "start: clean-up, logon"))


def step_of(lines):
    """The step a run had reached, from the lines it wrote."""
    step = "process start"
    for line in lines:
        for key, name in STEPS:
            if key in line and "fetched RelInfoRemote.rel" not in line:
                step = name
                break
    return step


def final_check(app, allowed, final, old_contents, final_revisions, tally, label):
    look = Inspection(app, allowed, tally, label)
    for rel, content in final.items():
        if look.real.get(rel) != content:
            tally.fault("%s: %s is not in its end state" % (label, rel))
            tally.lost += 1 if rel not in look.real else 0
    if look.real.get(REVISIONS) != digest(final_revisions):
        tally.fault("%s: %s is not in its end state" % (label, REVISIONS))
    if look.parts:
        tally.fault("%s: part files stay: %s" % (label, look.parts[:3]))
    if look.staged:
        tally.fault("%s: staged files stay: %s" % (label, look.staged[:3]))
    for rel, content in old_contents.items():
        if not look.recoverable(rel, content):
            tally.lost += 1
            tally.fault("%s: the old %s is gone from the archive" % (label, rel))


def restore_matrix(args, runner, work, tally, rnd):
    """Installation at release 3 with two restore directories; back to the older one."""
    app = os.path.join(work, "restore-app")
    template = os.path.join(work, "restore-template")
    older, newer = "201001010000", "201501010000"
    names = ["Sampler", "Readme.txt", "sampler.chm", "libcodec.so", "libview.so", "fonts.dat",
             "lang_de.qm", "presets.xml", "tips.txt", "icons.dat", "help.idx", "big0.pak", "big1.pak",
             "big2.pak", "Notes.txt"]
    sizes = {"big0.pak": 2 << 20, "big1.pak": 3 << 20, "big2.pak": 2 << 20}

    def content(name, release):
        if name in sizes:
            return random.Random("%s%d" % (name, release)).randbytes(sizes[name] + release)
        return b"%s release %d\n" % (name.encode(), release) * (1 + len(name) * release)

    in_older = names[0:9] + ["big0.pak", "big1.pak"]
    in_newer = names[4:12] + ["big2.pak", "big1.pak"]
    allowed, current, final = {}, {}, {}
    revisions = {r: crlf([(n, "%d.00.00" % r) for n in names]) for r in (1, 2, 3)}
    for name in names:
        current[name] = content(name, 3)
        write(os.path.join(template, name), current[name])
        allowed[name] = {digest(current[name]): "current"}
        final[name] = digest(current[name])
    for stamp, release, listed in ((newer, 2, in_newer), (older, 1, in_older)):
        write(os.path.join(template, stamp, REVISIONS), revisions[release])
        for name in listed:
            write(os.path.join(template, stamp, name), content(name, release))
            allowed[name][digest(content(name, release))] = "release %d" % release
            final[name] = digest(content(name, release))
    write(os.path.join(template, REVISIONS), revisions[3])
    allowed[REVISIONS] = {digest(revisions[r]): r for r in (1, 2, 3)}
    final[REVISIONS] = digest(revisions[1])
    current_digests = {n: digest(c) for n, c in current.items()}
    current_digests[REVISIONS] = digest(revisions[3])

    def fresh():
        shutil.rmtree(app, ignore_errors=True)
        shutil.copytree(template, app, symlinks=True)

    cmd = ["restore", "--app", app + "/", older, "--yes"]
    fresh()
    events, duration, status = runner.timed(cmd)
    look = Inspection(app, allowed, tally, "restore reference run")
    if status != 0 or any(look.real.get(n) != d for n, d in final.items()):
        tally.fault("restore: the reference run ended with status %d or not in its end state" % status)
        return 0.0
    print("restore run: %.2f s uncut, %d lines" % (duration, len(events)))

    def after_kill(label, lines):
        look = Inspection(app, allowed, tally, label)
        for kind in kinds_left(look):
            tally.saw("restore left: " + kind)
        # Each file is in place or put aside, with one of its complete contents.
        for rel in allowed:
            if rel not in look.real and rel not in look.staged_content:
                tally.lost += 1
                tally.fault("%s: %s is neither in place nor put aside (killed in: %s)"
                            % (label, rel, step_of(lines)))
        look.judge_revision_file()

    def after_rerun(label, status, err):
        if status != 0:
            tally.fault("%s: ended with status %d: %s" % (label, status, err.strip()))
        look = Inspection(app, allowed, tally, label)
        for rel, d in final.items():
            if look.real.get(rel) != d:
                tally.fault("%s: %s is not in its end state" % (label, rel))
        if look.parts or look.staged:
            tally.fault("%s: leftovers %s" % (label, (look.parts + look.staged)[:3]))

    watches = [lambda k: lambda: PartFileWatch(app, k % 22)]
    kill_sweep("restore", runner, cmd, fresh, events, watches, args.restore_kills, tally, rnd, after_kill,
               after_rerun)
    return duration


def main():
    p = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    p.add_argument("--cli", required=True, help="the korautoupdate program")
    p.add_argument("--kills", type=int, default=40, help="update runs to kill (some get a second kill)")
    p.add_argument("--restore-kills", type=int, default=30, help="restore runs to kill")
    p.add_argument("--rate", type=int, default=80 << 20, help="the server's bytes per second")
    p.add_argument("--seed", type=int, default=None)
    p.add_argument("--keep", action="store_true", help="keep the work directory")
    args = p.parse_args()
    seed = args.seed if args.seed is not None else random.randrange(1 << 30)
    rnd = random.Random(seed)
    work = tempfile.mkdtemp(prefix="kill-matrix-")
    env = dict(os.environ, QT_QPA_PLATFORM="offscreen", XDG_CONFIG_HOME=os.path.join(work, "config"),
               QT_LOGGING_RULES="korautoupdate.run.info=true;korautoupdate.ftp.info=true")
    runner = Runner(os.path.abspath(args.cli), env)
    tally = Tally()
    started = time.monotonic()
    try:
        update_matrix(args, runner, work, tally, rnd)
        update_kills = tally.kills
        restore_matrix(args, runner, work, tally, rnd)
    finally:
        if not args.keep:
            shutil.rmtree(work, ignore_errors=True)
    if update_kills < args.kills or tally.kills - update_kills < args.restore_kills:
        tally.fault("fewer kills than asked for: the runs ended before the moments came")
    print("seed %d; %.1f s in all" % (seed, time.monotonic() - started))
    print("kills: %d (update %d, restore %d); torn files: %d; lost files: %d"
          % (tally.kills, update_kills, tally.kills - update_kills, tally.torn, tally.lost))
    for kind, count in sorted(tally.seen.items()):
        print("  %4d  %s" % (count, kind))
    for f in tally.faults:
        print("FAULT " + f)
    return 0 if not tally.faults and tally.torn == 0 and tally.lost == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
