"""program_cost.py MEASURE PROGRAM: measures whole runs of the program beside
peers that answer the same question, and prints a table: processor time and
peak memory of a run with all that it starts. Exit status 1 if a run that must
work doesn't, or misses its target."""
import os
import shutil
import subprocess
import sys
import tempfile

ROUNDS = 30
SLOW_ROUNDS = 7  # of a run that sleeps
MEASURE, PROGRAM = sys.argv[1:3]
WORK = tempfile.mkdtemp(prefix="ledgora-bench-")
os.environ["HOME"] = WORK  # login shells don't read the profile of whoever measures


def ours(kind, option=0):
    document = os.path.join(WORK, "document.json")
    return [PROGRAM, f"type={kind}", f"path={document}", f"option={option}", f"logpath={WORK}"]


class Question:
    """Our run and its peers. The targets hold for the median; of the CPU time, what the
    commands that the run must start take by themselves is taken off first."""

    def __init__(self, name, run, peers, cpu=None, peak=None, starts=(), rounds=ROUNDS):
        self.name, self.run, self.rounds = name, run, rounds
        self.peers = [peer for peer in peers if shutil.which(peer[0])]
        self.cpu_target, self.peak_target, self.starts = cpu, peak, list(starts)


LOGIN_SHELL = ["/bin/sh", "-c", 'bash -l -c "sh -c set"']
PROCESS_LIST = ["/bin/sh", "-c",
                "ps -eo pid,ppid -o ruser=aaaabbbbccccddddeeeeffff -o "
                "uid,group,gid,tty,lstart,state,%cpu,%mem,comm 2>/dev/null"
                " | tail -n +2 | grep -E -v 'ps -eo' | grep -v grep"]

QUESTIONS = [
    Question("IP addresses (type 14)", ours(14), [["ip", "-4", "-o", "addr"], ["true"]], 15, 16),
    Question("versions (type 1001)", ours(1001), [["dpkg-query", "-W", "base-files"]], 15, 16),
    Question("system information (type 1)", ours(1),
             [["bash", "-lc", "sh -c set; uname -a; lsblk; ip addr; ip route"]]),
    Question("system status (type 2)", ours(2), [["df", "-a"]], 20, rounds=SLOW_ROUNDS),
    Question("users (type 4)", ours(4), [["getent", "passwd"]], 30),
    Question("scheduled jobs (type 6)", ours(6), [["ps", "auxww"]], 30, starts=[PROCESS_LIST]),
    Question("services (type 19)", ours(19),
             [["systemctl", "list-unit-files", "--no-pager"], ["ps", "auxww"]]),
    Question("environment (type 20)", ours(20), [["env"]], 30, starts=[LOGIN_SHELL]),
    Question("processes, quick (type 3)", ours(3, 1), [["ps", "auxww"]]),
    Question("listening ports (type 5)", ours(5), [["ss", "-lntup"]]),
    Question("connections (type 15)", ours(15), [["ss", "-ntup"]]),
    Question("kernel modules (type 21)", ours(21), [["lsmod"]]),
    Question("installed packages (type 23)", ours(23), [["dpkg-query", "-W"]]),
]


def measure(rounds, commands):
    """For each command: median and worst CPU ms, peak MiB, failed runs, output is a number."""
    words = [MEASURE, str(rounds)]
    for command in commands:
        words += command + ["--"]
    lines = subprocess.run(words[:-1], check=True, capture_output=True, text=True).stdout
    return [(int(a) / 1e3, int(b) / 1e3, int(c) / 1024, int(d), e == "1")
            for a, b, c, d, e in (line.split() for line in lines.splitlines())]


def judge(question, own, started):
    """What a question's targets say to its results; empty when they are met."""
    cpu = own[0] - sum(result[0] for result in started)
    if question.cpu_target and cpu >= question.cpu_target:
        return f"{question.name}: {cpu:.1f} ms"
    if question.peak_target and own[2] >= question.peak_target:
        return f"{question.name}: {own[2]:.1f} MiB"
    return ""


missed, targets = [], []
print("| Run | CPU ms, median | CPU ms, worst | Peak MiB | CPU against the peer |")
print("|---|---|---|---|---|")
for question in QUESTIONS:
    if not measure(1, [question.run])[0][4]:
        missed.append(f"{question.name}: no document")
        continue
    others = question.peers + question.starts
    results = measure(question.rounds, [question.run] + others)
    labels = [question.name]
    labels += [f"peer: `{' '.join(peer)}`" for peer in question.peers]
    labels += [f"started by it: `{start[-1].split(' | ')[0]}`" for start in question.starts]
    for index, (median, worst, peak, failed, _) in enumerate(results):
        ratio = f"{median / results[1][0]:.1f}" if index == 0 and question.peers else ""
        print(f"| {labels[index]} | {median:.1f} | {worst:.1f} | {peak:.1f} | {ratio} |")
        if failed:
            missed.append(f"{labels[index]}: {failed} of {question.rounds} runs failed")
    missed += filter(None, [judge(question, results[0], results[len(question.peers) + 1:])])
    if question.cpu_target:
        targets.append(f"{question.name} {question.cpu_target} ms"
                       + (f" and {question.peak_target} MiB" if question.peak_target else "")
                       + (" beyond what it starts" if question.starts else ""))
print()
print(f"{ROUNDS} runs of each, {SLOW_ROUNDS} of type 2, which sleeps a second. Targets: "
      + "; ".join(targets) + ": "
      + ("**missed** (" + "; ".join(missed) + ")." if missed else "met."))
shutil.rmtree(WORK)
sys.exit(1 if missed else 0)
