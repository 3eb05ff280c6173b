"""The measured figures and what is read off them."""
import collections
import statistics

from workloads import NOT_EQUAL, TARGETS, WORKLOADS

Key = collections.namedtuple("Key", "workload side threads")
ENTRIES = {name: entry for group in WORKLOADS.values() for name, entry in group.items()}


class Figures:
    """ns/voxel of every round by Key, peak memory by (workload, threads), limits by (kind, MiB, threads)."""

    def __init__(self, limits):
        self.times = collections.defaultdict(list)
        self.memory = {}
        self.limits = limits

    def median(self, workload, side, threads):
        values = self.times.get(Key(workload, side, threads))
        return statistics.median(values) if values else None

    def ours(self, workload, threads):
        """An operation that stays on the caller's thread takes at two threads what it takes at one."""
        return self.median(workload, "ours", threads) or self.median(workload, "ours", 1)

    def limit(self, workload, threads):
        entry = ENTRIES.get(workload)
        if entry is None:
            return None
        read, written, mib = entry
        return (read + written) / self.limits["a" if written else "sum", mib, threads]

    def fastest_peer(self, workload, threads, against=""):
        """With two threads at hand a user may still pick what runs on one."""
        peers = [(statistics.median(values), key.side) for key, values in self.times.items()
                 if key.workload == workload and key.threads <= threads and key.side != "ours" and against in key.side
                 and not any(word in key.side for word in NOT_EQUAL)]
        time, side = min(peers, default=(None, None))
        return side, time

    def contends(self, key):
        """Whether a peer may turn out to be the fastest one: the others are timed in the first round only."""
        if any(word in key.side for word in NOT_EQUAL):
            return False
        best = self.fastest_peer(key.workload, key.threads)[1]
        return best is None or statistics.median(self.times[key]) < 2 * best

    def slower_than_a_peer(self, threads):
        for workload in ENTRIES:
            ours, peer = self.ours(workload, threads), self.fastest_peer(workload, threads)[1]
            if ours and peer and ours > peer:
                yield workload, ours / peer

    def ratio(self, target):
        """What the target bounds: times ahead of a peer, or multiple of the limit or of another workload of ours."""
        ours = self.ours(target.workload, target.threads)
        if target.kind == "peer":
            other = self.fastest_peer(target.workload, target.threads, target.against)[1]
            return other / ours if ours and other else None
        other = (self.limit(target.workload, target.threads) if target.kind == "limit"
                 else self.ours(target.against, target.threads))
        return ours / other if ours and other else None

    def targets(self):
        """(target, what was reached, whether it is met) for those that were measured."""
        for target in TARGETS:
            reached = self.ratio(target)
            if reached is None:
                continue
            rounded = round(reached, 2)
            yield target, rounded, rounded >= target.factor if target.kind == "peer" else rounded <= target.factor
