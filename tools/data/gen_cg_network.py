#!/usr/bin/env python3
"""Writes the generated CG benchmark network (100 discrete, 200 continuous
nodes) to standard output. Fixed seed: the output is committed as
data/networks/cg/cg_generated.net.

Twenty groups of 5 discrete and 10 continuous nodes. Discrete nodes chain
within and across groups; continuous nodes regress on up to two earlier
continuous nodes of their group and at most one of the group's first two
discrete nodes, so each connected set of continuous nodes has a small
discrete boundary."""
import random

rng = random.Random(20261123)
GROUPS, DISCRETE, CONTINUOUS = 20, 5, 10
nodes, potentials = [], []


def number(v):
    return "%.6f" % v


for g in range(GROUPS):
    d = ["D%d_%d" % (g, i) for i in range(DISCRETE)]
    x = ["X%d_%d" % (g, i) for i in range(CONTINUOUS)]
    for i, name in enumerate(d):
        nodes.append('node %s\n{\n    states = ("s0" "s1");\n}\n' % name)
        parents = []
        if i > 0:
            parents.append(d[i - 1])
        elif g > 0:
            parents.append("D%d_0" % (g - 1))
        rows = []
        for _ in range(2 ** len(parents)):
            p = round(rng.uniform(0.1, 0.9), 6)
            rows.append("%s %s" % (number(p), number(1 - p)))
        bar = " | " + " ".join(parents) if parents else ""
        potentials.append("potential (%s%s)\n{\n    data = ( %s );\n}\n" % (name, bar, " ".join(rows)))
    for i, name in enumerate(x):
        nodes.append("continuous node %s\n{\n}\n" % name)
        discrete = [d[rng.randrange(2)]] if rng.random() < 0.6 else []
        continuous = rng.sample(x[:i], min(i, rng.randrange(3)))
        entries = []
        for _ in range(2 ** len(discrete)):
            mean = number(rng.uniform(-5, 5))
            for c in continuous:
                b = rng.uniform(-1.5, 1.5)
                mean += (" - " if b < 0 else " + ") + number(abs(b)) + " * " + c
            entries.append("normal ( %s, %s )" % (mean, number(rng.uniform(0.1, 4))))
        parents = discrete + continuous
        bar = " | " + " ".join(parents) if parents else ""
        data = entries[0] if not discrete else "( " + " ".join(entries) + " )"
        potentials.append("potential (%s%s)\n{\n    data = %s;\n}\n" % (name, bar, data))

print("net\n{\n}\n")
print("\n".join(nodes))
print("\n".join(potentials))
