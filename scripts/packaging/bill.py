#!/usr/bin/python3
"""Writes the bill of materials of a build, in CycloneDX: what its files are linked with, which packages' headers are
compiled into them, and what the page of the report embeds. Only what the build really used is in it.

    bill.py NAME VERSION BUILD PAGE LOCK FILE... >OUT
"""
import base64
import hashlib
import json
import os
import re
import subprocess
import sys
from datetime import datetime, timezone
from pathlib import Path

GCC = "GPL-3.0-or-later WITH GCC-exception-3.1"
LICENCES = {  # by the beginning of a Debian package's name
    "libc6": "LGPL-2.1-or-later", "libcli11-dev": "BSD-3-Clause", "libeigen3-dev": "MPL-2.0", "libfmt": "MIT",
    "libgcc": GCC, "libstdc++": GCC, "libnettle": "LGPL-3.0-or-later OR GPL-2.0-or-later",
    "nettle-dev": "LGPL-3.0-or-later OR GPL-2.0-or-later", "libzip": "BSD-3-Clause", "zlib1g": "Zlib",
    "linux-libc-dev": "GPL-2.0-only WITH Linux-syscall-note", "nlohmann-json3-dev": "MIT",
}


def said(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def packages_of(paths):
    """Debian's name of the package of each path; nothing of paths that belong to none."""
    paths = {os.path.realpath(path) for path in paths}
    alternatives = {path.removeprefix("/usr") for path in paths if path.startswith("/usr/lib")}
    found = subprocess.run(["dpkg-query", "-S", *sorted(paths | alternatives)], capture_output=True, text=True)
    return {line.split(": ")[0].split(",")[0].split(":")[0] for line in found.stdout.splitlines() if ": " in line}


def component(package, use):
    version, architecture = said("dpkg-query", "-W", "-f", "${Version} ${Architecture}\n", package).splitlines()[0].split()
    licence = next((LICENCES[key] for key in sorted(LICENCES, reverse=True) if package.startswith(key)), None)
    if licence is None:  # an installation goes on; the check of packages does not
        print(f"bill.py: say in LICENCES under which licence {package} is", file=sys.stderr)
    purl = f"pkg:deb/debian/{package}@{version.replace('+', '%2B')}?arch={architecture}"
    return {"type": "library", "bom-ref": purl, "name": package, "version": version, "purl": purl,
            **({"licenses": [{"expression": licence}]} if licence else {}), "properties": [{"name": "use", "value": use}]}


def linked(files):
    for file in files:
        places = dict(re.findall(r"(\S+) => (/\S+)", said("ldd", file)))
        for name in re.findall(r"NEEDED.*\[(.*)\]", said("readelf", "-dW", file)):
            if name in places and not name.startswith("libqv6d"):
                yield name, places[name]


def compiled(build):
    """Packages whose headers the compiler read for what is installed."""
    headers = set()
    for block in said("ninja", "-C", build, "-t", "deps").split("\n\n"):
        if re.match(r"(qv6d|service|src)/", block):
            headers |= set(re.findall(r"^    (/usr/\S+)$", block, re.MULTILINE))
    return packages_of(headers)


def embedded(page, lock):
    """The chart library of the page, with the digest by which the page's policy lets it run."""
    scripts = re.findall(r"<script>(.*?)</script>", Path(page).read_text(encoding="utf-8"), re.DOTALL)
    for path, package in json.loads(Path(lock).read_text(encoding="utf-8"))["packages"].items():
        if not path:
            continue
        name = path.removeprefix("node_modules/")
        digest = base64.b64decode(package["integrity"].removeprefix("sha512-")).hex()
        purl = f"pkg:npm/{name}@{package['version']}"
        script = max(scripts, key=len)
        yield {"type": "library", "bom-ref": purl, "name": name, "version": package["version"], "purl": purl,
               "licenses": [{"expression": package["license"]}],
               "hashes": [{"alg": "SHA-512", "content": digest},
                          {"alg": "SHA-256", "content": hashlib.sha256(script.encode()).hexdigest()}],
               "properties": [{"name": "use", "value": "embedded in the page of --report"},
                              {"name": "SHA-256 of", "value": "the script element in the page"}]}


def main(name, version, build, page, lock, *files):
    components = []
    for soname, place in sorted(set(linked(files))):
        for package in packages_of([place]):
            components.append(component(package, f"linked: {soname}"))
    known = {c["name"] for c in components}
    components += [component(package, "headers compiled in") for package in sorted(compiled(build) - known)]
    if Path(page).exists():
        components += embedded(page, lock)
    merged = {}
    for c in components:  # a package may be linked by several of its files
        merged.setdefault(c["bom-ref"], {**c, "properties": []})["properties"] += c["properties"]
    seconds = int(os.environ.get("SOURCE_DATE_EPOCH", "0"))
    stamp = {"timestamp": datetime.fromtimestamp(seconds, timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")} if seconds else {}
    json.dump({"bomFormat": "CycloneDX", "specVersion": "1.5", "version": 1,
               "metadata": {**stamp, "component": {"type": "library", "bom-ref": name, "name": name, "version": version,
                                                   "licenses": [{"expression": "Apache-2.0"}]}},
               "components": list(merged.values())}, sys.stdout, indent=1)
    print()


main(*sys.argv[1:])
