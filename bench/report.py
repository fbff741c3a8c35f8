"""Turns the JSON of one run of scripts/bench into tables and the pictures' data.

    report.py FOLDER EXECUTABLE [DOCUMENT]

Prints the ratios and the targets, and writes FOLDER/tables.md, FOLDER/summary.json and
FOLDER/growth.dat. With a DOCUMENT, its part between the two marker lines is replaced by those of
the tables that a user asks for.
"""

import json
import platform
import re
import sys
from pathlib import Path

from results import Results
from targets import ABSOLUTES, LIBRARIES, PROCESSES

BEGIN, END = "<!-- tables: written by scripts/bench -->", "<!-- end of tables -->"


def name(label):
    """A benchmark's name without its group and size."""
    return label.split("/")[1] if "/" in label else label


def number(microseconds):
    return f"{microseconds:,.2f}" if microseconds < 100 else f"{microseconds:,.0f}"


def verdict(limit, value, below=False, limited_by=""):
    if limit is None:
        return "", ""
    met = value < limit if below else value <= limit
    missed = f"NOT met: {limited_by}" if limited_by else "NOT met"
    return f"{'<' if below else '<='} {limit:g}", "met" if met else missed


def rows(results, comparisons):
    for each in comparisons:
        ratio = results.ratio(each)
        yield (each.work, name(each.ours), number(results.time(each.ours)), name(each.peer),
               number(results.time(each.peer)), f"{ratio:.3f}",
               f"{results.ratio(each, 'best'):.3f}",
               *verdict(each.limit, ratio, limited_by=each.limited_by))


def absolute_rows(results):
    for each in ABSOLUTES:
        value = each.value(results)
        shown = f"{value:.0f}" if each.unit == "" else f"{value:.2f} {each.unit}"
        limit, met = verdict(each.limit, value, below=each.unit != "")
        yield (each.what, shown, f"{limit} {each.unit}".strip(), met)


def breakdown_rows(results):
    for label, counts in results.breakdown.items():
        process = results.processes[label]
        yield (label, number(process["time"]), number(process["best"]), str(counts["calls"]),
               f"{process['faults']:.0f}", f"{counts['instructions']:,}",
               f"{process['memory']:.2f}")


COMPARED = ("work", "ours", "us", "peer", "us", "ratio", "of the best", "target", "")


def sections(results):
    """Every table as (title, header, rows)."""
    yield ("Whole processes", COMPARED, list(rows(results, PROCESSES)))
    yield ("Libraries", COMPARED, list(rows(results, LIBRARIES)))
    yield ("Limits", ("what", "value", "target", ""), list(absolute_rows(results)))
    yield ("Where a process spends its time",
           ("process", "median us", "best us", "system calls", "page faults",
            "instructions in user space", "peak MiB"), list(breakdown_rows(results)))


def for_readers(results):
    """The tables of the document: beside what a user would take instead, and what limits that."""
    floors = [each for each in PROCESSES if re.search("empty|floor", each.peer)]
    others = [each for each in [*PROCESSES, *LIBRARIES] if each not in floors]
    targets = [each for each in floors if each.limit]
    for title, comparisons in (("Beside other programs and libraries", others),
                               ("Beside the floors", targets)):
        lines = [row[:6] + row[7:] for row in rows(results, comparisons)]
        yield title, COMPARED[:6] + COMPARED[7:], lines
    yield "Limits", ("what", "value", "target", ""), list(absolute_rows(results))


def plain_table(header, lines):
    widths = [max(len(line[i]) for line in [header, *lines]) for i in range(len(header))]
    return "\n".join("  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip()
                     for line in [header, *lines])


def markdown_table(header, lines):
    ruled = [header, ["---"] * len(header), *lines]
    return "\n".join("| " + " | ".join(cell or " " for cell in line).replace("|  |", "| |") + " |"
                     for line in ruled)


def machine():
    model = [line.partition(":")[2].strip() for line in Path("/proc/cpuinfo").open()
             if line.startswith("model name")]
    return (f"{model[0] if model else platform.machine()}, {len(model)} processors, "
            f"Linux {platform.release().split('-')[0]}")


def write_picture_data(folder, results):
    with open(folder / "growth.dat", "w") as out:
        for count in (31, 100, 310, 1000, 3100):
            times = [results.time(f"configuration/{who}/{count}")
                     for who in ("conf_read_file_r", "ini_parse")]
            out.write(f"{count} {times[0]:.3f} {times[1]:.3f}\n")


def fill_in(document, tables):
    text = document.read_text()
    before, _, rest = text.partition(BEGIN)
    _, _, after = rest.partition(END)
    document.write_text(f"{before}{BEGIN}\n\n{tables}\n{END}{after}")


def markdown(tables):
    return "\n\n".join([f"One run on {machine()}; medians.",
                        *(f"### {title}\n\n{markdown_table(header, lines)}"
                          for title, header, lines in tables)]) + "\n"


def main():
    folder = Path(sys.argv[1])
    results = Results(folder, sys.argv[2])
    summary = {}
    for title, header, lines in sections(results):
        print(f"\n{title}\n\n{plain_table(header, lines)}")
        summary[title] = {"columns": header, "rows": lines}
    (folder / "tables.md").write_text(markdown(sections(results)))
    (folder / "summary.json").write_text(json.dumps(summary, indent=1) + "\n")
    write_picture_data(folder, results)
    if len(sys.argv) > 3:
        fill_in(Path(sys.argv[3]), markdown(for_readers(results)))


main()
