#!/usr/bin/env python3
"""check_tidy.py BUILD-DIR [PREFIX...] - clang-tidy over every source of this repository in the build directory's
compile_commands.json, or over those whose path begins with one of the prefixes.

The checks skip the system headers' declarations by a plugin (scripts/tidy/own_code.cpp), which makes them three to
five times faster; where the headers that it is built with are missing, they go without it. Runs one process per
processor, the largest sources first. A source that passed is not looked at again until it, one of the repository's
headers that it includes, its compile command, the configuration or clang-tidy change; the results are kept in
BUILD-DIR/tidy.
"""
import concurrent.futures
import hashlib
import json
import os
import shlex
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
TIDY = "clang-tidy-14"
PLUGIN_SOURCE = os.path.join(ROOT, "scripts", "tidy", "own_code.cpp")
CLANG_HEADERS = "/usr/lib/llvm-14/include"
# One finding in a source and one in a header of its own, each inside a namespace.
PROBE_HEADER = "namespace probe { struct Probe { Probe(int value); }; }\n"
PROBE_SOURCE = """#include <vector>
#include "probe.h"
namespace probe { bool Empty(const std::vector<int>& numbers) { return numbers.size() == 0; } }
"""


def load_commands(build_dir, prefixes):
    with open(os.path.join(build_dir, "compile_commands.json"), encoding="utf-8") as file:
        entries = json.load(file)
    commands = {}
    for entry in entries:
        path = os.path.realpath(os.path.join(entry["directory"], entry["file"]))
        inside = os.path.relpath(path, ROOT)
        if inside.startswith(("..", "build" + os.sep)) or (prefixes and not any(inside.startswith(p) for p in prefixes)):
            continue
        commands.setdefault(inside, entry)
    return commands


def arguments_of(entry):
    """The compile command without compiler launcher and output file."""
    words = entry.get("arguments") or shlex.split(entry["command"])
    while words and "ccache" in os.path.basename(words[0]):
        words = words[1:]
    result, skip = [], False
    for word in words:
        if skip:
            skip = False
        elif word == "-o":
            skip = True
        elif word != "-c":
            result.append(word)
    return result


def own_headers(entry, arguments):
    """The files of this repository that the source includes, itself among them."""
    answer = subprocess.run(arguments + ["-MM", "-MT", "x"], cwd=entry["directory"], text=True, check=False,
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    if answer.returncode != 0:
        return None
    names = answer.stdout.replace("\\\n", " ").split()[1:]
    paths = {os.path.realpath(os.path.join(entry["directory"], name)) for name in names}
    return sorted(path for path in paths if path.startswith(ROOT + os.sep))


def configurations(path):
    """The .clang-tidy files that apply to a source."""
    folder = os.path.dirname(os.path.join(ROOT, path))
    while folder.startswith(ROOT):
        candidate = os.path.join(folder, ".clang-tidy")
        if os.path.exists(candidate):
            yield candidate
        folder = os.path.dirname(folder)


def key_of(path, entry, version):
    arguments = arguments_of(entry)
    headers = own_headers(entry, arguments)
    if headers is None:
        return None
    digest = hashlib.sha256(version + "\0".join(arguments).encode())
    for name in headers + list(configurations(path)):
        with open(name, "rb") as file:
            digest.update(hashlib.sha256(file.read()).digest())
    return digest.hexdigest()


def build_plugin(folder):
    """Returns clang-tidy's arguments that load the plugin; none when it cannot be built."""
    if not os.path.exists(os.path.join(CLANG_HEADERS, "clang", "Frontend", "FrontendPluginRegistry.h")):
        print("check_tidy: libclang-14-dev is missing, so the checks walk the system headers, too")
        return []
    plugin = os.path.join(folder, "own_code.so")
    if not os.path.exists(plugin) or os.path.getmtime(plugin) < os.path.getmtime(PLUGIN_SOURCE):
        subprocess.run(["clang++-14", "-std=c++17", "-O1", "-shared", "-fPIC", "-fno-rtti", "-isystem", CLANG_HEADERS,
                        PLUGIN_SOURCE, "-o", plugin], check=True)
    return ["-load", plugin]


def findings_come_through(plugin):
    with tempfile.TemporaryDirectory() as folder:
        source = os.path.join(folder, "probe.cpp")
        for name, text in ((source, PROBE_SOURCE), (os.path.join(folder, "probe.h"), PROBE_HEADER)):
            with open(name, "w", encoding="utf-8") as file:
                file.write(text)
        checks = "-*,google-explicit-constructor,readability-container-size-empty"
        answer = subprocess.run([TIDY, *plugin, f"-checks={checks}", "-header-filter=probe", source, "--"], text=True,
                                check=False, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    return all(f"[{name}" in answer.stdout for name in checks.split(",")[1:])


def check(build_dir, path, entry, version, plugin):
    """Returns (path, passed, seconds, output, cached)."""
    start = time.monotonic()
    key = key_of(path, entry, version)
    mark = os.path.join(build_dir, "tidy", key) if key else None
    if mark and os.path.exists(mark):
        return path, True, time.monotonic() - start, "", True
    answer = subprocess.run([TIDY, *plugin, "-p", build_dir, "--quiet", os.path.join(ROOT, path)], text=True,
                            check=False, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    passed = answer.returncode == 0
    output = answer.stdout if answer.stdout.strip() or passed else answer.stderr
    if passed and mark:
        with open(mark, "w", encoding="utf-8") as file:
            file.write(path + "\n")
    return path, passed, time.monotonic() - start, output, False


def main():
    if len(sys.argv) < 2:
        print(__doc__, file=sys.stderr)
        return 2
    build_dir = os.path.abspath(sys.argv[1])
    commands = load_commands(build_dir, sys.argv[2:])
    if not commands:
        print("check_tidy: no source to check", file=sys.stderr)
        return 2
    os.makedirs(os.path.join(build_dir, "tidy"), exist_ok=True)
    version = subprocess.run([TIDY, "--version"], stdout=subprocess.PIPE, check=True).stdout
    plugin = build_plugin(os.path.join(build_dir, "tidy"))
    if not findings_come_through(plugin):
        print("check_tidy: clang-tidy finds nothing where there is something to find", file=sys.stderr)
        return 2
    order = sorted(commands, key=lambda path: -os.path.getsize(os.path.join(ROOT, path)))
    failed, cached, times = [], 0, []
    with concurrent.futures.ThreadPoolExecutor(int(os.environ.get("JOBS", os.cpu_count() or 1))) as pool:
        jobs = [pool.submit(check, build_dir, path, commands[path], version, plugin) for path in order]
        for job in concurrent.futures.as_completed(jobs):
            path, passed, seconds, output, from_cache = job.result()
            cached += from_cache
            times.append((seconds, path))
            if not passed:
                failed.append(path)
                print(output.strip() or f"{path}: clang-tidy failed without a word", flush=True)
    slowest = ", ".join(f"{path} {seconds:.0f} s" for seconds, path in sorted(times)[:-4:-1])
    print(f"check_tidy: {len(order)} sources, {cached} unchanged, {len(failed)} failed; slowest: {slowest}")
    for path in sorted(failed):
        print(f"check_tidy: failed: {path}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
