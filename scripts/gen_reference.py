#!/usr/bin/env python3
"""Reference hashes of digit files, from Arb (Debian's libflint-arb, an implementation independent
of Zentrix), checked against mpmath up to 10,000 digits.

A run asked for D decimal digits has its writers asked for D + 1 decimal and H + 1 hexadecimal
digits, H = HexDigitsFor(D) = floor(D * log(10)/log(16)) + 1. The writers count the integer digit
of a value with one word before the point, so Pi, Log(10) and Zeta(3) are written as one digit,
"." and D (or H) digits, and the values below 1 (Log(2), Catalan, Euler) as "0." and D + 1 (or
H + 1) digits. Digits are truncated, never rounded, and hexadecimal digits are lower case.

Usage: gen_reference.py CONSTANT SIZE... [--row K]...
    CONSTANT  pi, log2, log10, zeta3, catalan or euler
    SIZE      D (decimal digits, hexadecimal count from HexDigitsFor) or D:H (both explicit)
    --row K   the Euler-Mascheroni size table's row K: for x = 2^(K+3) - 20, D = floor(x * log10(e))
              and H = floor(x * log16(e)), the counts that menu passes instead of HexDigitsFor(D)
Prints one line per file:
    <constant> <radix> <decimal digits asked> <sha256 of the whole file>
For example: gen_reference.py euler --row 10 --row 11 >> tests/data/reference_hashes.txt
"""
import argparse
import ctypes
import hashlib
import math
import os
import sys

import mpmath

if hasattr(sys, "set_int_max_str_digits"):
    sys.set_int_max_str_digits(0)

arb = ctypes.CDLL("libflint-arb.so.2")
flint = ctypes.CDLL("libflint.so.17")
P, SLONG = ctypes.c_void_p, ctypes.c_long
for routine, argtypes in {
    "arb_init": [P], "arb_clear": [P], "arb_mul_2exp_si": [P, P, SLONG], "arb_mul": [P, P, P, SLONG],
    "arb_ui_pow_ui": [P, ctypes.c_ulong, ctypes.c_ulong, SLONG], "arb_floor": [P, P, SLONG],
    "arb_get_unique_fmpz": [P, P], "arb_const_pi": [P, SLONG], "arb_const_log2": [P, SLONG],
    "arb_const_log10": [P, SLONG], "arb_const_apery": [P, SLONG], "arb_const_catalan": [P, SLONG],
    "arb_const_euler": [P, SLONG],
}.items():
    getattr(arb, routine).argtypes = argtypes
flint.fmpz_clear.argtypes = [P]
flint.fmpz_get_str.restype = ctypes.c_void_p
flint.fmpz_get_str.argtypes = [ctypes.c_char_p, ctypes.c_int, ctypes.c_void_p]
flint.flint_free.argtypes = [ctypes.c_void_p]
flint.flint_set_num_threads(os.cpu_count() or 1)

# Arb routine, mpmath constant, integer digits the writers count (0 for a value below 1).
CONSTANTS = {
    "pi": ("arb_const_pi", mpmath.pi, 1),
    "log2": ("arb_const_log2", mpmath.ln2, 0),
    "log10": ("arb_const_log10", mpmath.ln10, 1),
    "zeta3": ("arb_const_apery", mpmath.apery, 1),
    "catalan": ("arb_const_catalan", mpmath.catalan, 0),
    "euler": ("arb_const_euler", mpmath.euler, 0),
}
MPMATH_CHECK_LIMIT = 10000


def hex_digits_for(decimal_digits):
    return int(1 - math.trunc(decimal_digits * -0.8304820237218407))


def euler_row(k):
    x = float(2 ** (k + 3) - 20)
    return math.floor(x * 0.43429448190325176), math.floor(x * 0.36067376022224085)


class Arb:
    def __init__(self):
        # Opaque storage for an arb_struct (48 bytes on x86-64), long-aligned.
        self.buf = (ctypes.c_long * 16)()
        arb.arb_init(self.buf)

    def __del__(self):
        arb.arb_clear(self.buf)


def arb_scaled_floor(value, radix, places, prec):
    """floor(value * radix^places) as digit text in that radix, or None if the ball leaves it open."""
    t = Arb()
    if radix == 16:
        arb.arb_mul_2exp_si(t.buf, value.buf, 4 * places)
    else:
        arb.arb_ui_pow_ui(t.buf, radix, places, prec)
        arb.arb_mul(t.buf, t.buf, value.buf, prec)
    arb.arb_floor(t.buf, t.buf, prec)
    z = ctypes.c_long(0)  # an fmpz is one word: a small value or a tagged pointer
    try:
        if not arb.arb_get_unique_fmpz(ctypes.byref(z), t.buf):
            return None
        text = flint.fmpz_get_str(None, radix, ctypes.byref(z))
        try:
            return ctypes.string_at(text).decode()
        finally:
            flint.flint_free(text)
    finally:
        flint.fmpz_clear(ctypes.byref(z))


def scaled_floors(name, dec_places, hex_places):
    routine, _, _ = CONSTANTS[name]
    guard = 64
    while True:
        prec = int(max(dec_places * math.log2(10), hex_places * 4)) + guard
        value = Arb()
        getattr(arb, routine)(value.buf, prec)
        dec = arb_scaled_floor(value, 10, dec_places, prec)
        hexa = arb_scaled_floor(value, 16, hex_places, prec)
        if dec is not None and hexa is not None:
            return dec, hexa
        guard *= 4
        if guard > 1 << 20:
            raise RuntimeError(f"{name}: Arb does not settle the digits at {prec} bits")


def mpmath_scaled_floor(name, radix, places):
    mpmath.mp.prec = int(places * math.log2(radix)) + 128
    return int(mpmath.floor(CONSTANTS[name][1] * mpmath.mpf(radix) ** places))


def layout(text, places, int_digits):
    """The file text for floor(x * radix^places) whose integer part has int_digits digits."""
    text = text.rjust(places + int_digits, "0")
    assert len(text) == places + int_digits
    return (text[:int_digits] or "0") + "." + text[int_digits:]


def digit_files(name, decimal_digits, hex_count):
    int_digits = CONSTANTS[name][2]
    dec_places = decimal_digits + 1 - int_digits
    hex_places = hex_count + 1 - int_digits
    dec, hexa = scaled_floors(name, dec_places, hex_places)
    if decimal_digits <= MPMATH_CHECK_LIMIT:
        if int(dec, 10) != mpmath_scaled_floor(name, 10, dec_places) or int(
            hexa, 16
        ) != mpmath_scaled_floor(name, 16, hex_places):
            raise RuntimeError(f"{name} {decimal_digits}: Arb and mpmath disagree")
    dec_text, hex_text = layout(dec, dec_places, int_digits), layout(hexa, hex_places, int_digits)
    # The writers were asked for one digit more than the run's count, the integer digit included.
    assert dec_places + int_digits == decimal_digits + 1 and hex_places + int_digits == hex_count + 1
    return dec_text, hex_text


def size(arg):
    dec, _, hexa = arg.partition(":")
    return int(dec), int(hexa) if hexa else hex_digits_for(int(dec))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("constant", choices=CONSTANTS)
    parser.add_argument("sizes", nargs="*", type=size, metavar="D[:H]")
    parser.add_argument("--row", action="append", type=int, default=[], metavar="K")
    args = parser.parse_args()
    for decimal_digits, hex_count in args.sizes + [euler_row(k) for k in args.row]:
        dec_text, hex_text = digit_files(args.constant, decimal_digits, hex_count)
        for radix, text in (("dec", dec_text), ("hex", hex_text)):
            digest = hashlib.sha256(text.encode()).hexdigest()
            print(args.constant, radix, decimal_digits, digest, flush=True)


if __name__ == "__main__":
    main()
