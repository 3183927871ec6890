#!/usr/bin/env python3
"""Checks what the built library shows to the outside.

usage: check_library.py CHECK LIBRARY [FILE]

  exports    the exported symbols are exactly those of the version script FILE
  imports    every outside symbol stands in FILE
  needed     only the C library and its mathematics are needed
  hardening  relocations are read-only and bound at load, no segment is writable and executable
  load       no code of the library's own runs when it is loaded or unloaded
  wide       instructions on 256 bits and more stand in code for AVX2 only

Prints what is wrong, one a line; status 1 when there is anything.
"""
import re
import subprocess
import sys


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def dynamic_symbols(library, *options):
    names = set()
    for line in run("nm", "-D", *options, library).splitlines():
        names.add(re.split(r"@+", line.split()[-1])[0])
    return names


def version_script_names(path):
    text = re.sub(r"#.*", "", open(path).read())
    body = re.search(r"global:(.*?)local:", text, re.S).group(1)
    return {name.strip() for name in body.split(";") if name.strip()}


def check_exports(library, script):
    exported = dynamic_symbols(library, "--defined-only")
    allowed = version_script_names(script)
    for name in sorted(exported - allowed):
        yield f"{name} is exported but not listed"
    for name in sorted(allowed - exported):
        yield f"{name} is listed but not exported"


def check_imports(library, allow_list):
    allowed = {line.split("#")[0].strip() for line in open(allow_list)} - {""}
    for name in sorted(dynamic_symbols(library, "--undefined-only") - allowed):
        yield f"{name} is called but not allowed"


def check_needed(library):
    for name in re.findall(r"\(NEEDED\).*\[(.*)\]", run("readelf", "-dW", library)):
        if name not in ("libc.so.6", "libm.so.6"):
            yield f"{name} is needed"


def check_hardening(library):
    segments = run("readelf", "-lW", library)
    dynamic = run("readelf", "-dW", library)
    if "GNU_RELRO" not in segments:
        yield "no read-only relocations (RELRO)"
    if not re.search(r"\(FLAGS_1\).*\bNOW\b|\(FLAGS\).*BIND_NOW", dynamic):
        yield "symbols are not bound at load (NOW)"
    stack = re.search(r"GNU_STACK.*", segments)
    if not stack or re.search(r"\bRWE\b", stack.group()):
        yield "the stack is executable"
    for line in segments.splitlines():
        if line.split()[:1] == ["LOAD"] and re.search(r"\bRWE\b", line):
            yield "a segment is writable and executable"
    if "(TEXTREL)" in dynamic:
        yield "code is relocated"


def symbols(library):
    """Address, size, name and source file (of local symbols) of every symbol."""
    source = ""
    for line in run("readelf", "-sW", library).partition(".symtab")[2].splitlines():
        fields = line.split()
        if len(fields) < 8 or not fields[0].rstrip(":").isdigit():
            continue
        address, kind, binding, name = int(fields[1], 16), fields[3], fields[4], fields[7]
        if kind == "FILE":
            source = name
        else:
            yield address, kind, name, source if binding == "LOCAL" else ""


# What the compiler's own start files and its look at the processor run.
START_CODE = {"frame_dummy", "__do_global_dtors_aux", "__cpu_indicator_init"}


def check_load(library):
    names = {}
    for address, kind, name, _ in symbols(library):
        if kind == "FUNC":
            names.setdefault(address, set()).add(name)
    sections = run("readelf", "-SW", library)
    relocations = {}
    for line in run("readelf", "-rW", library).splitlines():
        fields = line.split()
        if len(fields) >= 4 and fields[2] == "R_X86_64_RELATIVE":
            relocations[int(fields[0], 16)] = int(fields[3], 16)
    for match in re.finditer(r"\.(init|fini)_array +\S+ +(\w+) +\w+ +(\w+)", sections):
        start, size = int(match[2], 16), int(match[3], 16)
        for word in range(start, start + size, 8):
            found = names.get(relocations.get(word), {"an unknown function"})
            if not found & START_CODE:
                yield f"{min(found)} runs at {'load' if match[1] == 'init' else 'unload'}"


# A function for AVX2 has a name of its own, or stands in namespace nq::avx2 (mangled), or is local to
# a file for AVX2.
AVX2_NAME = re.compile(r"_avx2$|^_ZN2nq4avx2")


def check_wide(library):
    for_avx2 = set()
    for address, kind, name, source in symbols(library):
        if kind == "FUNC" and (source.endswith("_avx2.cpp") or AVX2_NAME.search(name)):
            for_avx2.add(address)
    function, inside = "", False
    reported = set()
    for line in run("objdump", "-d", "--no-show-raw-insn", library).splitlines():
        start = re.match(r"([0-9a-f]+) <(.*)>:$", line)
        if start:
            function, inside = start[2], int(start[1], 16) in for_avx2
        elif re.search(r"%[yz]mm", line) and not inside and function not in reported:
            reported.add(function)
            yield f"{function} uses wide registers"


CHECKS = {
    "exports": check_exports,
    "imports": check_imports,
    "needed": check_needed,
    "hardening": check_hardening,
    "load": check_load,
    "wide": check_wide,
}


def main(arguments):
    if len(arguments) < 2 or arguments[0] not in CHECKS:
        sys.exit(__doc__)
    problems = list(CHECKS[arguments[0]](*arguments[1:]))
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
