#!/usr/bin/env python3
"""Generates src/multiply/hybrid/hybrid_table_rows.cpp, the parameter tables of the hybrid
transform.

Every row (k, c) describes K = 2^k pieces of s = c*K/256 - 1 words in a ring of n = c*K/128 words,
so the capacity is N = K*s words and n = 2(s + 1). A row is a candidate when c*K is a multiple of
256 and the ring size is either below 28 words (direct pointwise products) or one of the sizes of
the negacyclic FFT table. Among the candidates the script keeps, for every product size, the one
that a cost model (calibrated on the machine the program was tuned on) finds cheapest, plus the
rows that are fixed points of the design (the first rows, the 12000 x 12000 row, the last rows).

Usage: scripts/gen_hybrid_tables.py > src/multiply/hybrid/hybrid_table_rows.cpp
"""
import math
import sys

# The floating-point FFT size table: (multiplier, power, bits per point).
FFT_ROWS = [(1, 6, 22), (1, 7, 22), (3, 6, 21), (1, 8, 21), (3, 7, 21), (1, 9, 21), (3, 8, 20),
            (1, 10, 20), (3, 9, 20), (1, 11, 20), (3, 10, 19), (1, 12, 19), (3, 11, 19),
            (1, 13, 18), (3, 12, 18), (1, 14, 18), (3, 13, 18), (1, 15, 17), (3, 14, 17),
            (1, 16, 17), (3, 15, 17), (1, 17, 16), (3, 16, 16), (1, 18, 16), (3, 17, 15),
            (1, 19, 15), (3, 18, 15), (1, 20, 15), (3, 19, 14), (1, 21, 14), (3, 20, 14),
            (1, 22, 13), (3, 21, 13), (1, 23, 13), (3, 22, 13), (1, 24, 13), (3, 23, 12),
            (1, 25, 12), (3, 24, 12), (1, 26, 12), (3, 25, 11), (1, 27, 11), (3, 26, 11),
            (1, 28, 10), (3, 27, 10), (1, 29, 10), (3, 28, 10), (1, 30, 9)]

DIRECT_BELOW_WORDS = 28
MULTIPLY_LAST = (18, 15)     # capacity 4,026,269,696 words
SQUARE_LAST = (18, 30)       # capacity 8,052,801,536 words
FIXED_ROWS = [(3, 512), (3, 576), (3, 640), (5, 48), (5, 5760), (5, 6144)]
# Fixed rows that follow each other directly: no row is kept between them, so that a product of
# 12000 x 12000 words, between 23008 and 24544, takes the row (5, 6144).
CONSECUTIVE = [[(3, 512), (3, 576), (3, 640), (5, 48)], [(5, 5760), (5, 6144)]]
MAX_K = {"multiply": 19, "square": 20}

# Cost model in nanoseconds, measured on the tuning machine (AMD EPYC, AVX2). A butterfly level
# costs OUTER_NS per element word when its roots are whole 64-bit limbs and OUTER_UNALIGNED_NS
# more when they need bit shifts; OVERHEAD_NS per element word covers loading the pieces, the
# memory passes and the recombination; the negacyclic products are timed per FFT length L
# (microseconds for a product and a square), with L log L beyond the timed lengths.
OUTER_NS = 0.25
OUTER_UNALIGNED_NS = 0.27
OVERHEAD_NS = 3.0
ELEMENT_NS = 60.0
DIRECT_NS = 1.0
POINTWISE_US = {
    64: (0.5, 0.3), 96: (0.6, 0.5), 128: (0.9, 0.6), 192: (1.2, 0.9), 256: (1.6, 1.1),
    384: (2.4, 1.6), 512: (3.2, 2.2), 768: (4.9, 3.9), 1024: (7.0, 4.4), 1536: (9.9, 6.6),
    2048: (12.9, 8.7), 3072: (20.5, 13.8), 4096: (27.6, 18.4), 6144: (41.4, 27.8),
    8192: (56.6, 38.0), 12288: (88.9, 59.3), 16384: (120.5, 80.0), 24576: (181.3, 120.3),
    32768: (240.8, 160.8), 49152: (380.9, 255.2), 65536: (514.9, 344.9),
    98304: (754.1, 517.3), 131072: (1044.5, 697.1)}


def negacyclic_sizes():
    """Ring sizes in words -> (L, b) with the widest b, by the negacyclic table rule."""
    bits_at = {m << k: b for m, k, b in FFT_ROWS}
    sizes = {}
    for e in range(6, 25):
        for length in (1 << e, 3 << (e - 1)):
            widest = min(20, bits_at[2 * length])
            for b in range(12, widest + 1):
                if (length * b) % 32 == 0:
                    n = length * b // 32
                    if n not in sizes or sizes[n][1] < b:
                        sizes[n] = (length, b)
    return sizes


def row_shape(k, c):
    points = 1 << k
    n = c * points // 128
    s = c * points // 256 - 1
    return points, n, s, points * s


def two_adic(value):
    return (value & -value).bit_length() - 1


def pointwise_ns(length, square):
    if length in POINTWISE_US:
        return POINTWISE_US[length][1 if square else 0] * 1000.0
    top = max(POINTWISE_US)
    scale = length * math.log2(length) / (top * math.log2(top))
    return POINTWISE_US[top][1 if square else 0] * 1000.0 * scale


def inner_exponent(k, n, threads):
    """The two-level split of the program (hybrid_passes.cpp, HybridSplitFor)."""
    if k < 5:
        return k
    threads = min(k, threads)
    h = k // 2
    if h < 3:
        return h
    j = 3
    while j <= h and (((n + 1) << j) + 2 * n + 2) * 4 < 0x300000:
        j += 1
    g = j - 1
    if threads + 2 > h:
        return 2
    if g + threads > h:
        g = h - threads
    return max(g, 2)


def threaded(levels, n):
    """Whether a pass of sub-transforms of 2^levels points may be split over threads."""
    return levels > 4 and (n << levels) >= 20000


def cost(k, c, ring, square):
    """Time of one product on one thread plus its time on two, so that rows whose passes
    cannot be split over threads (16-point sub-transforms) lose against those that can."""
    points, n, s, _ = row_shape(k, c)
    transforms = 2 if square else 3
    level_ns = []
    for level in range(k):
        # Roots c*j*2^level in half bits are whole limbs when 128 divides them.
        aligned = min(1.0, 2.0 ** (two_adic(c) + level - 7))
        level_ns.append((OUTER_NS + OUTER_UNALIGNED_NS * (1.0 - aligned)) * transforms * points * n)
    if n < DIRECT_BELOW_WORDS:
        pointwise = DIRECT_NS * n * n * (0.6 if square else 1.0)
    else:
        pointwise = pointwise_ns(ring[n][0], square)
    pointwise = points * (pointwise + ELEMENT_NS)
    overhead = points * OVERHEAD_NS * n
    single = sum(level_ns) + pointwise + overhead
    inner = inner_exponent(k, n, 1)
    first = sum(level_ns[:inner])
    second = sum(level_ns[inner:])
    dual = overhead + pointwise / 2
    dual += first / 2 if threaded(inner, n) else first
    dual += second / 2 if threaded(k - inner, n) and inner >= 1 else second
    return single + dual


def candidates(ring, max_k, last):
    limit = row_shape(*last)[3]
    sizes = sorted(set(range(2, DIRECT_BELOW_WORDS, 2)) | set(ring))
    rows = []
    for k in range(3, max_k + 1):
        points = 1 << k
        for n in sizes:
            if n % 2 or (128 * n) % points:
                continue
            c = 128 * n // points
            _, _, s, capacity = row_shape(k, c)
            if s >= 1 and capacity <= limit:
                rows.append((capacity, k, c))
    return rows


def select(ring, kind):
    square = kind == "square"
    last = SQUARE_LAST if square else MULTIPLY_LAST
    rows = candidates(ring, MAX_K[kind], last)
    fixed = set(FIXED_ROWS) | {last}
    by_capacity = {}
    for capacity, k, c in rows:
        here = cost(k, c, ring, square)
        held = by_capacity.get(capacity)
        if held is None or (k, c) in fixed or (held[2] not in fixed and here < held[0]):
            by_capacity[capacity] = (here, k, (k, c))
    first_capacity = row_shape(*FIXED_ROWS[0])[3]
    gaps = []
    for group in CONSECUTIVE:
        caps = [row_shape(*row)[3] for row in group]
        gaps += list(zip(caps, caps[1:]))
    chosen = []
    best_above = float("inf")
    for capacity in sorted(by_capacity, reverse=True):
        here, k, key = by_capacity[capacity]
        in_gap = any(low < capacity < high for low, high in gaps)
        if key in fixed or (here < best_above and capacity >= first_capacity and not in_gap):
            chosen.append((capacity, k, key[1]))
        best_above = min(best_above, here)
    chosen.reverse()
    return chosen


def emit(name, rows):
    lines = [f"const HybridRow {name}[] = {{"]
    for capacity, k, c in rows:
        lines.append(f"    {{{capacity}, {k}, {c}}},")
    lines.append("};")
    lines.append(f"const uint32_t {name}Count = {len(rows)};")
    return "\n".join(lines)


def main():
    ring = negacyclic_sizes()
    out = [
        "// Generated by scripts/gen_hybrid_tables.py; do not edit by hand.",
        "// Rows (capacity in words, k, c) of the hybrid transform, sorted by capacity: K = 2^k pieces",
        "// of s = c*K/256 - 1 words in a ring of n = c*K/128 words, capacity K*s.",
        '#include "multiply/hybrid/hybrid_tables.hpp"',
        "",
        "namespace zx {",
        "",
        emit("kHybridMultiplyRows", select(ring, "multiply")),
        "",
        emit("kHybridSquareRows", select(ring, "square")),
        "",
        "}  // namespace zx",
        "",
    ]
    sys.stdout.write("\n".join(out))


if __name__ == "__main__":
    main()
