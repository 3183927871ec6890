#!/usr/bin/env python3
"""Checks real configuration files of this machine with `nqtool check`, once as they are and once
for each fault that is planted into them: the fault alone must be named, with its line."""

import argparse
import pathlib
import subprocess
import sys
import tempfile

DEFINITIONS = pathlib.Path(__file__).resolve().parent / "definitions"
SKIPPED = 77

# The file, its definitions, and the faults: section, key, value, what is said.
FILES = [
    ("/usr/lib/systemd/system/systemd-logind.service", "unit.json", [
        ("Service", "BusName", "org.example", "is none of the accepted values"),
        ("Service", "FileDescriptorStoreMax", "65537", "value 65537 is above the maximum 65536"),
        ("Service", "FileDescriptorStoreMax", "-1", "is not of type uint32"),
        ("Service", "FileDescriptorStoreMax", "4294967296", "is not of type uint32"),
        ("Service", "LockPersonality", "perhaps", "is not of type boolean"),
        ("Service", "NoNewPrivileges", "", 'value "" is not of type boolean'),
        ("Service", "ProtectHome", "read-only", "is not of type instance"),
        ("Service", "ProtectSystem", "Strict", "is none of the accepted values"),
        ("Service", "Restart", "sometimes", "is none of the accepted values"),
        ("Service", "RestartSec", "-0.5", "value -0.5 is below the minimum 0"),
        ("Service", "RestartSec", "100ms", "is not of type double"),
        ("Service", "LimitNOFILE", "2", "value 2 is below the minimum 3"),
        ("Service", "LimitNOFILE", "infinity", "is not of type int64"),
    ]),
    ("/usr/share/icons/hicolor/index.theme", "theme.json", [
        ("Icon Theme", "Hidden", "hidden", "is not of type boolean"),
        ("16x16/actions", "Size", "17", "is none of the accepted values: 16"),
        ("16x16/actions", "Context", "Apps", "is none of the accepted values: Actions"),
        ("16x16/actions", "Type", "Vector", "is none of the accepted values"),
        ("16x16@2/actions", "Size", "18446744073709551616", "is not of type uint64"),
        ("16x16@2/actions", "Scale", "5", "value 5 is above the maximum 4"),
        ("16x16@2/actions", "Scale", "2.0", "is not of type integer"),
        ("scalable/apps", "MinSize", "0", "value 0 is below the minimum 1"),
        ("scalable/apps", "Size", "513", "is none of the accepted values: 16 to 512"),
        ("scalable/apps", "MaxSize", "1024", "value 1024 is above the maximum 512"),
    ]),
    ("/usr/share/kf5/locale/countries/de/country.desktop", "country.json", [
        ("KCM Locale", "DecimalSymbol", ";", "is none of the accepted values"),
        ("KCM Locale", "MonetaryDecimalSymbol", "$0.$0", "is not of type char"),
        ("KCM Locale", "NegativeSign", "minus", "is not of type char"),
        ("KCM Locale", "PositivePrefixCurrencySymbol", "falsch", "is not of type boolean"),
        ("KCM Locale", "NegativePrefixCurrencySymbol", "2", "is not of type boolean"),
        ("KCM Locale", "PositiveMonetarySignPosition", "5", "value 5 is above the maximum 4"),
        ("KCM Locale", "PageSize", "-1", "value -1 is below the minimum 0"),
        ("KCM Locale", "PageSize", "A4", "is not of type integer"),
        ("KCM Locale", "MeasureSystem", "2", "is none of the accepted values: 0, 1"),
        ("KCM Locale", "CurrencyCode", "DEM", "is none of the accepted values: EUR"),
    ]),
]


def plant(lines, section, key, value):
    """The lines with another value for the key, and the key's number, from 1."""
    inside = False
    for number, line in enumerate(lines):
        if line.startswith("["):
            inside = line.startswith(f"[{section}]")
        elif inside and line.partition("=")[0].strip() == key:
            return [*lines[:number], f"{key}={value}\n", *lines[number + 1:]], number + 1
    raise KeyError(f"[{section}] {key}")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--tool", required=True)
    tool = parser.parse_args().tool

    failed = planted = files = 0

    def check(definitions, path, wanted):
        done = subprocess.run([tool, "check", "--definitions", DEFINITIONS / definitions, path],
                              capture_output=True, text=True, check=False)
        is_good = (done.stderr == "" and done.returncode == bool(wanted)
                   and len(done.stdout.splitlines()) == len(wanted)
                   and all(map(str.startswith, done.stdout.splitlines(), [w[0] for w in wanted]))
                   and all(w[1] in line for w, line in zip(wanted, done.stdout.splitlines())))
        if not is_good:
            print(f"{path}: wanted {wanted}\nfound {done.returncode} {done.stdout}{done.stderr}")
        return not is_good

    with tempfile.TemporaryDirectory(prefix="nqtool-real-") as folder:
        for path, definitions, faults in FILES:
            try:
                lines = pathlib.Path(path).read_text().splitlines(keepends=True)
            except FileNotFoundError:
                print(f"{path}: not there")
                continue
            files += 1
            failed += check(definitions, path, [])
            changed = pathlib.Path(folder) / "planted.conf"
            for section, key, value, said in faults:
                text, number = plant(lines, section, key, value)
                changed.write_text("".join(text))
                failed += check(definitions, changed, [(f"{changed}:{number}: {section}.{key}: ",
                                                        said)])
                planted += 1
    print(f"{files} files, {planted} faults planted, {failed} runs failed")
    if failed:
        return 1
    return 0 if files == len(FILES) else SKIPPED


if __name__ == "__main__":
    sys.exit(main())
