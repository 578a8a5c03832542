# SPDX-License-Identifier: MIT
"""ScanSAR images: beams side by side in range, each cut into bursts along the track.

All lie in one common grid, the recipe's lines and samples, whose line times the document states.
Neighbouring bursts, and neighbouring beams, overlap. Each beam has a pulse interval of its own, so
that its true line times are its own too.
"""
from dataclasses import dataclass

OVERLAP_LINES = 20
OVERLAP_SAMPLES = 24


@dataclass(frozen=True)
class Burst:
    beam: str
    number: int         # counts within its beam, from 1
    first_line: int     # in the common grid, as first_sample
    lines: int
    first_sample: int
    samples: int

    @property
    def name(self):
        return f"{self.beam}_{self.number}"


def _pieces(size, edges, overlap):
    """[(first, count)] between the inner edges, each reaching half the overlap over them."""
    bounds = [0, *edges, size]
    return [(max(begin - overlap // 2, 0),
             min(end + overlap // 2, size) - max(begin - overlap // 2, 0))
            for begin, end in zip(bounds, bounds[1:])]


def layout(recipe, beams):
    """The bursts of all beams, beam by beam; beams take turns, so that their edges differ."""
    r, count = recipe, len(beams)
    columns = _pieces(r.samples, [round(r.samples * b / count) for b in range(1, count)],
                      OVERLAP_SAMPLES)
    found = []
    for place, (beam, (first_sample, samples)) in enumerate(zip(beams, columns)):
        turn = place / (2 * count)
        edges = [round(r.lines * (k + turn) / r.bursts) for k in range(1, r.bursts)]
        found += [Burst(beam, number + 1, first_line, lines, first_sample, samples)
                  for number, (first_line, lines) in enumerate(
                      _pieces(r.lines, edges, OVERLAP_LINES))]
    return found


def owner(bursts, sample):
    """The beam that the grid's column belongs to: the one whose nearest edge is farther."""
    def inside(burst):
        return min(sample - burst.first_sample, burst.first_sample + burst.samples - 1 - sample)
    return max(bursts, key=inside).beam
