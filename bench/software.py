#!/usr/bin/env python3
"""Type 7 with many rules and many processes that no rule names, in a pid
namespace of its own. $1: an installation tree (it is copied). Prints a table;
exit status 1 if the largest case misses its target."""
import json
import os
import shutil
import subprocess
import sys
import tempfile

TARGET_SECONDS = 3
PROGRAMS = 500
INSIDE = "LEDGORA_BENCH_INSIDE"
WAITER = "#include <unistd.h>\nint main(void){for(;;)pause();}\n"


def rules_of(count):
    """As rule sets look: names, several patterns, and tests of the command line."""
    return [{"name": "product-%04d" % i, "id": "P-%d" % i,
             "character": {"pattern": ["product%dd" % i], "pattern_cmd": ["--product-%d" % i],
                           "pattern_process": [
                               {"process_name": "^product-?%d(d|-server)?$" % i},
                               {"process_name": "^(java|python[0-9.]*)$",
                                "cmdline_regex": "org\\.product%d\\.[A-Z]\\w+" % i}]},
             "versions": {"version_cmd": [{"cmd_param": "-v", "out_regex": "([0-9.]+)"}]}}
            for i in range(count)]


class Processes:
    """Programs that no package owns, and processes told apart by their command lines."""

    def __init__(self, work):
        self.directory = work + "/programs"
        os.makedirs(self.directory)
        source = work + "/waiter.c"
        with open(source, "w") as text:
            text.write(WAITER)
        self.program = self.directory + "/waiter"
        subprocess.run(["cc", "-O1", "-o", self.program, source], check=True)
        self.running = []

    def grow(self, count):
        for number in range(len(self.running), count):
            path = "%s/worker-%03d" % (self.directory, number % PROGRAMS)
            if not os.path.exists(path):
                os.link(self.program, path)
            pid = os.spawnv(os.P_NOWAIT, path,
                            [path, "--config=/etc/worker/%d.conf" % number, "--listen", "127.0.0.1"])
            self.running.append(pid)


def run(tree, rules, work):
    shutil.rmtree(tree + "/var", ignore_errors=True)  # cold: neither packages nor software known
    with open(tree + "/config/rule/soft/soft_app_linux.json", "w") as text:
        json.dump(rules_of(rules), text)
    pid = os.fork()
    if pid == 0:
        os.dup2(os.open(work + "/length", os.O_CREAT | os.O_WRONLY | os.O_TRUNC), 1)
        program = tree + "/bin/ledgora_collect"
        os.execv(program, [program, "type=7", "path=" + work + "/out.json"])
    _, status, usage = os.wait4(pid, 0)
    assert status == 0, "exit status %d" % status
    return usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


def measure_all(tree, work):
    shutil.copytree(tree, work + "/tree", ignore=shutil.ignore_patterns("var"))
    processes = Processes(work)
    tree = work + "/tree"
    print("| processes | rules | CPU s | CPU s for the rules | us a rule and process | peak MiB |")
    print("|---|---|---|---|---|---|")
    for count in (0, 500, 1000):
        processes.grow(count)
        base = None
        for rules in (1, 500, 1000):
            seconds, peak = run(tree, rules, work)
            base = seconds if base is None else base
            each = (seconds - base) * 1e6 / (rules * count) if count and rules > 1 else 0
            print("| %d | %d | %.2f | %.2f | %s | %.0f |" % (
                count, rules, seconds, seconds - base, "%.2f" % each if each else "", peak))
    for pid in processes.running:
        os.kill(pid, 9)
    return seconds < TARGET_SECONDS


if os.environ.get(INSIDE):
    directory = os.path.realpath(tempfile.mkdtemp(prefix="ledgora-bench-"))
    try:
        sys.exit(0 if measure_all(sys.argv[1], directory) else 1)
    finally:
        shutil.rmtree(directory)
os.environ[INSIDE] = "1"
os.execvp("unshare", ["unshare", "-pmf", "--mount-proc", "--kill-child", sys.executable] + sys.argv)
