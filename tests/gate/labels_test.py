#!/usr/bin/env python3
"""Every test has a label of its kind, and what is labelled or chosen is a label that there is.

usage: labels_test.py BUILD-FOLDER PRESETS
"""
import json
import re
import subprocess
import sys
import unittest

KINDS = {"unit", "fault", "body", "model", "thread", "surface", "tool", "soak", "gate"}
MORE = {"library", "exhaustive", "slow", "long", "unwritten", "uncounted", "edge", "random", "death", "chosen_body",
        "named_body", "corpus", "counted", "emulator", "document", "memory", "other_user"}


def labels_of(test):
    return next((set(each["value"]) for each in test.get("properties", ()) if each["name"] == "LABELS"),
                set())


def faults_of_tests(tests):
    for test in tests:
        labels = labels_of(test)
        if not labels & KINDS:
            yield f"{test['name']} has no kind"
        if labels - KINDS - MORE:
            yield f"{test['name']} has labels that are not known: {sorted(labels - KINDS - MORE)}"


def faults_of_presets(presets, tests):
    used = set().union(*map(labels_of, tests))
    for preset in presets["testPresets"]:
        for side, choice in preset.get("filter", {}).items():
            for label in re.findall(r"\w+", choice["label"]):
                if label not in used:
                    yield f"{preset['name']}: {side} {label}, which no test has"
            if not re.fullmatch(r"\^\w+\$|\^\(\w+(\|\w+)*\)\$", choice["label"]):
                yield f"{preset['name']}: {side} is no list of whole labels"


def a_test(name, *labels):
    return {"name": name, "properties": [{"name": "LABELS", "value": list(labels)}]}


def a_preset(**choice):
    return {"testPresets": [{"name": "all"},
                            {"name": "one", "filter": {k: {"label": v} for k, v in choice.items()}}]}


class Planted(unittest.TestCase):
    def test_tests(self):
        self.assertEqual(list(faults_of_tests([a_test("a", "unit", "slow"), a_test("b", "gate")])), [])
        self.assertEqual(list(faults_of_tests([a_test("a", "slow"), {"name": "b"}])),
                         ["a has no kind", "b has no kind"])
        self.assertEqual(list(faults_of_tests([a_test("a", "unit", "slwo")])),
                         ["a has labels that are not known: ['slwo']"])

    def test_presets(self):
        tests = [a_test("a", "unit", "slow"), a_test("b", "soak")]
        good = a_preset(include="^unit$", exclude="^(soak|slow)$")
        self.assertEqual(list(faults_of_presets(good, tests)), [])
        self.assertEqual(list(faults_of_presets(a_preset(exclude="^(soak|slwo)$"), tests)),
                         ["one: exclude slwo, which no test has"])
        self.assertEqual(list(faults_of_presets(a_preset(include="soak"), tests)),
                         ["one: include is no list of whole labels"])


class Labels(unittest.TestCase):
    def test_all(self):
        listed = subprocess.run(["ctest", "--test-dir", BUILD, "--show-only=json-v1"], check=True,
                                capture_output=True, text=True).stdout
        tests = json.loads(listed)["tests"]
        with open(PRESETS) as file:
            presets = json.load(file)
        self.assertGreater(len(tests), 100)
        self.assertEqual([*faults_of_tests(tests), *faults_of_presets(presets, tests)], [])


if __name__ == "__main__":
    BUILD, PRESETS = sys.argv[1:]
    unittest.main(argv=sys.argv[:1])
