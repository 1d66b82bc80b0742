#!/usr/bin/env python3
"""draw_faces.py [DIRECTORY] - draws the people of the simulator's gallery, and the pictures to look them up with.

The faces come from the table below and belong to nobody. DIRECTORY is simulator/gallery unless another is named;
its gallery.json is written by hand. The pictures are part of the repository: this is run when the table changes,
not when the simulator is built. Needs ImageMagick 6 (Debian package imagemagick-6.q16); the same version of it
draws the same bytes every time.
"""
import os
import shutil
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
WIDTH, HEIGHT = 192, 224
MIDDLE = WIDTH // 2

# Who: the wall (upper and lower colour), clothes, skin, hair colour and cut, half width and half height of the
# head, eyes, lips, and what else there is to see. "second" is what another picture of the same person changes.
PEOPLE = {
    "ana.torres": {
        "wall": ("#e9f1f7", "#b9cfe0"), "clothes": ("#a8263f", 74), "skin": "#d9a27c", "hair": ("#2b1a12", "long"),
        "head": (42, 55), "eyes": ("#5a3a1e", 20, 6), "lips": ("#a33b3f", 16, 9, 4), "extra": ["earrings"],
        "second": {"wall": ("#dfe6d8", "#a9b89c"), "clothes": ("#2f5d50", 74), "lips": ("#a33b3f", 18, 13, 4)}},
    "ben.okafor": {
        "wall": ("#f6d9a8", "#c98f4a"), "clothes": ("#f2f2ee", 88), "skin": "#5b3a26", "hair": ("#120d0a", "short"),
        "head": (45, 56), "eyes": ("#2a1a10", 21, 5), "lips": ("#7a3b35", 18, 5, 6), "extra": ["beard"]},
    "chloe.martin": {
        "wall": ("#3b2f4f", "#1f1830"), "clothes": ("#e0b73c", 70), "skin": "#f3d6c2", "hair": ("#c9792e", "bob"),
        "head": (40, 52), "eyes": ("#3d7a52", 19, 7), "lips": ("#c2485a", 13, 6, 5), "extra": ["freckles"],
        "second": {"wall": ("#56456e", "#2b2244"), "clothes": ("#7fb0c9", 70), "lips": ("#c2485a", 14, 11, 5)}},
    "lin.wei": {
        "wall": ("#9fb7a4", "#5d7a66"), "clothes": ("#1d2a44", 84), "skin": "#eec39a", "hair": ("#16130f", "parted"),
        "head": (44, 54), "eyes": ("#22160d", 21, 5), "lips": ("#b0605a", 15, 4, 4), "extra": ["glasses"]},
    "maya.patel": {
        "wall": ("#7a1f2b", "#3f0d16"), "clothes": ("#1f8a8a", 72), "skin": "#b77b50", "hair": ("#0d0a0c", "bun"),
        "head": (39, 53), "eyes": ("#2b1a10", 19, 7), "lips": ("#8e2f3c", 15, 8, 5), "extra": ["mark"]},
    "omar.haddad": {
        "wall": ("#fbfbfb", "#e2e2e2"), "clothes": ("#3a3a3e", 92), "skin": "#c9956b", "hair": ("#3a3532", "bald"),
        "head": (47, 57), "eyes": ("#4a3a24", 22, 5), "lips": ("#94524a", 17, 3, 5), "extra": ["moustache"]},
    "tom.keller": {
        "wall": ("#10202c", "#2f5268"), "clothes": ("#7d8f3c", 86), "skin": "#f0c8b0", "hair": ("#e6c976", "short"),
        "head": (43, 58), "eyes": ("#3f6fa8", 21, 6), "lips": ("#b5655f", 16, 7, 4), "extra": []},
    "zoe.adams": {
        "wall": ("#f3c6d3", "#d98aa3"), "clothes": ("#4b2a7b", 68), "skin": "#8a5a3c", "hair": ("#1c1210", "afro"),
        "head": (40, 52), "eyes": ("#2a1810", 19, 7), "lips": ("#b0405c", 15, 9, 6), "extra": ["earrings"],
        "second": {"wall": ("#f0dca0", "#cfae52"), "clothes": ("#b5302a", 68), "lips": ("#b0405c", 13, 4, 6)}},
    # Whom nobody knows.
    "stranger": {
        "wall": ("#2f8f4e", "#b6e0a0"), "clothes": ("#e86a1c", 60), "skin": "#e6b08c", "hair": ("#8d8d92", "fringe"),
        "head": (50, 48), "eyes": ("#6a6a70", 24, 6), "lips": ("#9a4a44", 20, -6, 4), "extra": ["hat"]},
}
JPEG = {"chloe.martin", "omar.haddad", "zoe.adams"}


def fill(colour):
    return f"stroke none fill {colour}"


def line(colour, width):
    return f"fill none stroke {colour} stroke-width {width} stroke-linecap round"


def ellipse(x, y, half_width, half_height):
    return f"ellipse {x},{y} {half_width},{half_height} 0,360"


def both_sides(distance, make):
    return [make(MIDDLE - distance), make(MIDDLE + distance)]


def hair_behind(cut, colour, width, height):
    shapes = {
        "long": f"roundrectangle {MIDDLE - width - 14},{96 - height},{MIDDLE + width + 14},204 46,46",
        "bob": f"roundrectangle {MIDDLE - width - 16},{96 - height},{MIDDLE + width + 16},150 50,44",
        "bun": f"{ellipse(MIDDLE, 96 - height - 8, 24, 22)} {ellipse(MIDDLE, 88, width + 6, height)}",
        "afro": ellipse(MIDDLE, 80, width + 34, height + 18),
    }
    return [fill(colour), shapes[cut]] if cut in shapes else []


def hair_above(cut, colour, width, height):
    top, left, right = 98 - height, MIDDLE - width, MIDDLE + width
    cap = f"path 'M {left - 2},92 Q {left - 6},{top - 12} {MIDDLE},{top - 12} Q {right + 6},{top - 12} {right + 2},92"
    shapes = {
        "long": f"{cap} Q {right - 10},{top + 16} {MIDDLE + 6},{top + 14} Q {left + 8},{top + 18} {left - 2},92 Z'",
        "bob": f"{cap} L {right - 6},78 L {left + 6},78 Z'",
        "bun": f"{cap} Q {MIDDLE + 20},{top + 10} {MIDDLE},{top + 8} Q {MIDDLE - 20},{top + 10} {left - 2},92 Z'",
        "afro": f"{cap} Q {MIDDLE},{top + 20} {left - 2},92 Z'",
        "short": f"{cap} Q {right - 8},{top + 22} {MIDDLE},{top + 20} Q {left + 8},{top + 22} {left - 2},92 Z'",
        "parted": f"{cap} Q {right - 4},{top + 24} {MIDDLE - 16},{top + 8} Q {left + 8},{top + 30} {left - 2},92 Z'",
        "fringe": f"{cap} L {right - 4},86 L {left + 4},86 Z'",
    }
    return [fill(colour), shapes[cut]] if cut in shapes else []


def extras(names, colour, width, height):
    bottom = 100 + height
    drawn = {
        "earrings": [fill("#e8d27a")] + both_sides(width + 4, lambda x: ellipse(x, 126, 4, 8)),
        "beard": [fill(colour), f"path 'M {MIDDLE - width},104 Q {MIDDLE - width},{bottom + 6} {MIDDLE},{bottom + 6} "
                  f"Q {MIDDLE + width},{bottom + 6} {MIDDLE + width},104 Q {MIDDLE + 28},122 {MIDDLE},122 "
                  f"Q {MIDDLE - 28},122 {MIDDLE - width},104 Z'"],
        "freckles": [fill("#c98a6a")] + [ellipse(MIDDLE + x, y, 2, 2) for x, y in
                                         ((-26, 112), (-20, 117), (-14, 111), (14, 112), (20, 117), (27, 111))],
        "glasses": [line("#20242c", 4)] + both_sides(22, lambda x: ellipse(x, 94, 17, 14)) +
                   [f"line {MIDDLE - 6},92 {MIDDLE + 6},92"],
        "mark": [fill("#a01020"), ellipse(MIDDLE, 74, 4, 4)],
        "moustache": [fill(colour), f"path 'M {MIDDLE},118 Q {MIDDLE - 26},116 {MIDDLE - 30},130 "
                      f"Q {MIDDLE},122 {MIDDLE + 30},130 Q {MIDDLE + 26},116 {MIDDLE},118 Z'"],
        "hat": [fill("#3b2a6a"), f"rectangle {MIDDLE - 46},10,{MIDDLE + 46},58", ellipse(MIDDLE, 60, 78, 10)],
    }
    return [piece for name in names for piece in drawn[name]]


def drawing(face):
    """The whole face in ImageMagick's drawing language."""
    width, height = face["head"]
    hair, cut = face["hair"]
    clothes, shoulders = face["clothes"]
    iris, distance, size = face["eyes"]
    lips, half_mouth, smile, thickness = face["lips"]
    parts = hair_behind(cut, hair, width, height)
    parts += [fill(clothes), f"path 'M {MIDDLE - shoulders},224 Q {MIDDLE - shoulders},180 {MIDDLE},170 "
              f"Q {MIDDLE + shoulders},180 {MIDDLE + shoulders},224 Z'"]
    parts += [fill(face["skin"]), f"rectangle {MIDDLE - 16},140,{MIDDLE + 16},182", ellipse(MIDDLE, 182, 22, 12)]
    parts += both_sides(width, lambda x: ellipse(x, 102, 8, 14)) + [ellipse(MIDDLE, 100, width, height)]
    parts += extras([name for name in face["extra"] if name == "beard"], hair, width, height)
    parts += hair_above(cut, hair, width, height)
    parts += [fill("white")] + both_sides(distance, lambda x: ellipse(x, 94, size + 5, size))
    parts += [fill(iris)] + both_sides(distance, lambda x: ellipse(x, 94, size, size))
    parts += [fill("black")] + both_sides(distance, lambda x: ellipse(x, 94, size // 2, size // 2))
    parts += [line(hair if cut != "bald" else "#4a3a30", 4)]
    parts += both_sides(distance, lambda x: f"line {x - 11},80 {x + 11},80")
    parts += [line("#00000050", 3), f"path 'M {MIDDLE + 2},98 L {MIDDLE - 6},118 L {MIDDLE + 4},118'"]
    parts += extras([name for name in face["extra"] if name != "beard"], hair, width, height)
    parts += [line(lips, thickness), f"path 'M {MIDDLE - half_mouth},132 Q {MIDDLE},{132 + 2 * smile} "
              f"{MIDDLE + half_mouth},132'"]
    return " ".join(parts)


def run(magick, arguments, target):
    os.makedirs(os.path.dirname(target), exist_ok=True)
    subprocess.run([magick] + arguments + ["-strip", "-define", "png:compression-level=9", target], check=True)


def draw(magick, face, target):
    upper, lower = face["wall"]
    run(magick, ["-size", f"{WIDTH}x{HEIGHT}", f"gradient:{upper}-{lower}", "-draw", drawing(face), "-blur", "0x0.7",
                 "-depth", "8", "-quality", "85"], target)


def main():
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.join(ROOT, "simulator", "gallery")
    magick = shutil.which("convert-im6.q16") or shutil.which("convert-im6")
    if magick is None:
        sys.exit("draw_faces: needs ImageMagick 6: apt-get install --no-install-recommends imagemagick-6.q16")
    for name, face in PEOPLE.items():
        probe = os.path.join(folder, "probes", name + ".jpg")
        if name == "stranger":
            draw(magick, face, probe)
            continue
        first = os.path.join(folder, f"{name}-1.{'jpg' if name in JPEG else 'png'}")
        draw(magick, face, first)
        if "second" in face:
            draw(magick, {**face, **face["second"]}, os.path.join(folder, f"{name}-2.jpg"))
        # What a camera makes of it: another size, a little more light, compressed harder.
        run(magick, [first, "-resize", "160%", "-modulate", "104", "-quality", "60"], probe)


if __name__ == "__main__":
    main()
