#!/usr/bin/env python3
"""Reference hashes of Pi digit files, from mpmath (an implementation independent of Zentrix).

A run asked for D decimal digits writes "3." and then D digits after the point (D + 1 in all), and
hexadecimal files "3." and H digits for H = floor(D * log(10)/log(16)) + 1 hexadecimal digits.
Digits are truncated, never rounded. This prints one line per file:
    <radix> <decimal digits asked> <sha256 of the whole file>
Usage: gen_pi_reference.py 1000000 10000000 100000000 > tests/data/pi_reference.txt
Needs python3-mpmath (python3-gmpy2 makes the large sizes fast).
"""
import hashlib
import math
import sys

import mpmath

try:
    import gmpy2
except ImportError:
    gmpy2 = None

if hasattr(sys, "set_int_max_str_digits"):
    sys.set_int_max_str_digits(0)


def hex_digits_for(decimal_digits):
    return int(1 - math.trunc(decimal_digits * -0.8304820237218407))


def digit_files(decimal_digits):
    hex_count = hex_digits_for(decimal_digits)
    bits = int(max(decimal_digits * 3.33, hex_count * 4)) + 256
    mpmath.mp.prec = bits
    pi = mpmath.pi()
    # Exact integer parts of Pi scaled by the radix powers, truncated.
    dec = int(mpmath.floor(pi * mpmath.mpf(10) ** decimal_digits))
    hexa = int(mpmath.floor(pi * mpmath.mpf(16) ** hex_count))
    if gmpy2 is not None:
        dec_text = gmpy2.mpz(dec).digits(10)
        hex_text = gmpy2.mpz(hexa).digits(16)
    else:
        dec_text = str(dec)
        hex_text = format(hexa, "x")
    return ("3." + dec_text[1:], "3." + hex_text[1:])


def main():
    for arg in sys.argv[1:]:
        digits = int(arg)
        dec_text, hex_text = digit_files(digits)
        assert len(dec_text) == digits + 2 and len(hex_text) == hex_digits_for(digits) + 2
        print("dec", digits, hashlib.sha256(dec_text.encode()).hexdigest())
        print("hex", digits, hashlib.sha256(hex_text.encode()).hexdigest())
        sys.stdout.flush()


if __name__ == "__main__":
    main()
