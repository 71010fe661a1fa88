#!/usr/bin/env python3
"""Reads the inner loops of the NEON variants with llvm-mca.

    read_loops.py ARMV7 AARCH64    build folders of release builds

Prints a table of Markdown: cycles per pixel of Cortex-A9 for the first folder's code and of
Cortex-A53 for the second's, as LLVM has no model of the latter for 32-bit code. "At least" is the
block throughput, which the busiest unit limits; "simulated" waits for results too. Needs llvm and
both binutils.
"""

import re
import subprocess
import sys
from pathlib import Path

TURNS = 200
# Loop, file, function, what only the loop meant contains, pixels of a turn.
LOOPS = [
    ("BGR to gray", "channel", "BgrToGray", "", 64),
    ("gray to BGR", "channel", "GrayToBgr", "", 64),
    ("BGR to RGB", "channel", "BgrToRgb", "", 64),
    ("split BGR", "channel", "DeinterleaveBgr", "", 64),
    ("join BGR", "channel", "InterleaveBgr", "", 64),
    ("split UV", "channel", "DeinterleaveUv", "", 64),
    ("join UV", "channel", "InterleaveUv", "", 64),
    ("I420 to BGR", "yuv_to_bgr", "Yuv420pToBgr", "", 64),
    ("4:4:4 to BGR", "yuv_to_bgr", "Yuv444pToBgr", "", 16),
    ("NV12 to BGR", "yuv_to_bgr", "Nv12ToBgr", "", 64),
    ("BGR to I420", "bgr_to_yuv", "BgrToYuv420p", "", 64),
    ("BGR to NV12", "bgr_to_yuv", "BgrToNv12", "", 64),
    ("BGR to 4:4:4", "bgr_to_yuv", "BgrToYuv444p", "", 16),
    ("byte to float", "float", "Uint8ToFloat32", "", 32),
    ("float to byte", "float", "Float32ToUint8", "", 32),
    ("add to float", "float", "AddValue", "", 32),
    ("multiply float", "float", "MultiplyValue", "", 32),
    ("half to float", "float", "Float16ToFloat32", "", 32),
    ("float to half", "float", "Float32ToFloat16", "max", 64),
    ("transpose 1 B", "transform", r"transposeTiles<.*Tile<1u", "zip|trn", 128),
    ("transpose 2 B", "transform", r"transposeTiles<.*Tile<2u", "zip|trn", 64),
    ("transpose 3 B", "transform", r"(forBlocks<0u, 8u, 3u|transposeTiles<.*Tile<3u)", "st3", 64),
    ("transpose 4 B", "transform", r"transposeTiles<.*Tile<4u", "zip|trn", 16),
    ("reverse 1 B", "transform", r"transform<1u.*reverseRows<.*Block<1u", "rev64", 32),
    ("reverse 2 B", "transform", r"transform<2u.*reverseRows<.*Block<2u", "rev64", 16),
    ("reverse 3 B", "transform", r"transform<3u.*reverseRows<.*Block<3u", "rev64", 8),
    ("reverse 4 B", "transform", r"transform<4u.*reverseRows<.*Block<4u", "rev64", 8),
    ("nearest: 16-byte windows", "resizer_nearest", r"gather<16u", "tbl", 64),
    ("nearest: 64-byte windows", "resizer_nearest", r"gather<64u", "tbl", 64),
    ("nearest: half", "resizer_nearest", r"halve<1u", "", 64),
    ("bilinear: look-ups", "resizer_byte_bilinear", "gatherRow", "tbl", 16),
    ("bilinear: between rows", "resizer_byte_bilinear", "blendRows", "", 32),
    ("bilinear: pairs, gray", "resizer_byte_bilinear", r"fetchBlend<1u", "", 8),
    ("bilinear: pairs, BGR", "resizer_byte_bilinear", r"fetchBlend<3u", "", 8),
    ("bilinear and area: half, gray", "resizer_ratios", r"halve<1u", "", 64),
    ("bilinear and area: half, BGR", "resizer_ratios", r"halve<3u", "", 32),
    ("bilinear: 2/3, gray", "resizer_ratios", r"scaleByTwoThirds<1u", "", 32),
    ("bilinear: double, gray", "resizer_ratios", r"doubleRows<1u", "", 64),
    ("bilinear: double, BGR", "resizer_ratios", r"doubleRows<3u", "", 32),
    ("area: 1/3, gray", "resizer_ratios", r"averageThirds<1u", "", 8),
    ("area: running sums", "resizer_byte_area", "sumRows<.*RunningSums", "st4", 32),
    ("area: columns, gray", "resizer_byte_area", "weighRunningSums", "uzp", 8),
    ("area: whole rows", "resizer_byte_area", "sumRows<.*PlainSums", r"addw|uaddw", 32),
    ("bicubic: look-ups", "resizer_byte_bicubic", r"sum<16u", "", 16),
    ("bicubic: between rows", "resizer_byte_bicubic", "blend", "", 16),
    ("float: row of gray", "bilinear_rows", "interpolate<float>", "uzp", 4),
    ("float: row of BGR", "bilinear_rows", "interpolate<float>", "ext", 1),
    ("float: between rows", "bilinear_rows", "blend<float>", "", 16),
    ("float: half, gray", "bilinear_rows", "halveGray", "", 16),
    ("warp: positions, nearest", "warp_steps", "LocateNearest", "", 16),
    ("warp: positions, bilinear", "warp_steps", "LocateBilinear", "", 8),
    ("warp: blend gray", "warp_steps", r"blend<1u", "", 8),
    ("warp: blend BGR", "warp_steps", r"blend<3u", "", 8),
]

BRANCH = re.compile(r"^(?:b|cb|tb)[a-z.]*\s+(?:[^<]*,\s*)?([0-9a-f]+) <")
LEAVES = re.compile(r"(?:ret|blx?|bx|v?pop)\b")
ARM_VECTOR = re.compile(r"^v")
A64_VECTOR = re.compile(r"\b(?:v\d+\.|[qds]\d+\b)")


class Processor:
    def __init__(self, folder, prefix, triple, cpu, head, vector):
        self.objects = Path(folder) / "src/CMakeFiles/tavo_cv_objects.dir/simd/neon"
        self.objdump = prefix + "objdump"
        self.mca = ["llvm-mca", f"-mtriple={triple}", f"-mcpu={cpu}", f"-iterations={TURNS}"]
        self.head = head
        self.vector = vector


def functions(processor, family):
    """Names and instructions, with their addresses."""
    path = processor.objects / f"simd_{family}.cpp.o"
    text = subprocess.run([processor.objdump, "-dC", "--no-show-raw-insn", path], check=True,
                          capture_output=True, text=True).stdout
    for part in re.split(r"\n(?=[0-9a-f]+ <)", text):
        name = re.match(r"[0-9a-f]+ <(.*)>:", part)
        if name:
            yield name[1], re.findall(r"^ +([0-9a-f]+):\s+(.*)$", part, re.MULTILINE)


def without_rare(code):
    """A loop without the calls that branches lead around."""
    index = {address: i for i, (address, _) in enumerate(code)}
    common, i = [], 0
    while i < len(code):
        common.append(code[i])
        branch = BRANCH.match(code[i][1])
        after = index.get(branch[1], 0) if branch else 0
        calls = any(re.match(r"bl\b", text) for _, text in code[i + 1 : after])
        i = after if calls else i + 1
    return common


def inner_loops(code):
    """Straight loops: there is no branch but the last, and those around rare calls."""
    index = {address: i for i, (address, _) in enumerate(code)}
    for end, (_, text) in enumerate(code):
        target = BRANCH.match(text)
        start = index.get(target[1], end + 1) if target else end + 1
        whole = code[start : end + 1]
        common = without_rare(whole)
        around = len(common) < len(whole)
        loop = [text for _, text in common]
        branches = sum(1 for text in loop[:-1] if BRANCH.match(text))
        if loop and branches == int(around) and not any(map(LEAVES.match, loop[:-1])):
            yield loop


def plain(text):
    """An instruction as llvm-mca wants it; what the model lacks is left out or replaced."""
    text = re.sub(r"\s*(?:@|//|;).*", "", text)
    text = re.sub(r"[0-9a-f]+ <.*", "loop", text)
    text = re.sub(r"#(42949\d{5})", lambda match: f"#{int(match[1]) - 2**32}", text)
    text = re.sub(r"^(mul|ldr[bh]?|str[bh]?)\.w", r"\1", text)
    text = re.sub(r"^(vceq.*), #0$", r"\1, q15", text)
    loads = re.match(r"vldmia\s+(\w+)!?, \{d(\d+)-d(\d+)\}", text)
    if loads:
        registers = range(int(loads[2]), int(loads[3]) + 1)
        return "\n".join(f"vldr d{i}, [{loads[1]}]" for i in registers)
    return "" if re.match(r"it[te]*\s", text) else text


def read(processor, family, function, marker):
    """Instructions, block throughput, cycles and stack accesses of a turn; None if it calls."""
    best = None
    for name, code in functions(processor, family):
        # 64-bit names say "ul" for sizes, and only the function's own name counts.
        if not re.search(r"(?:^|\W)" + function, re.sub(r"(\d)ul", r"\1u", name)):
            continue
        for loop in inner_loops(code):
            weight = sum(1 for text in loop if processor.vector.search(text))
            meant = weight * 3 > len(loop) and re.search(marker, "\n".join(loop))
            if not meant or (best and weight <= best[0]):
                continue
            lines = [processor.head, "loop:", *map(plain, loop), ""]
            text = subprocess.run(processor.mca, input="\n".join(lines), check=True,
                                  capture_output=True, text=True).stdout
            least = float(re.search(r"RThroughput: +(\S+)", text)[1])
            cycles = int(re.search(r"Total Cycles: +(\d+)", text)[1])
            stack = sum(1 for line in loop if "[sp" in line or re.match(r"vldmia\s+sp", line))
            best = weight, len(loop), least, cycles / TURNS, stack
    return best and best[1:]


def main():
    processors = [
        Processor(sys.argv[1], "arm-linux-gnueabihf-", "thumbv7-linux-gnueabihf", "cortex-a9",
                  ".fpu neon\n.syntax unified", ARM_VECTOR),
        Processor(sys.argv[2], "aarch64-linux-gnu-", "aarch64-linux-gnu", "cortex-a53", "",
                  A64_VECTOR),
    ]
    print("| loop | A9: instructions | at least | simulated | stack | A53: instructions | at least"
          " | simulated | stack |")
    print("| --- |" + " ---: |" * 8)
    for label, family, function, marker, pixels in LOOPS:
        cells = [label]
        for processor in processors:
            turn = read(processor, family, function, marker)
            if turn is None:
                cells += ["-"] * 4
            else:
                cells += [f"{amount / pixels:.2f}" for amount in turn[:-1]] + [str(turn[-1])]
        print("| " + " | ".join(cells) + " |")


if __name__ == "__main__":
    main()
