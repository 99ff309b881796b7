"""Means and paired differences with 95 % intervals.

The intervals are percentile bootstraps over persons, not items: two items of one voice are no two witnesses.
"""
import numpy as np

DRAWS = 2000


def mean_interval(values, persons, seed=5):
    """(mean, low, high) of one value an item; nan is left out."""
    v = np.asarray(values, float)
    ok = np.isfinite(v)
    if not ok.any():
        return np.nan, np.nan, np.nan
    names, who = np.unique(np.asarray(persons)[ok], return_inverse=True)
    sums, counts = np.bincount(who, v[ok]), np.bincount(who)
    if len(names) < 2:
        return float(v[ok].mean()), np.nan, np.nan
    draw = np.random.default_rng(seed).integers(0, len(names), (DRAWS, len(names)))
    low, high = np.percentile(sums[draw].sum(1) / counts[draw].sum(1), [2.5, 97.5])
    return float(v[ok].mean()), float(low), float(high)


class Paired:
    """Scores of coders on common items.

    rows: {coder: {item: {"m": {metric: value}, "jumps": [...], "inside": [...]}}}; groups, persons: {item: name}
    """

    def __init__(self, rows, groups, persons):
        self.rows, self.groups, self.persons = rows, groups, persons

    def items(self, *coders, of=lambda group: True):
        return [i for i in self.groups if of(self.groups[i]) and all(i in self.rows.get(c, {}) for c in coders)]

    def mean(self, coder, metric, items):
        return mean_interval([self.rows[coder][i]["m"][metric] for i in items], [self.persons[i] for i in items])

    def difference(self, coder, base, metric, items):
        d = [self.rows[coder][i]["m"][metric] - self.rows[base][i]["m"][metric] for i in items]
        return mean_interval(d, [self.persons[i] for i in items])

    def jumps(self, coder, items, what="jumps"):
        """99.9th percentile and maximum over all frames of the items."""
        j = np.concatenate([self.rows[coder][i][what] for i in items])
        return float(np.percentile(j, 99.9)), float(j.max())
