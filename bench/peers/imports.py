#!/usr/bin/env python3
"""Writes assembler text that refers to everything that a DLL imports: imports.py OBJDUMP DLL OUTPUT."""

import re
import subprocess
import sys

objdump, dll, output = sys.argv[1:]
listing = subprocess.run([objdump, "-p", dll], check=True, capture_output=True, text=True).stdout
table = listing.split("The Import Tables", 1)[1].split("The Export Tables", 1)[0]
names = sorted(set(re.findall(r"^\s[0-9a-f]+\s+\d+\s+(\S+)$", table, re.MULTILINE)))
if not names:
    sys.exit(f"{dll} imports nothing")
with open(output, "w", encoding="ascii") as text:
    text.write("    .section .rdata\n    .globl BenchImports\nBenchImports:\n")
    text.writelines(f"    .quad __imp_{name}\n" for name in names)
