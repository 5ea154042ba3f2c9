#!/usr/bin/python3
"""An update run on a full disk: the installation lies on a small tmpfs that the
run fills part-way. The run must name its failed files and say why ("no space
left on device"), lose nothing that was installed (each old file in place, put
aside or in the restore directory), leave RelInfoLocal.rel whole and true to
what lies on the disk; with more room the next run completes.

Needs root (mount); exits 77, which CTest counts as skipped, where mounting is
not allowed.
"""
import argparse
import os
import random
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import kill_matrix as km  # noqa: E402

SKIP = 77


def mount(directory, kib, remount=False):
    options = ("remount," if remount else "") + "size=%dk" % kib
    return subprocess.run(["mount", "-t", "tmpfs", "-o", options, "tmpfs", directory],
                          capture_output=True, text=True)


def recorded(text):
    """{name: version} of a revision file's lines, or None if one is not whole."""
    if not text.endswith(b"\r\n"):
        return None
    entries = {}
    for line in text[:-2].split(b"\r\n"):
        name, sep, version = line.decode().partition("; ")
        if not sep:
            return None
        entries[km.local(name)] = version
    return entries


def main():
    p = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    p.add_argument("--cli", required=True, help="the korautoupdate program")
    args = p.parse_args()
    if os.geteuid() != 0:
        print("SKIP: mounting a tmpfs needs root")
        return SKIP
    work = tempfile.mkdtemp(prefix="full-disk-")
    disk = os.path.join(work, "disk")
    os.makedirs(disk)
    product = km.Product(random.Random(15), [96 << 10, 160 << 10, 224 << 10], retired=0)
    install_size = sum(len(old) for old, _ in product.files.values() if old is not None)
    # Room for the installation and about half of what the run needs besides.
    kib = (install_size * 3 // 2) // 1024 + 64
    r = mount(disk, kib)
    if r.returncode != 0:
        shutil.rmtree(work)
        print("SKIP: mount -t tmpfs is not allowed here: " + r.stderr.strip())
        return SKIP
    faults = []
    try:
        app = os.path.join(disk, "app")
        product.write_installation(app)
        product.write_server(os.path.join(work, "server"))
        runner = km.Runner(os.path.abspath(args.cli), dict(os.environ, XDG_CONFIG_HOME=os.path.join(work, "config")))
        with km.served(os.path.join(work, "server"), os.path.join(work, "control"), 1 << 30) as port:
            status, out, err = runner.run(km.update_command(app, port))
            failed = [line[len(" fail!    "):] for line in out.splitlines() if line.startswith(" fail!    ")]
            arrived = [line[len("  ok!    "):] for line in out.splitlines() if line.startswith("  ok!    ")]
            print("on %d KiB for %d KiB installed: %d files arrived, %d failed; exit status %d"
                  % (kib, install_size // 1024, len(arrived), len(failed), status))
            print("stderr: " + err.strip().replace("\n", "\n        "))
            if status != 1 or not failed or not arrived:
                faults.append("the run should have filled the disk part-way and ended with status 1")
            if "no space left on device" not in err.lower():
                faults.append("stderr names no full disk")
            lines = out.splitlines()
            if lines[:3] != ["... Preparing download from server!", "... connect to the KORVANE server",
                             "... set path (Sampler)"] or lines[-2:] != ["   ", "  End of download procedure!! "]:
                faults.append("the log is not that of a run: %r" % lines)

            # RelInfoLocal.rel is the old one, or one that tells what lies on the disk.
            with open(os.path.join(app, km.REVISIONS), "rb") as f:
                text = f.read()
            entries = recorded(text)
            allowed = product.contents()
            if entries is None:
                faults.append("RelInfoLocal.rel is torn: %r" % text[-40:])
            else:
                allowed[km.REVISIONS][km.digest(text)] = "partly updated"
            tally = km.Tally()
            look = km.Inspection(app, allowed, tally, "full disk")
            for rel, content in product.installed().items():
                if not look.recoverable(rel, content):
                    tally.lost += 1
                    faults.append("the installed %s is nowhere" % rel)
            if entries is not None and text != product.old_revisions:
                for name, content in product.released().items():
                    if (entries.get(name) == "2.00.00") != (look.real.get(name) == content):
                        faults.append("RelInfoLocal.rel says %s of %s" % (entries.get(name), name))
            faults += tally.faults

            # With room the next run completes.
            r = mount(disk, 16 << 10, remount=True)
            if r.returncode != 0:
                faults.append("remount failed: " + r.stderr.strip())
            status, out, err = runner.run(km.update_command(app, port))
            if status != 0:
                faults.append("the run with room ended with status %d: %s" % (status, err.strip()))
            tally = km.Tally()
            km.final_check(app, product.contents(), product.released(), product.installed(),
                           product.new_revisions, tally, "with room")
            faults += tally.faults
    finally:
        subprocess.run(["umount", disk])
        shutil.rmtree(work, ignore_errors=True)
    for f in faults:
        print("FAULT " + f)
    print("full disk: %s" % ("no fault" if not faults else "%d faults" % len(faults)))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
