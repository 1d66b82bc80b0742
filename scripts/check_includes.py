#!/usr/bin/env python3
"""Checks who includes whom: every #include of this repository's sources against the table below.

A quoted or angled include is resolved against the including file's folder and the include directories of its
target. What resolves to a file of this repository must lie in a folder that the including folder may see; what
does not is the standard library, the C library of the system, or a third-party library that the folder may use.
"""
import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

# Folders of the repository that form one unit. The longest prefix wins.
UNITS = [
    "platform/", "include/", "thread_pool/", "common/", "utility/", "conference_channel/", "http_adapter/",
    "face_detect/", "platform_linux/include/", "platform_linux/", "simulator/include/", "simulator/", "terminal/",
    "examples/", "tests/consumer/", "tests/", "benchmarks/", "fuzz/", "scripts/",
]

# Third-party libraries by the first component of the include path.
THIRD_PARTY = {
    "cJSON": ["cJSON.h", "cjson/"], "boost": ["boost/"], "openssl": ["openssl/"], "spdlog": ["spdlog/"],
    "fmt": ["fmt/"], "curl": ["curl/"], "c-ares": ["ares.h", "ares_"], "json": ["nlohmann/"], "CLI11": ["CLI/"],
    "gtest": ["gtest/", "gmock/"], "valgrind": ["valgrind/"],
    "clang": ["clang/"],
}

STANDARD_C = """assert complex ctype errno fenv float inttypes limits locale math setjmp signal stdalign stdarg
    stdatomic stdbool stddef stdint stdio stdlib stdnoreturn string tgmath threads time uchar wchar wctype""".split()

ANY = "*"
LIBRARY = ["common/", "conference_channel/", "http_adapter/", "face_detect/", "utility/", "thread_pool/"]

# unit: (units it may include besides itself, third-party libraries, may it use the operating system's headers)
RULES = {
    "platform/": ([], [], False),
    "include/": (["platform/", "thread_pool/queue.h"], [], False),
    "thread_pool/": (["include/"], [], False),
    "common/": (["include/", "platform/"], ["cJSON"], False),
    "utility/": (["common/", "include/", "platform/"], ["cJSON"], False),
    "conference_channel/": (["include/", "common/", "platform/"], ["cJSON"], False),
    "http_adapter/": (["include/", "common/", "utility/", "thread_pool/", "platform/"], ["cJSON"], False),
    "face_detect/": (["include/", "common/", "utility/", "platform/"], [], False),
    "platform_linux/include/": (["platform/"], [], False),
    "platform_linux/": (["platform_linux/include/", "platform/"], ANY, True),
    "simulator/include/": ([], ["json"], False),
    "simulator/": (["simulator/include/"], ANY, True),
    "terminal/": (["include/", "platform_linux/include/"], ["CLI11", "json", "spdlog", "fmt"], True),
    "examples/": (["include/", "platform_linux/include/"], [], True),
    "tests/consumer/": (["include/", "platform_linux/include/", "simulator/include/"], [], False),
    "tests/": (ANY, ANY, True),
    "benchmarks/": (ANY, ANY, True),
    "fuzz/": (ANY, ANY, True),
    "scripts/": ([], ["clang"], False),
}

# System headers that a folder may use although it may not use the system: what the platform has no function for is
# sleeping, telling address texts from names, and the time of day in less than seconds.
SYSTEM_EXCEPTIONS = {"conference_channel/": ["unistd.h"], "utility/": ["arpa/inet.h", "sys/time.h"],
                     "face_detect/": ["arpa/inet.h"]}

# Include directories, as the targets have them.
INCLUDE_DIRS = ["", "include", "platform", "platform_linux/include", "platform_linux", "simulator/include",
                "simulator/src", "simulator", "terminal", "tests/support", "tests/integration", "tests"]

INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]')


def unit_of(path):
    matches = [unit for unit in UNITS if path.startswith(unit)]
    return max(matches, key=len) if matches else None


def resolve(including, name):
    """The repository's file that an include names, or None for a header from outside."""
    for folder in [os.path.dirname(including)] + INCLUDE_DIRS:
        candidate = os.path.normpath(os.path.join(folder, name))
        if not candidate.startswith("..") and os.path.isfile(os.path.join(ROOT, candidate)):
            return candidate
    return None


def third_party(name):
    for library, prefixes in THIRD_PARTY.items():
        if any(name == prefix or (prefix[-1] in "/_" and name.startswith(prefix)) for prefix in prefixes):
            return library
    return None


def is_standard(name):
    return "/" not in name and ("." not in name or name.removesuffix(".h") in STANDARD_C)


def complaint(path, quote, name):
    """Why this include must not stand, or None."""
    unit = unit_of(path)
    units, libraries, system = RULES[unit]
    target = resolve(path, name) if quote == '"' or not is_standard(name) else None
    if target is not None:
        other = unit_of(target)
        if quote == "<":
            return "headers of this repository are included with quotes"
        if other is None:
            return f"{target} belongs to no known folder"
        if units == ANY or other == unit or other in units or target in units:
            return None
        return f"{unit} may not include {other}"
    if quote == '"':
        return "no such file in this repository; headers from outside are included with angle brackets"
    if is_standard(name) or name in SYSTEM_EXCEPTIONS.get(unit, []):
        return None
    library = third_party(name)
    if library is not None:
        return None if libraries == ANY or library in libraries else f"{unit} may not use {library}"
    return None if system else f"{unit} may use neither unknown libraries nor the operating system"


def main():
    listing = subprocess.run([os.path.join(ROOT, "scripts/sources.sh"), "c++"], check=True, text=True,
                             stdout=subprocess.PIPE)
    errors = 0
    files = listing.stdout.split()
    for path in files:
        if unit_of(path) is None:
            print(f"{path}: lies in no known folder")
            errors += 1
            continue
        with open(os.path.join(ROOT, path), encoding="utf-8") as source:
            for number, line in enumerate(source, 1):
                match = INCLUDE.match(line)
                why = complaint(path, match[1], match[2]) if match else None
                if why:
                    print(f'{path}:{number}: include of {match[2]}: {why}')
                    errors += 1
    print(f"{len(files)} files, {errors} includes that must not stand")
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main())
