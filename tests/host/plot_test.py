# kavmath --plot end to end: the sampled values are kavmath's own answers (by
# bits), the SVG is well-formed and renders to a non-blank image of its size,
# the terminal plot has its extremes in the right cells, and bad requests
# fail cleanly, writing nothing.
# Usage: plot_test.py RSVG-CONVERT KAVMATH-COMMAND...
import csv as csv_module, os, re, struct, subprocess, sys, tempfile, xml.etree.ElementTree as ET, zlib

RSVG, KAV = sys.argv[1], sys.argv[2:]
tmp = tempfile.mkdtemp()
failures = []


def kavmath(*args, env=None, stdin=None):
    return subprocess.run(KAV + list(args), capture_output=True, text=True, input=stdin,
                          env=dict(os.environ, **(env or {})))


def check(ok, what):
    if not ok:
        failures.append(what)


def elements(printed):  # a printed value's elements: bits of floats, ints as written
    value = printed.split(" raises ")[0]
    inner = re.fullmatch(r"\w+\((.*)\)", value)
    return [re.sub(r".*\[(0x[0-9a-f]+)\]", r"\1", e) for e in (inner.group(1) if inner else value).split(", ")]


def same_as_calls(exprs, x_range):
    csv = os.path.join(tmp, "points.csv")
    r = kavmath("--plot", *exprs, "--x", x_range, "--samples", "9", "--csv", csv)
    check(r.returncode == 0, f"--csv {exprs}: {r.stderr}")
    rows = list(csv_module.reader(open(csv)))[1:]
    cells = [c for row in rows for c in row[1:-1]]
    values = iter(kavmath("--bits", "-", stdin="\n".join(cells) + "\n").stdout.splitlines())
    plotted = [[elements(next(values))[0] for _ in row[1:-1]] for row in rows]
    answers = [[] for _ in rows]
    for e in exprs:  # as the plot runs them: setup once, then x by x
        *setup, expr = e.split("; ")
        script = "".join(f"{line}\n" for line in setup) + "".join(f"x = {row[0]}\n{expr}\n" for row in rows)
        printed = kavmath("--bits", "-", stdin=script).stdout.splitlines()[len(setup):]
        for i, row in enumerate(rows):
            answers[i] += elements(printed[2 * i + 1])
            check(" raises " not in printed[2 * i + 1] or printed[2 * i + 1].split(" raises ", 1)[1] in row[-1],
                  f"{printed[2 * i + 1]}: not noted in {row[-1]}")
    for row, got, want in zip(rows, plotted, answers):
        check(got == want, f"{exprs} at x = {row[0]}: plotted {got}, called {want}")


same_as_calls(["asin(x)", "sin(ivec2(x, 45000))"], "-1200:1200")
same_as_calls(["smoothstep(0.0f, 1.0f, x)", "fract(x)", "rand_seed(3); rand(x, 2.0f)"], "-0.5f:1.5f")

# The SVG of the example: well-formed, and rendered at its size.
svg, png = os.path.join(tmp, "sin.svg"), os.path.join(tmp, "sin.png")
r = kavmath("--plot", "sin(x)", "--x", "0:360000", "--svg", svg, "--size", "320x200")
root = ET.parse(svg).getroot()
check((root.get("width"), root.get("height")) == ("320", "200"), f"svg size {root.attrib}")
check(subprocess.run([RSVG, svg, "-o", png]).returncode == 0, "rsvg-convert failed")
data = open(png, "rb").read()
width, height, depth, colour = struct.unpack(">IIBB", data[16:26])
check((width, height) == (320, 200), f"png is {width}x{height}")
raw, at = b"", 8
while at < len(data):
    n, kind = struct.unpack(">I4s", data[at:at + 8])
    raw += data[at + 8:at + 8 + n] if kind == b"IDAT" else b""
    at += n + 12
raw, bpp = zlib.decompress(raw), {6: 4, 2: 3}[colour]
stride, prev, inked = width * bpp, bytearray(width * bpp), 0
for y in range(height):  # undo the PNG filters row by row
    f, line = raw[y * (stride + 1)], bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
    for i in range(stride):
        a, b, c = (line[i - bpp] if i >= bpp else 0), prev[i], (prev[i - bpp] if i >= bpp else 0)
        p = a + b - c
        pred = [0, a, b, (a + b) // 2, a if abs(p - a) <= min(abs(p - b), abs(p - c)) else b if abs(p - b) <= abs(p - c) else c][f]
        line[i] = (line[i] + pred) & 255
    inked += sum(1 for i in range(0, stride, bpp) if min(line[i:i + 3]) < 128)
    prev = line
check(inked > width * height // 100, f"only {inked} dark pixels")

# The terminal: sin's maximum at x = 90000 in the row of 1000, its minimum
# at 270000 in the row of -1000, in braille and in ASCII.
for env, braille in (({"LC_ALL": "C.UTF-8"}, True), ({"LC_ALL": "C"}, False)):
    lines = kavmath("--plot", "sin(x)", "--x", "0:360000", "--size", "64x16", env=env).stdout.splitlines()
    check(braille or all(ord(c) < 128 for line in lines for c in line), "ASCII plot is not ASCII")
    axis = next(i for i, line in enumerate(lines) if line.lstrip()[:2] in ("└─", "└┬", "+-", "++"))
    marks = [i for i, ch in enumerate(lines[axis]) if ch == ("┬" if braille else "+")]
    ticks = {int(m.group()): min(marks, key=lambda c: abs(c - m.start() - (len(m.group()) - 1) / 2))
             for m in re.finditer(r"\d+", lines[axis + 1])}
    (x0, c0), (x1, c1) = sorted(ticks.items())[::len(ticks) - 1]
    def column(x): return c0 + (x - x0) * (c1 - c0) / (x1 - x0)
    def cells(row, top):
        start = lines[row].index("┤" if braille else "+") + 1
        return [start + i for i, ch in enumerate(lines[row][start:]) if
                (braille and 0x2800 < ord(ch) <= 0x28ff and (ord(ch) - 0x2800) & (0x09 if top else 0xc0)) or ch == "*"]
    for label, x, row in (("1000", 90000, 1), ("-1000", 270000, axis - 1)):
        check(lines[row].split()[0] == label, f"row {row} is labelled {lines[row].split()[0]}, not {label}")
        found = cells(row, label == "1000")
        check(found and abs(sum(found) / len(found) - column(x)) <= 1,  # a flat top spans cells
              f"{'braille' if braille else 'ASCII'}: the extreme at {x} is in columns {found}, not {column(x)}")

# Bad requests: one line on stderr, a failing status, no file.
out = os.path.join(tmp, "bad.svg")
for args, message in ((["--x", "1:0"], "FROM below TO"), (["--x", "0.0f:1.0"], "float and a double"),
                      (["--x", "0"], "FROM:TO"), (["--y", "vec2(0, 1):1"], "not a number"),
                      (["--samples", "100001"], "from 2 to 100000"), (["--x", "0:1", "sin(y)"], "unknown name 'y'")):
    r = kavmath("--plot", *(args if "sin(y)" in args else args + ["sin(x)"]), "--svg", out)
    check(r.returncode != 0 and not r.stdout and message in r.stderr and r.stderr.count("\n") == 1
          and not os.path.exists(out), f"{args}: status {r.returncode}, stderr {r.stderr!r}")

print("\n".join(failures) or "all plot checks passed")
sys.exit(1 if failures else 0)
