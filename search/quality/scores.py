"""Scores of one item, kept by content: what has been scored once is never scored again.

The metrics are those of the folder of yardsticks (see `measure`); what they compute from the original alone, half of
their time, is kept too.
"""
import hashlib
import json
import os

import asr
import dsp
import metrics
import numpy as np

SHOWN = ("estoi", "ppg", "warpq", "phone", "vuv", "per_off", "per_err", "gpe", "lvl_off", "f0_cents")
BANDS = ((80, 900), (900, 1800), (1800, 2700), (2700, 3600))  # those of the periodicity measure
FRAME = 240

_track, _nccf = metrics.f0_track, metrics._nccf
_known = {}  # of the original at hand: its samples ("key"), pitch track and correlations


def _f0_track(x, *more):
    return _known["f0"] if x.tobytes() == _known.get("key") else _track(x, *more)


def _band_nccf(x, lo=60, hi=1000):
    known = _known.get("nccf%d" % lo)
    return known if known is not None and x.tobytes() == _known["key"] else _nccf(x, lo, hi)


metrics.f0_track, metrics._nccf = _f0_track, _band_nccf


def digest(*arrays):
    h = hashlib.sha1()
    for a in arrays:
        h.update(a if isinstance(a, bytes) else dsp.to_s16(a).tobytes())
    return h.hexdigest()


def write_whole(path, text):
    """A file that is there is complete, whatever stopped an earlier run."""
    part = "%s.%d" % (path, os.getpid())
    with open(part, "w") as f:
        f.write(text)
    os.replace(part, path)


def _know(ref, cache):
    """Loads what hangs on the original alone. Returns its phone posteriors."""
    path = os.path.join(cache, digest(ref) + ".npz")
    if not os.path.exists(path):
        _known.clear()
        asr.ppg_measures(ref[:dsp.FS], ref[:dsp.FS])  # loads the acoustic model
        new = {"nccf%d" % lo: _nccf(ref, lo, hi) for lo, hi in BANDS}
        part = "%s.%d.npz" % (path, os.getpid())
        np.savez(part, f0=_track(ref), post=asr._P.posterior(ref).astype(np.float32), **new)
        os.replace(part, path)
    if _known.get("key") != ref.tobytes():
        _known.clear()
        with np.load(path) as z:
            _known.update({k: z[k] for k in z.files}, key=ref.tobytes())
    return _known["post"].astype(float)


def score(ref, deg, cache):
    """{metric: value} of two aligned signals of one length."""
    ref, deg = np.ascontiguousarray(ref), np.ascontiguousarray(deg)
    path = os.path.join(cache, digest(ref, deg) + ".json")
    if not os.path.exists(path):
        post = _know(ref, cache)
        m = metrics.stoi_both(ref, deg)
        m.update(metrics.level_measures(ref, deg))
        m.update(metrics.pitch_measures(ref, deg))
        m["warpq"] = metrics.warpq(ref, deg)
        m.update(asr.ppg_measures(ref, deg, post))
        write_whole(path, json.dumps({k: float(m[k]) for k in SHOWN}))
    with open(path) as f:
        return json.load(f)


def jumps(y, inside=0):
    """Clicks between frames: |first sample of a frame - last of the one before| over the RMS of the 120 samples on
    either side, for every boundary that is not silent. y as decoded, so that frames begin at multiples of 240.
    inside: the same so many samples later, where nothing begins, to compare with."""
    at = np.arange(FRAME + inside, len(y) - FRAME, FRAME)
    if not len(at):
        return np.zeros(0)
    local = np.array([np.sqrt(np.mean(y[k - 120:k + 120] ** 2)) for k in at])
    return (np.abs(y[at] - y[at - 1]) / np.maximum(local, 1))[local > 30]
