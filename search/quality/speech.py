"""What is measured on: speech of people who were never tuned on, noise and music.

The collection is split by person, not by file: a fifth of the persons of each source is held out. Voices that may be
one person's are kept together. The split hangs on nothing but the manifest and the seed below.
"""
import collections
import csv
import os
import random
import re
import subprocess

import dsp
import evaluate
import numpy as np

SEED = 20260601
MUSIC = "/usr/share/asterisk/moh"  # Debian package asterisk-moh-opsound-wav
WEIGHTS = {"clean.librispeech": 3, "child.speechocean762": 2, "clean.speech-to-intent": 2}  # turns a round
VOLUNTEERS = ("klettres", "ktuberling", "tuxpaint-stamps")


def kind(row):
    """clean, noisy (less than 20 dB above the noise floor, vehicles, meetings), telephone or child (up to 13)."""
    age = re.match(r"age (\d+)", row["note"])
    if "telephone" in row["note"] or "radio" in row["note"]:
        return "telephone"
    if age and int(age.group(1)) <= 13:
        return "child"
    over_floor = float(row["active_dBFS"]) - float(row["noise_floor_dBFS"])
    return "noisy" if row["source"] == "ami" or "noise" in row["note"] or over_floor < 20 else "clean"


def persons(rows):
    """{person: rows}, voices that may be shared joined: one name in two languages, volunteers of one language in the
    three collections of children's software, actors of mixed files, participants of overlapping meetings."""
    parent = {}

    def find(a):
        parent.setdefault(a, a)
        while parent[a] != a:
            a = parent[a]
        return a

    def join(a, b):
        parent[find(a)] = find(b)

    for r in rows:
        me = (r["source"], r["speaker"])
        find(me)
        if r["speaker"].startswith("Allison"):
            join(me, "allison")
        if r["source"] in VOLUNTEERS:
            join(me, "volunteer-" + re.split("[_-]", r["language"])[0].lower())
        if r["source"] == "fillets-ng":
            join(me, "fillets-" + r["language"])
        if r["source"] == "ami":
            for participant in r["speaker"][4:].split("+"):
                join(me, "ami-" + participant)
    out = collections.defaultdict(list)
    for r in rows:
        out[find((r["source"], r["speaker"]))].append(r)
    return out


def held_persons(people):
    """A fifth of every stratum of source, kind and, in the two large sources, sex; at least one where there are two.
    The unlabelled voices of speech-to-intent are held out as a whole, sources of a single voice are not."""
    held, strata = set(), collections.defaultdict(list)
    for p, rows in people.items():
        r, sources = rows[0], {x["source"] for x in rows}
        if "speech-to-intent" in sources or r["speaker"] == "Edward Liu":
            held.add(p)
        elif not sources & {"ljspeech", "alsa-utils"} and not any("LibriVox" in x["speaker"] for x in rows):
            large = r["source"] in ("librispeech", "speechocean762")
            source = "volunteers" if r["source"] in VOLUNTEERS else r["source"]
            mixed = source in ("volunteers", "fillets-ng", "ami", "asterisk")
            strata[source, "" if mixed else kind(r), r["sex"][0] if large else ""].append(p)
    rng = random.Random(SEED)
    for key in sorted(strata):
        some = sorted(strata[key], key=str)
        rng.shuffle(some)
        held.update(some[:max(round(len(some) / 5), 1 if len(some) > 1 else 0)])
    return held


def unpack(collection, folder, side):
    """FLAC files of one side ("held" or "tune") to FOLDER/KIND.SOURCE/PERSON/FILE.wav."""
    with open(os.path.join(collection, "MANIFEST.csv")) as f:
        rows = [r for r in csv.DictReader(f) if r["split"] == "train"]
    people = persons(rows)
    held = held_persons(people)
    for p, some in people.items():
        if (p in held) != (side == "held"):
            continue
        person = re.sub(r"\W+", "_", p if isinstance(p, str) else p[1])
        for r in some:
            name = os.path.splitext(os.path.basename(r["file"]))[0]
            # The voices of this one are not told apart: a file is the best guess at a person.
            who = name if r["source"] == "speech-to-intent" else person
            to = os.path.join(folder, "%s.%s" % (kind(r), r["source"]), who)
            os.makedirs(to, exist_ok=True)
            wav = os.path.join(to, name + ".wav")
            if not os.path.exists(wav):
                subprocess.run(["flac", "-s", "-d", "-o", wav, os.path.join(collection, r["file"])], check=True)


def speech_items(folder, minutes):
    """[(name, group, signal)] at -26 dBov: 8 to 18 s of a person each where there is as much, the groups in turn."""
    queues = {}
    for group in sorted(os.listdir(folder)):
        items, _ = evaluate.make_items(os.path.join(folder, group), 8, 12, 0, SEED)
        by_person = collections.defaultdict(list)
        for name, _, x in items:
            by_person[name.split(os.sep)[0]].append((group + "/" + name, group, x))
        queues[group] = []
        while any(by_person.values()):  # a new person each time, as long as there is one
            queues[group] += [by_person[p].pop() for p in sorted(by_person) if by_person[p]]
        random.Random(SEED).shuffle(queues[group][:len(by_person)])
    out, total = [], 0
    while any(queues.values()):
        for group, queue in queues.items():
            for _ in range(WEIGHTS.get(group, 1)):
                if queue and total < minutes * 60:
                    out.append(queue.pop(0))
                    total += len(out[-1][2]) / dsp.FS
        if total >= minutes * 60:
            break
    return out


def mixed_items(items, count=6, snr_db=10):
    """Clean readings with noise added: of a car (white noise through a first-order low-pass at 100 Hz, over a tenth of
    white noise), and a babble of eight other persons."""
    clean = [i for i in items if i[1] == "clean.librispeech"]
    others = [i[2] for i in items if i[1].startswith("clean.") and i[1] != "clean.librispeech"]
    out = []
    for k, (name, _, x) in enumerate(clean[:count]):
        rng = np.random.default_rng(SEED + k)
        white = rng.normal(size=len(x))
        car = np.empty(len(x))
        state, pole = 0.0, np.exp(-2 * np.pi * 100 / dsp.FS)
        for i, w in enumerate(white):
            state = pole * state + (1 - pole) * w
            car[i] = state
        car += 0.02 * rng.normal(size=len(x))
        babble = sum(np.roll(np.resize(o, len(x)), rng.integers(len(x))) for o in others[:8])
        for what, noise in (("car", car), ("babble", babble)):
            gain = 10 ** ((dsp.active_level_db(x) - snr_db) / 20) / np.sqrt(np.mean(noise ** 2))
            y = np.rint(dsp.set_level(x + gain * noise))
            out.append(("%s+%s" % (name, what), "noise-added." + what, y))
    return out


def music_items(folder=MUSIC, seconds=10):
    """Ten seconds from the middle of each piece of music on hold, if the package is there."""
    out = []
    for path in evaluate.find_wavs(folder):
        x = dsp.read_wav(path)
        x = x[len(x) // 2:][:seconds * dsp.FS]
        out.append((os.path.basename(path), "music.on-hold", np.rint(dsp.set_level(x - np.mean(x)))))
    return out
