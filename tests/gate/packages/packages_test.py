#!/usr/bin/env python3
"""The tool is built with the packages of `setup.sh run`, and needs each of them.

usage: packages_test.py SOURCE BUILD-FOLDER SCRATCH

Asks which files the tool in BUILD-FOLDER was compiled and linked from, and which ones CMake reads when
it configures a build without the tests. Each must be the project's own or belong to one of the packages
or to what these depend on. Status 77 where no package manager tells whose a file is.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

INSTALLED = pathlib.Path("/var/lib/dpkg/info")


def output_of(*command, **settings):
    return subprocess.run(list(map(str, command)), check=True, capture_output=True, text=True,
                          **settings).stdout


def run_set():
    return set(output_of(SOURCE / "cmake" / "setup.sh", "--list", "run").split())


def names_of(relation):
    """The packages of a list as `libc6 (>= 2.36), debconf | debconf-2.0:any`."""
    return re.findall(r"(?:^|[,|])\s*([a-z0-9][a-z0-9+.-]+)", relation)


def closure(packages):
    """The packages and all that they depend on, as far as it is installed."""
    depends, provided = {}, {}
    rows = output_of("dpkg-query", "-W", "-f", "${Package};${Pre-Depends},${Depends};${Provides}\n")
    for row in rows.splitlines():
        name, needs, provides = row.split(";")
        depends[name] = names_of(needs)
        for other in names_of(provides):
            provided.setdefault(other, []).append(name)
    found, left = set(), list(packages)
    while left:
        name = left.pop()
        if name in depends and name not in found:
            found.add(name)
            left += depends[name]
        left += [other for other in provided.get(name, ()) if other not in found]
    return found


def files_of(packages):
    files = set()
    for package in packages:
        for path in (*INSTALLED.glob(f"{package}.list"), *INSTALLED.glob(f"{package}:*.list")):
            files.update(path.read_text().splitlines())
    return files


def known_as(path):
    """The names under which a package may list a file."""
    names = {str(path), str(pathlib.Path(path).resolve())}
    return names | {name.removeprefix("/usr") for name in names} | {f"/usr{name}" for name in names}


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        output_of("cmake", "-S", SOURCE, "-B", SCRATCH, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                  "-DNQ_TESTS=OFF", "-DCMAKE_C_COMPILER=gcc", "-DCMAKE_CXX_COMPILER=g++")
        cls.read = set()
        objects = [line for line in output_of("ninja", "-C", BUILD, "-t", "inputs", "nqtool",
                                              "nqinstance").splitlines() if line.endswith(".o")]
        cls.add(BUILD, output_of("ninja", "-C", BUILD, "-t", "deps", *objects))
        cls.add(SCRATCH, output_of("ninja", "-C", SCRATCH, "-t", "inputs", "nqtool"))
        cls.add(SCRATCH, output_of("ninja", "-C", SCRATCH, "-t", "query", "build.ninja"))

    @classmethod
    def add(cls, folder, said):
        """The files that Ninja names in this folder and that are not the project's own."""
        for line in said.splitlines():
            path = pathlib.Path(os.path.normpath(folder / line.strip().removeprefix("| ")))
            own = any(path.is_relative_to(place) for place in (SOURCE, BUILD, SCRATCH))
            if path.is_file() and not own:
                cls.read.add(str(path))

    def lacking(self, packages):
        """The files that were read and belong to none of the packages."""
        files = files_of(closure(packages))
        programs = {os.path.realpath(shutil.which(name)) for name in ("cmake", "ninja", "g++")}
        return sorted(path for path in self.read | programs if not files & known_as(path))

    def test_enough(self):
        self.assertGreater(len(self.read), 500)
        for name in ("unicode/", "simdjson.h", "/cmake-", "/c++/"):
            self.assertTrue(any(name in path for path in self.read), name)
        self.assertEqual(self.lacking(run_set()), [])

    def test_each_is_needed(self):
        for package in run_set():
            with self.subTest(package):
                self.assertNotEqual(self.lacking(run_set() - {package}), [])

    def test_sets(self):
        self.assertFalse({"libgtest-dev", "python3", "clang-14", "ccache"} & run_set())
        for more in ("test", "bench", "gate"):
            wider = set(output_of(SOURCE / "cmake" / "setup.sh", "--list", more).split())
            self.assertLess(run_set(), wider)
        unknown = subprocess.run([SOURCE / "cmake" / "setup.sh", "--list", "tset"], capture_output=True)
        self.assertEqual(unknown.returncode, 2)


if __name__ == "__main__":
    SOURCE, BUILD, SCRATCH = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
    if not INSTALLED.is_dir():
        sys.exit(77)
    unittest.main(argv=sys.argv[:1])
