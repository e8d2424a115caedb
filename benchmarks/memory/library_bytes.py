"""Bytes libqnda keeps per column and per row: 10^6 columns named C<i> and
5*10^5 rows x[2i] + 2 x[2i+1] <= i named R<i>, added through its C
interface (ctypes), resident set measured after each step.

    python benchmarks/memory/library_bytes.py [path/to/libqnda.so]
"""
import ctypes as C
import sys

import numpy as np

lib = C.CDLL(sys.argv[1] if len(sys.argv) > 1 else "build/cpython-311/python/libqnda.so")
libc = C.CDLL("libc.so.6")
def rss():
    libc.malloc_trim(0)
    with open("/proc/self/statm") as f:
        return int(f.read().split()[1]) * 4096
n, m = 1_000_000, 500_000
P = C.c_void_p
lib.QNDAinit(None)
p = P(); assert lib.QNDAcreateprob(C.byref(p)) == 0
cn = b"".join(b"C%d\0" % i for i in range(n))
rn = b"".join(b"R%d\0" % i for i in range(m))
types = b"L" * m
rhs = np.arange(m, dtype=np.float64)
start = np.arange(0, 2 * m + 1, 2, dtype=np.int64)
ind = np.arange(2 * m, dtype=np.int32)
val = np.tile(np.array([1.0, 2.0]), m)
ptr = lambda a: a.ctypes.data_as(C.c_void_p)
r0 = rss()
assert lib.QNDAaddcols64(p, n, C.c_int64(0), None, None, None, None, None, None) == 0
r1 = rss()
assert lib.QNDAaddnames(p, 2, cn, 0, n - 1) == 0
r2 = rss()
assert lib.QNDAaddrows64(p, m, C.c_int64(2 * m), types, ptr(rhs), None, ptr(start), ptr(ind), ptr(val)) == 0
r3 = rss()
assert lib.QNDAaddnames(p, 1, rn, 0, m - 1) == 0
r4 = rss()
v = C.c_double(); lib.QNDAgetcoef(p, 0, 0, C.byref(v))
r5 = rss()
print(f"per column: {(r1-r0)/n:.1f} B unnamed, names {(r2-r1)/n:.1f} B, total {(r2-r0)/n:.1f} B")
print(f"per row: {(r3-r2)/m:.1f} B unnamed (2 nonzeros logged), names {(r4-r3)/m:.1f} B, total {(r4-r2)/m:.1f} B")
print(f"matrix folded: {(r5-r0)/1e6:.1f} MB in all ({(r5-r4)/m:+.1f} B per row)")
