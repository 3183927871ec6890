#!/usr/bin/env python3
"""Plants faults in small libraries and headers and sees that the checks find them.

usage: check_library_test.py SOURCE-ROOT C-COMPILER C++-COMPILER
"""
import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT, CC, CXX = sys.argv[1:4]
HERE = pathlib.Path(__file__).resolve().parent

GOOD = """
#include <string.h>
__attribute__((visibility("default"))) void copy(char* to, const char* from) {
    strcpy(to, from);
}
"""
FLAGS = ["-O0", "-fno-builtin", "-fPIC", "-fvisibility=hidden", "-shared"]
HARDENED = ["-Wl,-z,relro,-z,now,-z,noexecstack"]
WIDE = """
#include <immintrin.h>
__attribute__((target("avx2"), noinline)) static __m256i %s(__m256i a) {
    return _mm256_add_epi8(a, a);
}
__attribute__((target("avx2"), visibility("default"))) void copy(void* to, const void* from) {
    __m256i sum = %s(_mm256_loadu_si256((const __m256i*)from));
    __builtin_memcpy(to, &sum, 1);
}
"""


class PlantedFaults(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.path = pathlib.Path(self.folder.name)
        self.write("exports.map", "{ global: copy; local: *; };")
        self.write("imports.allow", "# copying\nstrcpy\n" + "\n".join(
            ["_ITM_deregisterTMCloneTable", "_ITM_registerTMCloneTable", "__cxa_finalize",
             "__gmon_start__"]))

    def write(self, name, text):
        (self.path / name).write_text(text)
        return self.path / name

    def build(self, source=GOOD, name="good.c", options=HARDENED, compiler=CC):
        library = self.path / "library.so"
        subprocess.run([compiler, *FLAGS, self.write(name, source), *options, "-o", library],
                       check=True)
        return library

    def check(self, check, library, file=None):
        """The problems that a check finds."""
        command = [sys.executable, HERE / "check_library.py", check, library]
        if file:
            command.append(self.path / file)
        done = subprocess.run(command, capture_output=True, text=True)
        self.assertEqual(done.stderr, "")
        self.assertEqual(done.returncode, 1 if done.stdout else 0)
        return done.stdout.splitlines()

    def test_nothing_is_found_where_nothing_is_wrong(self):
        library = self.build()
        self.assertEqual(self.check("exports", library, "exports.map"), [])
        self.assertEqual(self.check("imports", library, "imports.allow"), [])
        for check in ("needed", "hardening", "load", "wide"):
            self.assertEqual(self.check(check, library), [], check)

    def test_exports(self):
        extra = GOOD + '__attribute__((visibility("default"))) int extra;'
        self.assertEqual(self.check("exports", self.build(extra), "exports.map"),
                         ["extra is exported but not listed"])
        missing = GOOD.replace("copy", "other")
        self.assertEqual(self.check("exports", self.build(missing), "exports.map"),
                         ["other is exported but not listed", "copy is listed but not exported"])

    def test_imports(self):
        noisy = GOOD.replace("strcpy(", "puts(from); strcpy(").replace("string.h", "stdio.h")
        noisy = noisy.replace("#include", "#include <string.h>\n#include")
        self.assertEqual(self.check("imports", self.build(noisy), "imports.allow"),
                         ["puts is called but not allowed"])

    def test_needed(self):
        self.assertEqual(
            self.check("needed", self.build(options=["-Wl,--no-as-needed", "-ldl", "-lstdc++"])),
            [name + " is needed" for name in self.needed_names()])

    def needed_names(self):
        text = subprocess.run(["readelf", "-dW", self.path / "library.so"], check=True,
                              capture_output=True, text=True).stdout
        names = [line.split("[")[1].rstrip("]") for line in text.splitlines() if "NEEDED" in line]
        self.assertIn("libstdc++.so.6", names)
        return [name for name in names if name not in ("libc.so.6", "libm.so.6")]

    def test_hardening(self):
        self.assertEqual(self.check("hardening", self.build(options=["-Wl,-z,relro,-z,lazy"])),
                         ["symbols are not bound at load (NOW)"])
        self.assertEqual(self.check("hardening", self.build(options=["-Wl,-z,norelro,-z,now"])),
                         ["no read-only relocations (RELRO)"])
        stack = ["-Wl,-z,relro,-z,now,-z,execstack"]
        self.assertEqual(self.check("hardening", self.build(options=stack)),
                         ["the stack is executable"])

    def test_load(self):
        early = GOOD + "__attribute__((constructor)) static void early(void) {}"
        self.assertEqual(self.check("load", self.build(early)), ["early runs at load"])
        late = GOOD + "__attribute__((destructor)) static void late(void) {}"
        self.assertEqual(self.check("load", self.build(late)), ["late runs at unload"])

    def test_wide(self):
        source = WIDE % ("add", "add")
        found = self.check("wide", self.build(source))
        self.assertIn("add uses wide registers", found)
        self.assertIn("copy uses wide registers", found)
        marked = WIDE % ("add_avx2", "add_avx2")
        self.assertEqual(self.check("wide", self.build(marked)), ["copy uses wide registers"])
        # A local function of a file of such bodies.
        found = self.check("wide", self.build(source, name="bodies_avx2.cpp", compiler=CXX))
        self.assertEqual([line for line in found if "add" in line], [])

    def check_abi(self, action, library):
        command = [sys.executable, HERE / "abi.py", action, library, self.path / "abi.xml",
                   self.path / "headers"]
        done = subprocess.run(command, capture_output=True, text=True)
        self.assertEqual(done.stderr, "")
        return done.returncode, done.stdout

    def build_record(self, fields, function="copy", options=("-g",)):
        """A library that works on a record of its header's."""
        (self.path / "headers").mkdir(exist_ok=True)
        self.write("headers/record.h",
                   f"typedef struct Record {{ int (*use)(struct Record*); {fields} }} Record;")
        source = f"""
            #include "headers/record.h"
            __attribute__((visibility("default"))) int {function}(Record* record) {{
                return record->use(record);
            }}"""
        return self.build(source, options=[*options, *HARDENED])

    def test_abi(self):
        fields = "int first; long second;"
        self.assertEqual(self.check_abi("write", self.build_record(fields)), (0, ""))
        self.assertEqual(self.check_abi("check", self.build_record(fields)), (0, ""))
        planted = [
            ("'int first' offset changed", ["long second; int first;"]),
            ("type size changed", [fields + " long third;"]),
            ("type of 'long int second' changed", [fields.replace("long", "double")]),
            ("1 Added function", [fields, "other"]),
            ("no debug information", [fields, "copy", ()]),
        ]
        for message, record in planted:
            with self.subTest(message):
                status, output = self.check_abi("check", self.build_record(*record))
                self.assertEqual(status, 1)
                self.assertIn(message, output)

    def check_headers(self, root, *names):
        done = subprocess.run([sys.executable, HERE / "check_headers.py", root, CC, CXX, *names],
                              capture_output=True, text=True)
        return done.returncode, done.stdout

    def test_moved_field(self):
        """A field that changes places does not compile."""
        name = "nqinstance/core/data.h"
        text = pathlib.Path(ROOT, name).read_text()
        length = "    uint64_t length; /* bytes of content */\n"
        self.assertIn(length, text)
        moved = text.replace(length, "").replace("struct NQData {\n", "struct NQData {\n" + length)
        for folder in ("core", "host"):
            (self.path / "nqinstance" / folder).mkdir(parents=True)
        for header in pathlib.Path(ROOT, "nqinstance/host").glob("*.h"):
            self.write(f"nqinstance/host/{header.name}", header.read_text())
        self.write(name, text)
        self.assertEqual(self.check_headers(self.path, name), (0, "1 headers\n"))
        self.write(name, moved)
        status, output = self.check_headers(self.path, name)
        self.assertEqual(status, 1)
        self.assertIn("NQData.bytes has moved", output)

    def test_header_that_needs_another(self):
        name = "needy.h"
        self.write(name, "#pragma once\nuint32_t number(void);\n")
        status, output = self.check_headers(self.path, name)
        self.assertEqual(status, 1)
        self.assertIn("uint32_t", output)
        self.write(name, "#pragma once\n#include <string>\n")
        status, output = self.check_headers(self.path, name)
        self.assertEqual(status, 1, "no C")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
