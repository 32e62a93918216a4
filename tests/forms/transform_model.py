#!/usr/bin/env python3
"""Model of the two block transforms in unlimited integers, apart from the library's code.

Prints the vectors and digests that transform_test.cpp holds the primitives to.
"""

TAN1, TAN2, TAN3, COS4, COS4M1 = 13036, 27146, -21746, 23170, -19195
FACTORS = [
    (16384, 22725, 21407, 19266, 12873, 8867, 4520),
    (22725, 31521, 29692, 26722, 17855, 12299, 6270),
    (21407, 29692, 27969, 25172, 16819, 11585, 5906),
    (19266, 26722, 25172, 22654, 15137, 10426, 5315),
]
ROWS = [FACTORS[i] for i in (0, 1, 2, 3, 0, 3, 2, 1)]
ROUNDING = [65536, 2901, 2260, 1704, 1024, 455, 512, 373]


def limit(v, low=-32768, high=32767):
    return max(low, min(high, v))


def wrap(v, bits):
    v &= (1 << bits) - 1
    return v - (1 << bits) if v >> (bits - 1) else v


def add(a, b):
    return limit(a + b)


def sub(a, b):
    return limit(a - b)


def high(c, a):
    return (c * a) >> 16


def shl(a, n):
    return wrap(a << n, 16)


def forward_column(x):
    a16, a25 = shl(add(x[1], x[6]), 3), shl(add(x[2], x[5]), 3)
    a, b = sub(a16, a25), add(a16, a25)
    p, q = add(x[0], x[7]), add(x[3], x[4])
    c, d = shl(sub(p, q), 3), shl(add(p, q), 3)
    s16, s25 = shl(sub(x[1], x[6]), 4), shl(sub(x[2], x[5]), 4)
    e, f = high(COS4, add(s16, s25)) | 1, high(COS4, sub(s16, s25))
    g = shl(sub(x[3], x[4]), 3)
    h, i = add(g, f), sub(g, f)
    j = shl(sub(x[0], x[7]), 3)
    k, m = sub(j, e), add(j, e)
    return [add(d, b), add(high(TAN1, h), m) | 1, add(high(TAN2, a), c) | 1,
            sub(k, add(high(TAN3, i), i)), sub(d, b), add(add(high(TAN3, k), k), i),
            sub(high(TAN2, c), a) | 1, sub(high(TAN1, m), h)]


def forward_row(c, factors):
    a, c1, c2, c3, c5, c6, c7 = factors
    s0, s1, s2, s3 = (add(c[k], c[7 - k]) for k in range(4))
    d0, d1, d2, d3 = (sub(c[k], c[7 - k]) for k in range(4))
    sums = [a * s0 + a * s1 + a * s2 + a * s3, c1 * d0 + c3 * d1 + c5 * d2 + c7 * d3,
            c2 * s0 + c6 * s1 - c6 * s2 - c2 * s3, c3 * d0 - c7 * d1 - c1 * d2 - c5 * d3,
            a * s0 - a * s1 - a * s2 + a * s3, c5 * d0 - c1 * d1 + c7 * d2 + c3 * d3,
            c6 * s0 - c2 * s1 + c2 * s2 - c6 * s3, c7 * d0 - c5 * d1 + c3 * d2 - c1 * d3]
    return [limit(wrap(v + 524288, 32) >> 20) for v in sums]


def forward(samples, multipliers):
    rows = [[v - 128 for v in samples[8 * r:8 * r + 8]] for r in range(8)]
    columns = [forward_column(column) for column in zip(*rows)]
    block = sum((forward_row(row, ROWS[r]) for r, row in enumerate(zip(*columns))), [])
    products = [z * m for z, m in zip(block, multipliers)]
    return [limit((p + 16383 + ((p >> 15) & 1)) >> 15) for p in products]


def inverse_row(w, factors, n):
    a, c1, c2, c3, c5, c6, c7 = factors
    e = [a * w[0] + c2 * w[2] + a * w[4] + c6 * w[6] + n,
         a * w[0] + c6 * w[2] - a * w[4] - c2 * w[6] + n,
         a * w[0] - c6 * w[2] - a * w[4] + c2 * w[6] + n,
         a * w[0] - c2 * w[2] + a * w[4] - c6 * w[6] + n]
    o = [c1 * w[1] + c3 * w[3] + c5 * w[5] + c7 * w[7],
         c3 * w[1] - c7 * w[3] - c1 * w[5] - c5 * w[7],
         c5 * w[1] - c1 * w[3] + c7 * w[5] + c3 * w[7],
         c7 * w[1] - c5 * w[3] + c3 * w[5] - c1 * w[7]]
    left = [limit(wrap(e[j] + o[j], 32) >> 11) for j in range(4)]
    right = [limit(wrap(e[j] - o[j], 32) >> 11) for j in range(4)]
    return left + right[::-1]


def inverse_column(x):
    a, b = add(add(high(TAN3, x[5]), x[5]), x[3]), add(high(TAN3, x[3]), x[3])
    c = sub(x[5], b)
    d, e = sub(high(TAN1, x[1]), x[7]), add(high(TAN1, x[7]), x[1])
    f, g = add(a, e), sub(e, a)
    h, i = add(high(TAN2, x[6]), x[2]), sub(high(TAN2, x[2]), x[6])
    j, k = sub(d, c), add(d, c)
    m, n = add(g, j), sub(g, j)
    o, r = add(m, high(COS4M1, m)), add(high(COS4M1, n), n)
    p, q = add(x[4], x[0]), sub(x[0], x[4])
    s, t, u, v = add(p, h), sub(p, h), add(q, i), sub(q, i)
    return [y >> 6 for y in (add(f, s), add(u, o), add(v, r), add(k, t),
                             sub(t, k), sub(v, r), sub(u, o), sub(s, f))]


def inverse(coefficients, quantisers):
    w = [wrap(c * q, 16) for c, q in zip(coefficients, quantisers)]
    rows = [inverse_row(w[8 * r:8 * r + 8], ROWS[r], ROUNDING[r]) for r in range(8)]
    columns = [inverse_column(column) for column in zip(*rows)]
    return [limit(v + 128, 0, 255) for row in zip(*columns) for v in row]


class Lcg:
    def __init__(self, seed):
        self.state = seed

    def next(self):
        self.state = (self.state * 1664525 + 1013904223) & 0xFFFFFFFF
        return self.state >> 8


def digest(values, size, start=14695981039346656037):
    for value in values:
        for byte in range(size):
            start = ((start ^ (value >> 8 * byte & 255)) * 1099511628211) & (1 << 64) - 1
    return start


def main():
    random, values = Lcg(1), []
    for trial in range(400):
        samples = [random.next() & 255 if trial % 2 == 0 else 255 * (random.next() & 1)
                   for _ in range(64)]
        values += forward(samples, [32768 // (1 + random.next() % (1 + trial)) for _ in range(64)])
    print("forward digest", hex(digest(values, 2)))

    random, values = Lcg(2), []
    for trial in range(400):
        coefficients = []
        for _ in range(64):
            kept = random.next() % 64 <= trial % 64
            coefficients.append(wrap(random.next(), 16) >> trial % 12 if kept else 0)
        values += inverse(coefficients, [1 + random.next() % (1 + trial) for _ in range(64)])
    print("inverse digest", hex(digest(values, 1)))

    texture = [16 * r + 2 * c if (r + c) % 2 else 200 - 3 * r * c
               for r in range(8) for c in range(8)]
    print("forward", forward(texture, [32768] * 64))
    extreme = [0] * 64
    extreme[0], extreme[1], extreme[8], extreme[27], extreme[63] = 30000, -20000, 12345, -32768, 777
    print("inverse", inverse(extreme, [1] * 64))


if __name__ == "__main__":
    main()
