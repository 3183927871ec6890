"""An installed tree is complete: a project of its own finds it, builds the examples and runs them, and
every header compiles alone, without a header of any package.

usage: install_test.py BUILD EXAMPLES CXX
"""
import pathlib
import re
import subprocess
import sys
import tempfile

PROJECT = """cmake_minimum_required(VERSION 3.25)
project(outside LANGUAGES CXX)
find_package(nqinstance REQUIRED)
add_executable(embed {examples}/embed.cpp)
target_link_libraries(embed PRIVATE nqinstance::nqstandalone)
add_executable(check {examples}/check.cpp)
target_link_libraries(check PRIVATE nqinstance::nqtyped)
"""
PACKAGES = re.compile(r"/(unicode|rapidjson)/|simdjson")


def run(*command, status=0):
    done = subprocess.run(list(map(str, command)), check=status == 0, capture_output=True, text=True)
    assert done.returncode == status, f"{command[0]} ended with {done.returncode}"
    return done.stdout


def check_headers(include, compiler):
    headers = sorted(include.rglob("*.hpp"))
    assert len(headers) >= 10, "the C++ headers are not installed"
    for header in headers:
        used = run(compiler, "-std=c++20", "-Wall", "-Wextra", "-Werror", "-I", include, "-M", "-x", "c++", header)
        run(compiler, "-std=c++20", "-fsyntax-only", "-I", include, "-x", "c++", header)
        assert not PACKAGES.search(used), f"{header} needs the header of a package"


# What each page says is installed: all headers that it names, or those of the library and these.
PAGES = {"README.md": r"standalone|typed", "docs/typed-configurations.md": r"standalone|typed",
         "docs/validation.md": r"standalone|typed", "docs/host-interface.md": r"standalone/json/parser"}


def check_named_headers(root, include):
    """Whatever header a page says is installed is there."""
    for page, folders in PAGES.items():
        text = root.joinpath(page).read_text()
        named = set(re.findall(rf"\b((?:nqinstance|{folders})[\w/]*\.h(?:pp)?)\b", text))
        assert named, f"{page} names no header"
        for name in named:
            assert include.joinpath(name).exists(), f"{page} names {name}, which is not installed"


def main() -> int:
    build, examples, compiler = sys.argv[1:4]
    examples = pathlib.Path(examples).resolve()
    conf = examples / "service.conf"
    with tempfile.TemporaryDirectory() as folder:
        prefix, source, outside = (pathlib.Path(folder, name) for name in ("prefix", "source", "build"))
        run("cmake", "--install", build, "--prefix", prefix)
        check_headers(prefix / "include", compiler)
        check_named_headers(examples.parent, prefix / "include")
        source.mkdir()
        source.joinpath("CMakeLists.txt").write_text(PROJECT.format(examples=examples))
        run("cmake", "-S", source, "-B", outside, f"-DCMAKE_PREFIX_PATH={prefix}",
            f"-DCMAKE_CXX_COMPILER={compiler}")
        run("cmake", "--build", outside)
        library = next(prefix.rglob("libnqinstance.so"))
        tool = prefix / "bin" / "nqtool"
        embedded = run(outside / "embed", library, conf)
        printed = run(tool, "json", conf)
        definitions = examples / "relay-definitions.json"
        run(outside / "check", library, definitions, examples / "relay.conf")
        faulty = examples / "relay-faults.conf"
        faults = run(outside / "check", library, definitions, faulty, status=1)
        reported = run(tool, "check", "--definitions", definitions, faulty, status=1)
    assert embedded == printed and printed.startswith("{\n"), "the installed programs disagree"
    assert sorted(faults.splitlines()) == sorted(reported.splitlines()), "they disagree about faults"
    assert len(faults.splitlines()) == 12, "the example has twelve faults"
    print("installed, found, built and run")
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except subprocess.CalledProcessError as error:
        print(error, error.stdout, error.stderr, sep="\n")
        sys.exit(1)
