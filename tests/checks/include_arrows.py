#!/usr/bin/env python3
"""Fails when an #include crosses the architecture's arrows (drawn in docs/architecture.md).

usage: include_arrows.py ROOT
"""

import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)
LOGIC = ("app", "signalling", "peer", "capture", "input", "ui")


# What each place may include, besides itself and the ports (platform/*.h).
ARROWS = {
    "app": {"signalling", "peer", "capture", "input", "ui"},
    "peer": {"signalling", "input"},
    "signalling": set(),
    "capture": set(),
    "input": set(),
    "ui": set(),
    "platform": set(),
    # X key codes are evdev codes plus eight, so the key table is the kernel's.
    "platform/x11": {"platform/linux"},
    "companion/server": set(),
}
# The composition root alone names the adapters.
COMPOSITION_ROOT = "app/main.cpp"



def place_of(path: str) -> str:
    parts = path.split("/")
    if parts[0] in ("platform", "companion") and len(parts) > 2:
        return "/".join(parts[:2])
    return parts[0]


def is_standard(header: str) -> bool:
    return header == "nlohmann/json.hpp" or re.fullmatch(r"[a-z_]+", header) is not None


def broken_arrows(root: pathlib.Path):
    for path in sorted(root.glob("**/*")):
        name = path.relative_to(root).as_posix()
        if path.suffix not in (".h", ".cpp") or name.startswith(("build/", "tests/", "bench/")):
            continue
        place = place_of(name)
        if name == COMPOSITION_ROOT:
            continue
        for bracket, header in INCLUDE.findall(path.read_text(encoding="utf-8")):
            if bracket == "<":
                if (place in LOGIC or place == "platform") and not is_standard(header):
                    yield f"{name}: <{header}>: the logic knows the standard library and JSON alone"
                continue
            target = place_of(header)
            allowed = ARROWS.get(place, set()) | {place}
            allowed.add("platform")
            if target not in allowed:
                yield f"{name}: \"{header}\": no arrow from {place} to {target}"


def main() -> int:
    broken = list(broken_arrows(pathlib.Path(sys.argv[1])))
    for line in broken:
        print(line, file=sys.stderr)
    return 1 if broken else 0


if __name__ == "__main__":
    sys.exit(main())
