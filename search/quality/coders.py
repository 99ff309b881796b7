"""The coders under measurement: the plain encoder, the searching one at every effort, and the peers. What is coded once
by one build is kept.
"""
import hashlib
import json
import os
import re
import resource
import subprocess
import tempfile

import align
import dsp
import evaluate
import numpy as np

LATE_FRAMES = 40  # a decoder that joins late misses the first 1.2 s
LATE_SKIP = 1200  # and is scored from 0.15 s after it has joined
LOSS = 0.05


def talv_coders(talv, efforts):
    """Plain is effort 0. "build": the program, whose contents tell builds apart."""
    return [{"name": "effort %d" % e if e else "plain", "bitrate": 2000, "build": talv,
             "encode": talv + " encode -q --raw --bare %s{in} {bits}" % ("--effort %d " % e if e else ""),
             "decode": talv + " decode -q --raw {channel} {bits} {out}"} for e in [0] + list(efforts)]


def peer_coders(path):
    """The coders of a list of the yardsticks, without those that only add noise to the signal."""
    with open(path) as f:
        return [c for c in json.load(f)["codecs"] if c["bitrate"] < 64000]


def build_digest(coder):
    """Of a build: the program and the libraries of the project that it loads. A peer is known by its command."""
    h = hashlib.sha1(coder["encode"].encode())
    if "build" in coder:
        linked = subprocess.run(["ldd", coder["build"]], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                text=True).stdout
        for path in [coder["build"]] + sorted(re.findall(r"=> (\S*/libtalv\S+)", linked)):
            with open(path, "rb") as f:
                h.update(f.read())
    return h.hexdigest()[:16]


def encoded(coder, item, work, here):
    """Path of the coded item: near-silence around it, so that no coder loses its last frames."""
    padded = pad(item)
    folder = os.path.join(work, "coded", coder["digest"])
    bits = os.path.join(folder, hashlib.sha1(dsp.to_s16(padded).tobytes()).hexdigest())
    if not os.path.exists(bits):
        os.makedirs(folder, exist_ok=True)
        part = "%s.%d" % (bits, os.getpid())
        with tempfile.TemporaryDirectory() as d:
            dsp.write_raw(d + "/in", padded)
            shell(coder["encode"].format(**{"in": d + "/in", "bits": part, "here": here}), d)
        os.replace(part, bits)
    return bits


def decoded(coder, bits, here, channel=""):
    """Samples that a decoder makes of the coded item. Channels of talv: "lost" loses frames, the same ones for every
    encoder; a "late" decoder misses the first frames and is silent until it joins. Both take other noise from then on
    than the encoder can have reckoned with."""
    size, lost = os.path.getsize(bits), ""
    if channel == "lost":
        lost = "--loss random:%g --seed %d" % (LOSS, size)
    with tempfile.TemporaryDirectory() as d:
        if channel == "late":
            with open(bits, "rb") as whole, open(d + "/late", "wb") as rest:
                rest.write(whole.read()[8 * LATE_FRAMES:])
            bits = d + "/late"
        shell(coder["decode"].format(bits=bits, out=d + "/out", here=here, channel=lost), d)
        y = dsp.read_raw(d + "/out")
    return np.concatenate([np.zeros(240 * LATE_FRAMES), y]) if channel == "late" else y


def shell(command, folder):
    p = subprocess.run(command, shell=True, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.PIPE)
    if p.returncode:
        raise RuntimeError("%s: exit %d: %s" % (command, p.returncode, p.stderr.decode(errors="replace")[-300:]))


def pad(x):
    return np.concatenate([evaluate.quiet(evaluate.LEAD, 1), x, evaluate.quiet(evaluate.TAIL, 2)])


def lag_row(coder, x, y):
    """Delay of one decoded item, as the yardsticks find it; `evaluate.codec_lag` makes one number of all rows."""
    lag, _ = align.envelope_lag(x, y, coder.get("delay_ms", 0) / 1000, coder.get("search_ms", 40) / 1000)
    fine, correlation = align.refine_waveform(x, y, lag)
    return {"lag": lag, "fine": fine, "wcorr": correlation}


def cpu_seconds(coders, x, here, rounds):
    """{name: least processor time of encoding x over some rounds}. In every round each coder has its turn, so that all
    see the same disturbance. Starting the program is in it."""
    best = {}
    with tempfile.TemporaryDirectory() as d:
        dsp.write_raw(d + "/in", x)
        for _ in range(rounds):
            for c in coders:
                before = resource.getrusage(resource.RUSAGE_CHILDREN)
                shell(c["encode"].format(**{"in": d + "/in", "bits": d + "/bits", "here": here}), d)
                after = resource.getrusage(resource.RUSAGE_CHILDREN)
                used = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
                best[c["name"]] = min(used, best.get(c["name"], used))
    return best
