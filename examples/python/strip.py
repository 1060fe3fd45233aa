#!/usr/bin/env python3
"""Plots a transition as a strip of pictures:  strip.py [EFFECT] [OUT.png]"""
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt
import numpy as np
import tumblewash

effect = sys.argv[1] if len(sys.argv) > 1 else "wash-away"
output = sys.argv[2] if len(sys.argv) > 2 else "strip.png"

# Two pictures: a sunset over water and a chequered hill, as height x width x 3 bytes.
height, width = 180, 240
y, x = np.mgrid[0:height, 0:width]
sunset = np.stack([255 - y, 120 + 40 * np.sin(x / 17), 60 + y * 0.9], axis=-1).astype(np.uint8)
hill = np.stack([60 + 0 * x, 150 + 60 * ((x // 20 + y // 20) % 2), 80 + x * 0.5], axis=-1).astype(np.uint8)

kept = tumblewash.Effect(effect, direction="left", seed=7)
positions = np.linspace(0, 1, 6)
figure, axes = plt.subplots(1, len(positions), figsize=(12, 2))
for axis, position in zip(axes, positions):
    axis.imshow(kept.render(sunset, hill, float(position)))
    axis.set_title(f"{position:.0%}")
    axis.axis("off")
figure.suptitle(next(one.name for one in tumblewash.effects() if one.id == effect))
figure.savefig(output, bbox_inches="tight")
print(output)
