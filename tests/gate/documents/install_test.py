"""An installed tree is complete: a project of its own finds it, builds the embedding example and runs it.

usage: install_test.py BUILD EXAMPLES CXX
"""
import pathlib
import subprocess
import sys
import tempfile

PROJECT = """cmake_minimum_required(VERSION 3.25)
project(outside LANGUAGES CXX)
find_package(nqinstance REQUIRED)
add_executable(embed {example})
target_link_libraries(embed PRIVATE nqinstance::nqstandalone)
"""


def main() -> int:
    build, examples, compiler = sys.argv[1:4]
    example = pathlib.Path(examples, "embed.cpp")
    conf = pathlib.Path(examples, "service.conf")

    def run(*command):
        return subprocess.run(list(map(str, command)), check=True, capture_output=True, text=True).stdout

    with tempfile.TemporaryDirectory() as folder:
        prefix, source, outside = (pathlib.Path(folder, name) for name in ("prefix", "source", "build"))
        run("cmake", "--install", build, "--prefix", prefix)
        source.mkdir()
        source.joinpath("CMakeLists.txt").write_text(PROJECT.format(example=example))
        run("cmake", "-S", source, "-B", outside, f"-DCMAKE_PREFIX_PATH={prefix}",
            f"-DCMAKE_CXX_COMPILER={compiler}")
        run("cmake", "--build", outside)
        library = next(prefix.rglob("libnqinstance.so"))
        embedded = run(outside / "embed", library, conf)
        printed = run(prefix / "bin" / "nqtool", "json", conf)
    assert embedded == printed and printed.startswith("{\n"), "the installed programs disagree"
    print("installed, found, built and run")
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except subprocess.CalledProcessError as error:
        print(error, error.stdout, error.stderr, sep="\n")
        sys.exit(1)
