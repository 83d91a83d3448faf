#!/usr/bin/env python3
"""Writes what tools/bench has measured into docs/performance.md: the table, and the charts beside it.

  bench/report.py [FILE]    FILE holds the lines of tools/bench; without it, those of the last time are taken
  bench/report.py --check   fails when the page does not show its own results

The results stand in docs/performance/results.jsonl, one line for each case and rival; a case that FILE lacks stays as
it was.
"""

import json
import math
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs" / "performance.md"
PLACE = ROOT / "docs" / "performance"
RESULTS = PLACE / "results.jsonl"
BEGIN, END = "<!-- results -->\n", "<!-- end of results -->\n"

WIDTH, ROW, LEFT, RIGHT = 900, 22, 380, 70
FONT = 'font-family="sans-serif" font-size="12"'
GOOD, BAD, GREY, INK = "#2e7d32", "#c62828", "#9e9e9e", "#555555"


def key(result):
    return result["name"], result.get("against", ""), result.get("rules", 0)


def read(path):
    with open(path, encoding="utf-8") as lines:
        return [json.loads(line) for line in lines if line.startswith("{")]


def merge(old, new):
    """The old order, with what is new in the place of what it replaces. A rival that a case no longer has goes."""
    measured = {result["name"] for result in new}
    fresh = {key(result): result for result in new}
    kept = [result for result in old if key(result) in fresh or result["name"] not in measured]
    merged = [fresh.pop(key(result), result) for result in kept]
    return merged + [result for result in new if key(result) in fresh]


def number(value):
    """Three digits that count."""
    if value == 0:
        return "0"
    digits = max(0, 2 - math.floor(math.log10(abs(value))))
    return f"{round(value, digits):,.{digits}f}"


def label(result):
    rules = result.get("rules")
    return result["name"] + (f", {rules:,.0f} rules" if rules else "")


def figure(result, which):
    value = result.get(which)
    return "" if value is None else f"{number(value)} {result['unit']}"


def against(result):
    return result.get("against") or ""


def table(results):
    rows = ["| Case | Ours | Beside | Rival | Ratio | Goal | |", "|---|---|---|---|---|---|---|"]
    for result in results:
        ratio = "" if result.get("ratio") is None else number(result["ratio"])
        goal = number(result["goal"]) + ("" if ratio else f" {result['unit']}")
        met = "met" if result["met"] else "**not met**"
        name, _, more = label(result).partition(",")
        rows.append(f"| `{name}`{more and ',' + more} | {figure(result, 'value')} | {against(result)} |"
                    f" {figure(result, 'rival')} | {ratio} | {goal} | {met} |")
    return "\n".join(rows) + "\n"


def text(x, y, words, anchor="start", colour=INK):
    words = words.replace("&", "&amp;").replace("<", "&lt;")
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" fill="{colour}" {FONT}>{words}</text>'


def line(x1, y1, x2, y2, colour, more=""):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{colour}" {more}/>'


def picture(height, title, parts):
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" role="img">\n'
            f'<title>{title}</title>\n<rect width="{WIDTH}" height="{height}" fill="#ffffff"/>\n'
            + "\n".join(parts) + "\n</svg>\n")


def share_of_goal(result):
    figure_ = result["ratio"] if result.get("ratio") is not None else result["value"]
    return figure_ / result["goal"]


def goals_chart(results):
    """A bar for each case: how much of what is allowed it takes."""
    most = 1.25
    width = WIDTH - LEFT - RIGHT

    def place(share):
        return LEFT + width * min(share, most) / most

    parts = []
    bottom = 40 + ROW * len(results)
    for share in (0, 0.25, 0.5, 0.75, 1, 1.25):
        parts.append(line(place(share), 34, place(share), bottom, "#e0e0e0"))
        parts.append(text(place(share), 28, "the goal" if share == 1 else f"{share:g}", "middle"))
    for row, result in enumerate(results):
        share = share_of_goal(result)
        y = 40 + ROW * row
        words = f"{label(result)} / {against(result)}".strip(" /")
        parts.append(text(LEFT - 8, y + 14, words if len(words) < 56 else words[:55] + "…", "end"))
        colour = GOOD if result["met"] else BAD
        parts.append(f'<rect x="{LEFT}" y="{y + 3}" width="{max(1.0, place(share) - LEFT):.1f}" height="{ROW - 7}"'
                     f' fill="{colour}"/>')
        parts.append(text(place(share) + 5, y + 14, number(share)))
    parts.append(line(place(1), 34, place(1), bottom, INK, 'stroke-dasharray="4 3"'))
    return picture(bottom + 10, "Each case's share of its goal; left of the line is better", parts)


def decisions_chart(results):
    """What a decision takes, by the number of rules; both scales are logarithmic."""
    decisions = [result for result in results if result["name"] == "decide"]
    rivals = {name: [case for case in decisions if case["against"] == name]
              for name in dict.fromkeys(case["against"] for case in decisions)}
    cases = next(iter(rivals.values()))
    height, top, bottom, left = 340, 30, 300, 110
    rules = [case["rules"] for case in cases]
    times = [case[which] for case in decisions for which in ("value", "rival")]
    low, high = math.floor(math.log10(min(times))), math.ceil(math.log10(max(times)))
    first, last = math.log10(min(rules)), math.log10(max(rules))

    def at(count, time):
        return (left + (WIDTH - left - 160) * (math.log10(count) - first) / (last - first),
                bottom - (bottom - top) * (math.log10(time) - low) / (high - low))

    parts = []
    for exponent in range(low, high + 1):
        y = at(rules[0], 10.0**exponent)[1]
        parts += [line(left, y, WIDTH - 160, y, "#e0e0e0"),
                  text(left - 8, y + 4, f"{10.0**exponent:,.0f} {cases[0]['unit']}", "end")]
    for count in rules:
        parts.append(text(at(count, 10.0**low)[0], bottom + 20, f"{count:,.0f} rules", "middle"))
    lines = [("ours", GOOD, cases, "value")] + [(name, GREY, of_it, "rival") for name, of_it in rivals.items()]
    for name, colour, of_it, which in lines:
        points = [at(case["rules"], case[which]) for case in of_it]
        parts.append('<polyline fill="none" stroke-width="2" stroke="' + colour + '" points="'
                     + " ".join(f"{x:.1f},{y:.1f}" for x, y in points) + '"/>')
        parts.append(text(points[-1][0] + 8, points[-1][1] + 4, name, colour=colour))
    return picture(height, "What one decision takes, by the number of rules", parts)


def page_with(results):
    words = PAGE.read_text(encoding="utf-8")
    before, rest = words.split(BEGIN)
    return before + BEGIN + table(results) + END + rest.split(END)[1]


def files(results):
    return {
        RESULTS: "".join(json.dumps(result) + "\n" for result in results),
        PLACE / "goals.svg": goals_chart(results),
        PLACE / "decisions.svg": decisions_chart(results),
        PAGE: page_with(results),
    }


def main(arguments):
    results = read(RESULTS) if RESULTS.exists() else []
    check = arguments == ["--check"]
    if arguments and not check:
        results = merge(results, read(arguments[0]))
    stale = [path for path, words in files(results).items()
             if not path.exists() or path.read_text(encoding="utf-8") != words]
    if check:
        for path in stale:
            print(f"{path.relative_to(ROOT)} does not show the results; run bench/report.py", file=sys.stderr)
        return 1 if stale else 0
    for path, words in files(results).items():
        path.write_text(words, encoding="utf-8", newline="\n")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
