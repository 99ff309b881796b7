"""Runs the coders over the held-out speech and writes tables and picture; called by `measure`, which says how."""
import argparse
import json
import multiprocessing
import os
import sys


def arguments():
    ap = argparse.ArgumentParser(description=__doc__)
    ap.add_argument("--yardsticks", required=True, help="folder with evaluate.py, metrics.py and peers.json")
    ap.add_argument("--collection", required=True, help="folder with MANIFEST.csv and the recordings")
    ap.add_argument("--talv", required=True, help="the program")
    ap.add_argument("--work", required=True, help="folder for what is coded and scored, an earlier run's too")
    ap.add_argument("--report", help="where the tables go (standard output)")
    ap.add_argument("--picture", help="where the picture goes (.svg)")
    ap.add_argument("--revision", default="", help="what is said about the build in the report")
    ap.add_argument("--efforts", default="", help="such as 1,2,3")
    ap.add_argument("--live", type=int, default=0, help="effort that is judged by the live goals (the middle one)")
    ap.add_argument("--minutes", type=float, default=10, help="of held-out speech")
    ap.add_argument("--peer-minutes", type=float, default=5, help="of it, for peers, lost frames and the other efforts")
    ap.add_argument("--whole", action="store_true", help="all of the speech for every effort, not only the judged ones")
    ap.add_argument("--side", choices=("held", "tune"), default="held", help="tune: the speech that may be tuned on")
    ap.add_argument("--rounds", type=int, default=5, help="of the timing")
    ap.add_argument("--jobs", type=int, default=2)
    ap.add_argument("--no-peers", action="store_true")
    return ap.parse_args()


def code(job):
    """Codes an item and finds its delay. Returns ((coder, item), row)."""
    coder, name, x, work, here = job
    bits = coders.encoded(coder, x, work, here)
    row = bits + ".lag"
    if not os.path.exists(row):
        y = coders.decoded(coder, bits, here)
        scores.write_whole(row, json.dumps(coders.lag_row(coder, coders.pad(x), y)))
    with open(row) as f:
        return (coder["name"], name), dict(json.load(f), bits=bits)


def rate(job):
    """Scores one item of all coders, so that what hangs on the original is loaded once."""
    name, x, todo, here, cache = job
    ref, out = coders.pad(x), []
    for coder, channel, bits, lag in todo:
        y = coders.decoded(coder, bits, here, channel)
        at = 240 * coders.LATE_FRAMES + coders.LATE_SKIP if channel == "late" else 0
        deg = align.shift(y, lag, len(ref))
        try:
            m = scores.score(ref[at:], deg[at:], cache)
        except (ValueError, IndexError):  # too little speech after a late join
            continue
        row = {"m": m}
        if "build" in coder:
            row.update({what: [round(float(v), 3) for v in scores.jumps(y, inside)]
                        for what, inside in (("jumps", 0), ("inside", scores.FRAME // 2))})
        out.append((coder["name"], channel, row))
    return name, out


def code_all(pool, everyone, items, within, a, here):
    """{(coder, item): row}, and each coder's one delay."""
    jobs = [(c, n, x, a.work, here) for c in everyone for n, _, x in items if c["whole"] or n in within]
    coded = {}
    for key, row in pool.imap(code, jobs):
        coded[key] = row
        if len(coded) % 50 == 0:
            print("coded %d of %d" % (len(coded), len(jobs)), file=sys.stderr)
    lags = {c["name"]: evaluate.codec_lag([r for (n, _), r in coded.items() if n == c["name"]]) for c in everyone}
    return coded, lags


def rate_all(pool, everyone, items, within, coded, lags, a, here):
    """{"CODER CHANNEL": {item: scores}}. Lost frames and late joins: of some encoders and items."""
    cache = os.path.join(a.work, "scores")
    os.makedirs(cache, exist_ok=True)
    jobs, rows = [], {}
    for n, _, x in items:
        todo = [(c, channel, coded[c["name"], n]["bits"], lags[c["name"]])
                for c in everyone if (c["name"], n) in coded
                for channel in (("", "lost", "late") if c.get("channels") and n in within else ("",))]
        jobs.append((n, x, todo, here, cache))
    for k, (name, scored) in enumerate(pool.imap(rate, jobs), 1):
        for coder, channel, row in scored:
            rows.setdefault((coder + " " + channel).strip(), {})[name] = row
        if k % 5 == 0:
            print("scored %d of %d items" % (k, len(jobs)), file=sys.stderr)
    return rows


def run(a):
    here, wavs = os.path.abspath(a.yardsticks), os.path.join(a.work, a.side)
    speech.unpack(a.collection, wavs, a.side)
    talk = speech.speech_items(wavs, a.minutes)
    items = talk + speech.mixed_items(talk) + speech.music_items()
    within, total = set(), 0  # the items for peers and channels: the first of the talk, all sources in turn
    for name, _, x in talk:
        if total < a.peer_minutes * 60:
            within.add(name)
            total += len(x) / dsp.FS
    efforts = [int(v) for v in a.efforts.split(",") if v]
    own = coders.talv_coders(os.path.abspath(a.talv), efforts)
    peers = [] if a.no_peers else coders.peer_coders(os.path.join(here, "peers.json"))
    judged = (own[0]["name"], own[-1]["name"], "effort %d" % a.live)
    for c in own + peers:
        c["whole"] = c["name"] in judged or a.whole and c in own
        c["channels"] = c["name"] in judged
        c["digest"] = coders.build_digest(c)
    with multiprocessing.get_context("fork").Pool(a.jobs) as pool:
        coded, lags = code_all(pool, own + peers, items, within, a, here)
        rows = rate_all(pool, own + peers, items, within, coded, lags, a, here)
    persons = {n: "/".join(n.split("+")[0].split("/")[:2]) for n, _, _ in items}
    spoken = np.concatenate([x for n, _, x in talk if n in within])[:60 * dsp.FS]
    return {"paired": intervals.Paired(rows, {n: g for n, g, _ in items}, persons), "own": own, "peers": peers,
            "lags": lags, "efforts": efforts, "part": len(within),
            "seconds": {n: len(x) / dsp.FS for n, _, x in items}, "cpu_of": len(spoken) / dsp.FS,
            "cpu": coders.cpu_seconds(own + peers, spoken, here, a.rounds)}


if __name__ == "__main__":
    args = arguments()
    for v in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS"):
        os.environ.setdefault(v, "1")
    sys.path.append(args.yardsticks)
    import align
    import dsp
    import evaluate
    import numpy as np

    import coders
    import intervals
    import scores
    import speech
    import tables
    got = run(args)
    if args.picture:
        import picture
        picture.draw(got, args.picture)
    text = tables.report(got, args)
    if args.report:
        scores.write_whole(args.report, text)
    else:
        print(text)
