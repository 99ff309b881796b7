"""The report: every number is measured in the run that writes it."""
import datetime

import numpy as np

# metric: (digits, what it is called, +1 when more is better, -1 when less is, 0 when nearer to nought is)
METRICS = {
    "estoi": (3, "ESTOI", 1), "ppg": (3, "phone posteriors", 1), "warpq": (3, "WARP-Q", -1),
    "phone": (1, "same phone, %", 1), "vuv": (1, "same voicing, %", 1), "per_off": (1, "periodicity offset", 0),
    "per_err": (1, "periodicity error", -1), "gpe": (2, "gross pitch errors, %", -1), "lvl_off": (2, "level, dB", 0),
    "f0_cents": (1, "pitch error, cents", -1)}
YARDSTICKS = ("estoi", "ppg", "warpq")
GUARDS = ("vuv", "per_off", "per_err", "gpe", "lvl_off", "f0_cents")


def shown(metric, triple, sign="+"):
    """mean [low, high] with the digits of the metric."""
    mean, low, high = triple
    d = METRICS[metric][0]
    if not np.isfinite(mean):
        return "–"
    text = ("%" + sign + ".*f") % (d, mean)
    return text + (" [%+.*f, %+.*f]" % (d, low, d, high) if np.isfinite(low) and sign else "")


def table(head, rows, left=1):
    out = ["| " + " | ".join(head) + " |", "|" + " --- |" * left + " --: |" * (len(head) - left)]
    return "\n".join(out + ["| " + " | ".join(r) + " |" for r in rows])


def figures(v):
    """Three figures that count, never a power of ten."""
    return "%d" % float("%.3g" % v) if v >= 100 else "%.3g" % v


def is_speech(group):
    return not group.startswith(("noise-added", "music"))


class Report:
    def __init__(self, result, args):
        self.r, self.a, self.p = result, args, result["paired"]
        self.names = [c["name"] for c in result["own"]]
        self.efforts = self.names[1:]
        self.all = self.p.items("plain", of=is_speech)
        self.live = "effort %d" % args.live if args.live in result["efforts"] else None

    def speed(self, name):
        """Processor time over the speech's own."""
        return self.r["cpu"][name] / self.r["cpu_of"] if name in self.r["cpu"] else np.nan

    # ---- Goals

    def items(self, name):
        return self.p.items(name, "plain", of=is_speech)

    def gain(self, name, metric, items=None):
        return self.p.difference(name, "plain", metric, items or self.items(name))

    def kept(self, name, channel, metric):
        """Share of the gain that is left on the channel, both taken over the same items."""
        a, b = name + " " + channel, "plain " + channel
        items = self.p.items(a, b, name, "plain", of=is_speech)
        whole = self.p.difference(name, "plain", metric, items)[0]
        return self.p.difference(a, b, metric, items)[0] / whole if whole else np.nan

    def worse_groups(self, name):
        """(groups where a yardstick's mean is worse, those of them where it is so for sure), as "group: yardstick"."""
        worse, sure = [], []
        for g in sorted(set(self.p.groups.values())):
            items = self.p.items(name, "plain", of=lambda group, g=g: group == g)
            for m in YARDSTICKS:
                mean, low, high = (METRICS[m][2] * v for v in self.gain(name, m, items)) if items else (np.nan,) * 3
                if mean < 0:
                    worse.append("%s: %s" % (g, METRICS[m][1]))
                    if max(low, high) < 0:
                        sure.append(worse[-1])
        return worse, sure

    def goals(self):
        rows = []

        def goal(text, limit, got, met, sure=True):
            rows.append([text, limit, got, "met" if met else "**not met**" if sure else "not met, within the error"])

        for name, limits in ((self.live, {"estoi": 0.06, "ppg": 0.06, "warpq": -0.08}),
                             (self.efforts[-1] if self.efforts else None, {"estoi": 0.08})):
            for m, limit in limits.items() if name else ():
                g = self.gain(name, m)
                met = METRICS[m][2] * (g[0] - limit) >= 0
                goal("%s, %s" % (METRICS[m][1], name), "%+.2f" % limit, shown(m, g), met)
        for name in [n for n in self.efforts if n + " lost" in self.p.rows]:
            vuv, off = (self.gain(name, m)[0] for m in ("vuv", "per_off"))
            level, itself = self.gain(name, "lvl_off")[0], self.p.mean(name, "lvl_off", self.items(name))[0]
            gpe = self.gain(name, "gpe")
            goal("Voicing agreement, " + name, "-1 point", "%+.2f" % vuv, vuv >= -1)
            goal("Periodicity offset, " + name, "within 2 points", "%+.2f" % off, abs(off) <= 2)
            goal("Gross pitch errors, " + name, "not more", shown("gpe", gpe), gpe[0] <= 0, gpe[1] > 0)
            goal("Level, " + name, "within 1 dB", "%+.2f dB (%+.2f to the original)" % (level, itself), abs(level) <= 1)
            moved = self.r["lags"][name] - self.r["lags"]["plain"]
            goal("Alignment, " + name, "as plain", "%+d samples" % moved, abs(moved) <= 20)
            items = self.items(name)
            jump, inside = (self.p.jumps(name, items, what)[1] / self.p.jumps("plain", items, what)[1]
                            for what in ("jumps", "inside"))
            goal("Largest jump between frames, " + name, "as plain, or as within frames",
                 "× %.2f (within frames × %.2f)" % (jump, inside), jump <= max(1.1, inside))
            for channel in ("lost", "late"):
                share = [self.kept(name, channel, m) for m in YARDSTICKS]
                goal("Gain kept, %s, %s" % ("5 % lost" if channel == "lost" else "joined late", name), "75 %",
                     ", ".join("%.0f %%" % (100 * s) for s in share), min(share) >= 0.75)
            worse, sure = self.worse_groups(name)
            got = "%d of %d, for sure %d" % (len(worse), 3 * len(set(self.p.groups.values())), len(sure))
            goal("Groups and yardsticks worse than plain, " + name, "none", got, not worse, sure)
        return table(["what", "goal", "measured", ""], rows)

    # ---- Tables

    def overall(self, metrics):
        rows = [["plain, itself", "%d" % len(self.all)] +
                [shown(m, self.p.mean("plain", m, self.all), "") for m in metrics]]
        rows += [[n, "%d" % len(self.items(n))] + [shown(m, self.gain(n, m)) for m in metrics] for n in self.efforts]
        return table(["encoder", "items"] + [METRICS[m][1] for m in metrics], rows)

    def kinds(self, names, key):
        """Rows of groups, or of kinds of them; differences to plain."""
        rows = []
        for k in sorted({key(g) for g in self.p.groups.values()}):
            for n in names:
                items = self.p.items("plain", n, of=lambda g, k=k: key(g) == k)
                people = len({self.p.persons[i] for i in items})
                if not items:
                    continue
                rows.append([k.replace(".", ", "), n, "%d of %d" % (len(items), people)] +
                            [shown(m, self.gain(n, m, items)) for m in YARDSTICKS + ("vuv", "per_off")])
        head = ["speech", "encoder", "items, persons"] + [METRICS[m][1] for m in YARDSTICKS + ("vuv", "per_off")]
        return table(head, rows, 2)

    def channels(self):
        rows = []
        for channel, what in (("lost", "5 % of the frames lost"), ("late", "decoder joins after 1.2 s")):
            for n in [e for e in self.efforts if e + " " + channel in self.p.rows]:
                items = self.p.items(n + " " + channel, "plain " + channel, of=is_speech)
                rows.append([what, n] + ["%s, %.0f %%" % (
                    shown(m, self.p.difference(n + " " + channel, "plain " + channel, m, items)),
                    100 * self.kept(n, channel, m)) for m in YARDSTICKS])
        return table(["channel", "encoder"] + [METRICS[m][1] + ", kept" for m in YARDSTICKS], rows, 2)

    def clicks(self):
        rows = []
        for n in self.efforts:
            rows.append([n] + ["%.2f" % v for e in (n, "plain") for what in ("jumps", "inside")
                               for v in self.p.jumps(e, self.items(n), what)])
        of = ["99.9th percentile", "largest", "within frames", "largest"]
        return table(["encoder"] + of + ["plain: " + of[0]] + of[1:], rows)

    def cost(self):
        own = self.speed("plain")
        return table(["encoder", "% of real time", "times real time", "times the plain encoder"], [
            [n] + [figures(v) for v in (100 * self.speed(n), 1 / self.speed(n), self.speed(n) / own)]
            for n in self.names + [c["name"] for c in self.r["peers"]] if n in self.r["cpu"]])

    def beside(self):
        everyone = self.r["own"] + self.r["peers"]
        items = self.p.items(*[c["name"] for c in everyone], of=is_speech)
        rows = []
        for c in sorted(everyone, key=lambda c: -self.p.mean(c["name"], "estoi", items)[0]):
            n = c["name"]
            rows.append([n, "%d" % c["bitrate"]] + [
                "%.*f" % (METRICS[m][0], self.p.mean(n, m, items)[0]) + (
                    "" if n == "plain" else " (%s)" % shown(m, self.p.difference(n, "plain", m, items)))
                for m in YARDSTICKS] + [
                "%.*f" % (METRICS[m][0], self.p.mean(n, m, items)[0]) for m in ("vuv", "per_off", "per_err", "gpe")])
        head = ["coder", "bit/s"] + [METRICS[m][1] for m in YARDSTICKS + ("vuv", "per_off", "per_err", "gpe")]
        return table(head, rows), len(items), sum(self.r["seconds"][i] for i in items) / 60

    # ---- The whole

    def text(self):
        seconds = sum(self.r["seconds"][i] for i in self.all)
        people = {self.p.persons[i] for i in self.all}
        beside, nitems, minutes = self.beside()
        out = [HEAD % dict(revision=self.a.revision, date=datetime.date.today().isoformat(), minutes=seconds / 60,
                           items=len(self.all), people=len(people), part=self.r["part"],
                           efforts=", ".join(self.efforts) or "none")]
        if self.efforts:
            judged = [n for n in self.efforts if n + " lost" in self.p.rows]
            out += ["## Goals\n\n" + self.goals(),
                    "## Gain at every effort\n\n" + self.overall(YARDSTICKS + ("phone",)),
                    "### Guards\n\n" + self.overall(GUARDS), CLICKS + "\n\n" + self.clicks(),
                    KINDS + "\n\n" + self.kinds(judged, lambda g: g.split(".")[0])]
            one = self.live or self.efforts[-1]
            out += ["### By source, %s\n\n" % one + self.kinds([one], lambda g: g)]
            worse, sure = self.worse_groups(one)
            out += ["Worse than plain in the mean: %s. With an interval that leaves out nought: %s." % (
                "; ".join(worse) or "nowhere", "; ".join(sure) or "nowhere")]
            out += [CHANNELS + "\n\n" + self.channels()]
        if self.r["cpu"]:
            out += [COST % self.r["cpu_of"] + "\n\n" + self.cost()]
        out += [BESIDE % (nitems, minutes) + "\n\n" + beside, WEAKNESSES]
        return "\n\n".join(out) + "\n"


def report(result, args):
    return Report(result, args).text()


HEAD = """# The searching encoder, measured

Written by `search/quality/measure`, which measures everything anew; the method is in [search.md](search.md).

- Build: %(revision)s, %(date)s; %(efforts)s. Effort 0 is the plain encoder.
- Speech: %(minutes).1f minutes, %(items)d items of %(people)d persons, none of whom was ever tuned on; every item
  brought to -26 dBov. %(part)d of the items, all sources in turn, serve for what takes long: efforts that are not
  judged by the goals, lost frames, late joins, other coders. Noise was added to some speech, and music on hold coded,
  for the tables that name them alone.
- Differences are paired, item by item, against the plain encoder; in brackets the 95 %% interval of a bootstrap over
  persons. Every decoder is the same.

ESTOI, 0 to 1, tells how well the envelopes of bands follow the original's: intelligibility. "Phone posteriors" is how
alike a recogniser hears both, 0 to 1. WARP-Q is a distance, less is better. Periodicity is compared in four bands, in
points of 100: above the original sounds buzzy, below it noisy."""

CLICKS = """### Clicks

|first sample of a frame - last of the one before|, over the RMS of 120 samples on either side; beside it the same in
the middle of frames, where only the speech's own steps are."""

KINDS = """## By kind of input

"Noisy" is what was recorded so, less than 20 dB above its noise floor; "noise-added" has the noise of a car or a babble
of eight 10 dB under the speech. Children are up to 13 years old."""

CHANNELS = """## Lost frames, late joins

Both encoders lose the same frames, which the tool conceals. A decoder that has missed frames goes on with other noise
than the encoder reckoned with. Behind the difference stands the share of the undisturbed gain that is left."""

COST = """## Cost of encoding

Processor time on one core for %.0f s of speech, program start included: the least of some rounds in which every coder
has its turn. The machine was shared: the ratios of one run are the result."""

BESIDE = """## Beside other coders

![Quality against processor time](search-quality.svg)

On %d items, %.1f minutes, sorted by ESTOI; in brackets the difference to the plain encoder."""

WEAKNESSES = """None of these measures was made for vocoders: they order versions of one coder well, coders of different
kinds less so. ESTOI hardly hears buzz or wrong pitch, phone posteriors are deaf to voice and melody, and both charge a
wrong envelope more than listeners do."""
