# SPDX-License-Identifier: MIT
"""Compares the levels of a spectrum's JSON with the simulated truth in it."""

import json
import math
import sys

MOST_ERROR_DB = 2.0
OVER_NOISE_DB = 3.0
LEVEL_WITHIN_DB = 1.0  # what counts as level over the filter's width
MOST_SECONDS = 30.0


def errors_of(leg, resolution_khz):
    """The errors of the places that count: on level stretches, and through the filter."""
    truth = [(p["frequency_khz"], p["over_noise_db"]) for p in leg["simulated"]]
    on_stretches, through_filter = [], []
    for level in leg["levels"]:
        khz = level["frequency_khz"]
        window = [db for place, db in truth if abs(place - khz) <= resolution_khz / 2]
        if abs(window_width(truth, khz, resolution_khz) - resolution_khz) > 1000:
            continue  # beyond the leg's ends nobody knows the truth
        seen = 10 * math.log10(sum(10 ** (db / 10) for db in window) / len(window))
        error = level["over_noise_db"] - seen
        if seen > OVER_NOISE_DB:
            through_filter.append(error)
        here = min(truth, key=lambda point: abs(point[0] - khz))[1]
        if min(window) > OVER_NOISE_DB and max(window) - min(window) < LEVEL_WITHIN_DB:
            on_stretches.append(level["over_noise_db"] - here)
    return on_stretches, through_filter


def window_width(truth, khz, resolution_khz):
    places = [place for place, _ in truth if abs(place - khz) <= resolution_khz / 2]
    return max(places) - min(places) if places else 0


def in_words(errors):
    if not errors:
        return "none"
    mean = sum(errors) / len(errors)
    worst = max(errors, key=abs)
    return f"{len(errors)} places, mean {mean:+.2f} dB, worst {worst:+.2f} dB"


def main():
    spectrum = json.load(sys.stdin)
    passed = True
    for leg in spectrum["legs"]:
        on_stretches, through_filter = errors_of(leg, spectrum["resolution_khz"])
        seconds = leg["virtual_time_ms"] / 1000
        print(f"  {leg['label']}: {len(leg['levels'])} levels, {len(leg['peaks'])} peaks, {seconds:.1f} s")
        print(f"    where it is level: {in_words(on_stretches)}")
        print(f"    through the filter: {in_words(through_filter)}")
        if seconds > MOST_SECONDS or any(abs(e) > MOST_ERROR_DB for e in on_stretches + through_filter):
            passed = False
    return 0 if passed else 1


sys.exit(main())
