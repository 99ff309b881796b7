"""Quality against the processor time of encoding: the efforts as a line, other coders as points."""
import matplotlib

matplotlib.use("agg")
matplotlib.rcParams.update({"svg.fonttype": "none", "svg.hashsalt": "talv", "font.size": 8})
import matplotlib.pyplot as plt  # noqa: E402

AXES = (("estoi", "ESTOI (more is better)"), ("ppg", "phone posteriors (more is better)"),
        ("warpq", "WARP-Q (less is better)"))


def draw(result, path):
    p, cpu = result["paired"], result["cpu"]
    own = [c["name"] for c in result["own"] if c["name"] in cpu]
    peers = [c for c in result["peers"] if c["name"] in cpu]
    items = p.items(*own, *[c["name"] for c in peers], of=lambda g: not g.startswith(("noise-added", "music")))
    figure, axes = plt.subplots(1, len(AXES), figsize=(12, 4.2), layout="constrained")
    for axis, (metric, title) in zip(axes, AXES):
        def at(name):
            return 100 * cpu[name] / result["cpu_of"], p.mean(name, metric, items)[0]
        axis.plot(*zip(*[at(n) for n in own]), "o-", color="C3", markersize=4)
        for n in own:
            axis.annotate(n, at(n), xytext=(3, 4), textcoords="offset points", color="C3")
        for c in peers:
            axis.plot(*at(c["name"]), ".", color="C0")
            axis.annotate("%s, %g k" % (c["name"].split("-")[0], c["bitrate"] / 1000), at(c["name"]), xytext=(3, -3),
                          textcoords="offset points", fontsize=6, color="0.3")
        axis.set(xscale="log", title=title, xlabel="processor time, % of real time on one core")
        axis.grid(alpha=0.3)
        axis.margins(0.12)
    axes[-1].invert_yaxis()
    figure.savefig(path, metadata={"Date": None} if path.endswith(".svg") else {})
