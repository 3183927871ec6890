#!/usr/bin/env python3
"""Compiles each public header alone, as C11 and as C++20, with warnings as errors.

usage: check_headers.py SOURCE-ROOT C-COMPILER C++-COMPILER [HEADER...]

Without HEADERs: every *.h below SOURCE-ROOT/nqinstance.
"""
import concurrent.futures
import os
import pathlib
import subprocess
import sys

WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Werror"]


def compile_alone(root, header, compiler, language, standard):
    command = [compiler, "-x", language, f"-std={standard}", *WARNINGS, "-fsyntax-only", "-I", ".", "-"]
    done = subprocess.run(command, cwd=root, input=f'#include "{header}"\n', capture_output=True,
                          text=True)
    return "" if done.returncode == 0 else f"{header} as {standard}:\n{done.stderr}"


def main(root, c_compiler, cxx_compiler, *headers):
    headers = headers or sorted(str(path.relative_to(root))
                                for path in pathlib.Path(root, "nqinstance").rglob("*.h"))
    jobs = []
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for header in headers:
            jobs.append(pool.submit(compile_alone, root, header, c_compiler, "c", "c11"))
            jobs.append(pool.submit(compile_alone, root, header, cxx_compiler, "c++", "c++20"))
    problems = [job.result() for job in jobs if job.result()]
    print("\n".join(problems) or f"{len(headers)} headers")
    return 1 if problems or not headers else 0


if __name__ == "__main__":
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
